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

/// A clock that runs as fast as one may: PCRs 90 ms apart, some packets after each other, on one
/// PID and in turn on thousands that no table names.
class hostile_clock {
public:
    /// The packets, and those of the clock between them.
    stream_writer& among(stream_writer& sent) {
        written_.packets().clear();
        for (bytes& packet : sent.packets()) {
            if (packets_++ % packets_between == 0) tick();
            written_.packets().push_back(std::move(packet));
        }
        sent.packets().clear();
        return written_;
    }

private:
    static constexpr unsigned int packets_between = 4;
    static constexpr std::uint16_t pid = 0x1F00;
    static constexpr std::uint16_t first_of_others = 0x1000;
    static constexpr std::uint16_t others = 0x0E00;

    void tick() {
        const std::uint64_t number = packets_ / packets_between;
        adaptation_field adaptation;
        adaptation.pcr = number * 2'430'000;  // ticks of 27 MHz
        const auto other = static_cast<std::uint16_t>(first_of_others + number % others);
        written_.packet_without_payload(pid, adaptation).packet(other, false, {}, adaptation);
    }

    std::uint64_t packets_ = 0;
    stream_writer written_;
};

/// Returns how many bytes there were.
std::uint64_t write_packets(stream_writer& stream) {
    const bytes packets = stream.stream();
    stream.packets().clear();
    if (std::fwrite(packets.data(), 1, packets.size(), stdout) != packets.size()) {
        throw std::runtime_error("standard output: cannot be written");
    }
    return packets.size();
}

void write(const hostile_stream& hostile, std::uint64_t size, bool with_clock) {
    hostile_clock clock;
    stream_writer stream;
    std::vector<bytes> waiting;
    std::uint16_t pid = 0;
    std::uint64_t written = 0;
    for (std::uint32_t number = 0; written < size; ++number) {
        sent_section sent = hostile.section(number);
        if (waiting.size() == sections_at_once || (sent.pid != pid && !waiting.empty())) {
            stream.sections(pid, waiting);
            written += write_packets(with_clock ? clock.among(stream) : stream);
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

// make_hostile_stream lists the streams; make_hostile_stream NAME BYTES writes one, and with a
// third argument, clock, PCRs between its sections.
int main(int argc, char** argv) try {
    if (argc == 1) {
        list();
        return 0;
    }
    const bool with_clock = argc == 4 && std::string(argv[3]) == "clock";
    if (argc != 3 && !with_clock) {
        throw std::runtime_error("usage: make_hostile_stream [NAME BYTES [clock]]");
    }
    write(hostile_stream_of(argv[1]), std::strtoull(argv[2], nullptr, 10), with_clock);
    if (std::fflush(stdout) != 0) throw std::runtime_error("standard output: cannot be written");
    return 0;
} catch (const std::exception& e) {
    std::fprintf(stderr, "make_hostile_stream: %s\n", e.what());
    return 1;
}
