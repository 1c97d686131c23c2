// dvb_receiver [DEVICE | FILE]: follows the tables of a tuned Linux DVB device (at first
// /dev/dvb/adapter0/demux0) until none comes for ten seconds, or of a recorded transport stream.

#include <log/orvix_log.h>
#include <sys/stat.h>

#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "linux_demux.h"
#include "receiver.h"
#include "recorded_demux.h"

namespace {

std::unique_ptr<receiver::demux> open(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::make_unique<receiver::linux_demux>(path);
    }
    std::ifstream file(path, std::ios::binary);
    const std::vector<std::uint8_t> stream(std::istreambuf_iterator<char>(file), {});
    return std::make_unique<receiver::recorded_demux>(stream);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string path = argc > 1 ? argv[1] : "/dev/dvb/adapter0/demux0";
    try {
        OrvixLog::reporting_level() = OrvixLog::ERROR;
        const std::unique_ptr<receiver::demux> device = open(path);
        receiver::table_loop tables(*device, std::cout);
        constexpr int ten_seconds = 10000;
        while (tables.step(ten_seconds)) {
        }
    } catch (const std::exception& e) {
        std::cerr << "dvb_receiver: " << path << ": " << e.what() << '\n';
        return 1;
    }
}
