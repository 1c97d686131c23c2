#pragma once

#include <section_feed/export.h>
#include <section_feed/packet_reader.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace orvix::section_feed {

/// A program_clock_reference (ISO/IEC 13818-1 2.4.3.5) beside the one before it on its PID.
struct clock_reference {
    std::uint16_t pid = 0;           ///< 13 bits
    std::uint64_t packet_index = 0;  ///< of the packet that carries it
    std::uint64_t ticks = 0;         ///< of 27 MHz: 33 bits of base times 300, plus the extension
    bool first = false;              ///< none came before on this PID
    bool announced = false;          ///< discontinuity_indicator said that it counts anew
    /// Unannounced, and neither within 0.1 s of the one before nor of what its place says.
    bool jumped = false;
    /// Seconds since the one before, as the two say, around their wrap; 0 for the first.
    double by_value = 0;
    /// Seconds since the one before, as the stream's clock had them for the two packets; none where
    /// it did not run at both.
    std::optional<double> by_place;
};

/// Packets in, seconds since the first packet out, by the PCRs of the stream. One thread at a time.
///
/// One PID is the clock: the first that sends PCRs, until another one sends 25 while it sends none.
/// So it stays with the busiest one, and finds another where that one ends. The clock runs from the
/// second of two PCRs at most a second apart. Between PCRs it counts packets, each as long as those
/// between the last two PCRs. It never runs back; where a PCR counts anew, announced or not, or
/// another PID takes over, it goes on at the rate that it had.
///
/// Takes constant time for each packet, and memory for each PID that sends PCRs.
class SECTION_FEED_EXPORT stream_clock {
public:
    stream_clock();
    ~stream_clock();
    stream_clock(const stream_clock&) = delete;
    stream_clock& operator=(const stream_clock&) = delete;

    /// Takes the stream's next packet. Where it carries a PCR, that one is returned, valid until
    /// the next `push`; else null. Throws only std::bad_alloc.
    const clock_reference* push(const packet& p) {
        const bool has_adaptation_field = (p.bytes[3] & 0x20) != 0;
        return has_adaptation_field ? look_closer(p) : nullptr;
    }

    /// Seconds between the stream's first packet and that with this index: the one pushed last, or
    /// one that came before the clock ran. None while it does not run.
    std::optional<double> seconds(std::uint64_t packet_index) const;
    /// Of all packets of 188 bytes, between the last two PCRs of the clock. None while it does not
    /// run.
    std::optional<double> bits_per_second() const;
    /// The PID that is the clock; none before the first PCR.
    std::optional<std::uint16_t> pid() const { return pid_; }

private:
    struct pid_state;

    const clock_reference* look_closer(const packet& p);
    clock_reference compare(const packet& p, const pid_state& before) const;
    bool is_clock(std::uint16_t pid, pid_state& state);
    void start(const clock_reference& now, std::uint64_t packets);
    void advance(const clock_reference& now, bool taken_over, std::uint64_t packets);

    std::vector<std::unique_ptr<pid_state>> pids_;  // none where no PCR came
    clock_reference reference_;
    std::optional<std::uint16_t> pid_;
    std::uint64_t clock_references_ = 0;  // that came while their PID was the clock

    bool running_ = false;
    std::uint64_t started_ = 0;  // packet index
    double first_seconds_per_packet_ = 0;
    // The clock's last PCR, and the seconds that none behind it may fall below.
    std::uint64_t last_index_ = 0;
    double last_seconds_ = 0;
    double reached_ = 0;
    double seconds_per_packet_ = 0;
};

}  // namespace orvix::section_feed
