#include "run.h"

int main(int argc, char** argv) {
    using namespace orvix::si_exporter;
    const parsed_options parsed = parse_options(argc, argv);
    return parsed.exit_status ? *parsed.exit_status : run(parsed.is);
}
