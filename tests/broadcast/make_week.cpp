// make_week DAYS: writes an ordinary multiplex of twenty services over so many days (at most
// 30; 3.5 is fine) as packets of 188 bytes to the standard output. See scripts/soak.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>

#include "endless_broadcast.h"

namespace {

using namespace orvix::test;

void write(double days) {
    if (!(days > 0 && days <= 30)) throw std::runtime_error("from 0 to 30 days");
    constexpr std::uint16_t services = 20;
    endless_broadcast broadcast(services);
    const auto steps = static_cast<unsigned int>(days * endless_broadcast::steps_of_day);
    for (unsigned int step = 0; step < steps; ++step) {
        const bytes packets = broadcast.next_step();
        if (std::fwrite(packets.data(), 1, packets.size(), stdout) != packets.size()) {
            throw std::runtime_error("standard output: cannot be written");
        }
    }
    if (std::fflush(stdout) != 0) throw std::runtime_error("standard output: cannot be written");
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 2) throw std::runtime_error("usage: make_week DAYS");
    write(std::strtod(argv[1], nullptr));
    return 0;
} catch (const std::exception& e) {
    std::fprintf(stderr, "make_week: %s\n", e.what());
    return 1;
}
