// Writes a hostile stream as packets of 188 bytes to the standard output; see scripts/soak.

#include <stream_writer.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>

#include "hostile_streams.h"

namespace {

using namespace orvix::test;

// Sections on one PID share packets; a stream is written in pieces of so many sections.
constexpr std::size_t sections_at_once = 256;

/// Returns how many bytes there were.
std::uint64_t write_packets(stream_writer& stream) {
    const bytes packets = stream.stream();
    stream.packets().clear();
    if (std::fwrite(packets.data(), 1, packets.size(), stdout) != packets.size()) {
        throw std::runtime_error("standard output: cannot be written");
    }
    return packets.size();
}

void write(const hostile_stream& hostile, std::uint64_t size) {
    stream_writer stream;
    std::vector<bytes> waiting;
    std::uint16_t pid = 0;
    std::uint64_t written = 0;
    for (std::uint32_t number = 0; written < size; ++number) {
        sent_section sent = hostile.section(number);
        if (waiting.size() == sections_at_once || (sent.pid != pid && !waiting.empty())) {
            stream.sections(pid, waiting);
            written += write_packets(stream);
            waiting.clear();
        }
        pid = sent.pid;
        waiting.push_back(std::move(sent.section));
    }
}

void list() {
    for (const hostile_stream& stream : hostile_streams()) {
        std::printf("%-36s %s\n", stream.name, stream.what);
    }
}

}  // namespace

// make_hostile_stream lists the streams; make_hostile_stream NAME BYTES writes one.
int main(int argc, char** argv) try {
    if (argc == 1) {
        list();
        return 0;
    }
    if (argc != 3) throw std::runtime_error("usage: make_hostile_stream [NAME BYTES]");
    write(hostile_stream_of(argv[1]), std::strtoull(argv[2], nullptr, 10));
    if (std::fflush(stdout) != 0) throw std::runtime_error("standard output: cannot be written");
    return 0;
} catch (const std::exception& e) {
    std::fprintf(stderr, "make_hostile_stream: %s\n", e.what());
    return 1;
}
