// make_sample STATION.json SAMPLE.ts: makes the broadcast of a station out of its description.

#include <fstream>
#include <iostream>

#include "broadcast.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: make_sample STATION.json SAMPLE.ts\n";
        return 2;
    }
    try {
        const auto station = orvix::sample::json::parse(std::ifstream(argv[1]));
        const orvix::sample::bytes broadcast = orvix::sample::make_broadcast(station);
        std::ofstream file(argv[2], std::ios::binary);
        file.write(reinterpret_cast<const char*>(broadcast.data()),
                   static_cast<std::streamsize>(broadcast.size()));
        if (!file.flush()) throw std::runtime_error(std::string(argv[2]) + ": cannot be written");
    } catch (const std::exception& e) {
        std::cerr << "make_sample: " << e.what() << '\n';
        return 1;
    }
    return 0;
}
