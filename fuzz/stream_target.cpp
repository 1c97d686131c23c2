// Any bytes as a stream: packets are found, sections put together, and whatever comes out is
// parsed. The first two bytes decide in what pieces the stream arrives and whether CRC_32s count.

#include <section_feed/packet_reader.h>
#include <section_feed/section_collector.h>
#include <section_feed/stream_clock.h>
#include <section_feed/stream_counts.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>

#include "gate_promise.h"

namespace {

using orvix::section_feed::gate_options;
using orvix::section_feed::gate_result;
using orvix::section_feed::packet;
using orvix::section_feed::packet_reader;
using orvix::section_feed::section;
using orvix::section_feed::section_collector;
using orvix::section_feed::stream_clock;
using orvix::section_feed::stream_counts;

void parse(const section& whole) { orvix::fuzz::hold_gate_to_its_promise(whole.bytes, whole.size); }

void say_why(const section& /*whole*/, const gate_result& result) {
    if (result.admitted() || result.text().empty()) std::abort();
}

/// Takes packets as they come.
class receiver {
public:
    explicit receiver(bool check_crc) : collector_(parse, say_why, gate_options{check_crc}) {}

    void push_all(packet_reader& reader) {
        packet p;
        while (reader.next(p)) {
            counts_.push(p);
            clock_.push(p);
            check_time(p);
            collect(p);
        }
    }
    void finish() { collector_.finish(); }

private:
    void check_time(const packet& p) {
        const std::optional<double> seconds = clock_.seconds(p.index);
        if (seconds_ && !(seconds && *seconds >= *seconds_)) std::abort();
        seconds_ = seconds;
    }
    /// Follows the PID of every packet, as far as its low bits are those of a few.
    void collect(const packet& p) {
        const auto pid = static_cast<std::uint16_t>((p.bytes[1] & 0x1F) << 8 | p.bytes[2]);
        if (pid < 0x40 && !collector_.follows(pid)) collector_.follow(pid);
        collector_.push(p);
    }

    section_collector collector_;
    stream_counts counts_;
    stream_clock clock_;
    std::optional<double> seconds_;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    orvix::fuzz::silence_log();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t switches = 2;
    if (size < switches) return 0;
    const std::size_t piece = 1 + std::size_t{4} * data[0];
    const bool check_crc = data[1] % 2 != 0;

    packet_reader reader;
    receiver to(check_crc);
    for (std::size_t at = switches; at < size; at += piece) {
        reader.push(data + at, std::min(piece, size - at));
        to.push_all(reader);
    }
    reader.finish();
    to.push_all(reader);
    to.finish();
    return 0;
}
