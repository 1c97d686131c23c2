#pragma once

#include <small_broadcast.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace orvix::test {

/// A stream of a thousand packets in a second, with PCRs every 40 ms, filled up with null packets.
/// Sections come at the packet of their time, or as soon after it as there is room.
class timed_stream {
public:
    static constexpr std::uint16_t clock_pid = 0x0100;
    static constexpr double packets_per_second = 1000;

    /// `sections` in turn, one each `interval` seconds, from `first` on, before `end`.
    timed_stream& every(double interval, std::uint16_t pid, const std::vector<bytes>& sections,
                        double first = 0, double end = 1e9) {
        for (std::size_t i = 0;; ++i) {
            const double at = first + interval * static_cast<double>(i);
            if (at >= std::min(end, seconds_)) return *this;
            due_.push_back({packet_of(at), pid, sections[i % sections.size()]});
        }
    }
    timed_stream& once(double at, std::uint16_t pid, const bytes& section) {
        due_.push_back({packet_of(at), pid, section});
        return *this;
    }
    /// A packet of an elementary stream each `interval` seconds, from `first` on, before `end`.
    timed_stream& elementary(std::uint16_t pid, double interval = 0.1, double first = 0,
                             double end = 1e9) {
        return every(interval, pid, {bytes()}, first, end);
    }
    timed_stream& without_pcrs() {
        pcr_packets_ = 0;
        return *this;
    }

    explicit timed_stream(double seconds) : seconds_(seconds) {}

    stream_writer write() const {
        std::vector<due> left = due_;
        std::stable_sort(left.begin(), left.end(),
                         [](const due& a, const due& b) { return a.packet < b.packet; });
        stream_writer to;
        auto next = left.begin();
        const std::size_t end = packet_of(seconds_);
        while (to.packets().size() < end || next != left.end()) {
            const std::size_t now = to.packets().size();
            if (pcr_packets_ != 0 && now % pcr_packets_ == 0) {
                adaptation_field adaptation;
                adaptation.pcr = now * 27'000;
                to.packet_without_payload(clock_pid, adaptation);
            } else if (next == left.end() || next->packet > now) {
                to.null_packets();
            } else {
                next->section.empty() ? to.packet(next->pid, false, {})
                                      : to.section(next->pid, next->section);
                ++next;
            }
        }
        return to;
    }

private:
    struct due {
        std::size_t packet;
        std::uint16_t pid;
        bytes section;  // none: a packet that holds no tables
    };
    static std::size_t packet_of(double seconds) {
        return static_cast<std::size_t>(std::lround(seconds * packets_per_second));
    }

    double seconds_;
    std::size_t pcr_packets_ = 40;
    std::vector<due> due_;
};

}  // namespace orvix::test
