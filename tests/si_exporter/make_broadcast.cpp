// make_broadcast FILE SECONDS: a small broadcast with a clock, a thousand packets in a second.

#include <cstdlib>
#include <fstream>
#include <iostream>

#include "known_broadcast.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "make_broadcast FILE SECONDS\n";
        return 2;
    }
    std::ofstream to(argv[1], std::ios::binary);
    const orvix::test::bytes stream =
        orvix::test::known_broadcast(std::strtod(argv[2], nullptr)).stream();
    to.write(reinterpret_cast<const char*>(stream.data()),
             static_cast<std::streamsize>(stream.size()));
    return to.flush() ? 0 : 1;
}
