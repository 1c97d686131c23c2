#pragma once

#include <section_feed/stream_counts.h>

#include <cstdint>
#include <vector>

namespace orvix::si_exporter {

/// How much came on each PID lately, by a clock that its user reads.
class rates {
public:
    // Long enough that each stream that is there sends in it, short enough to show what happens.
    static constexpr double window = 5;  // seconds

    /// To be told every now and then, also when nothing comes.
    void pass(double now, const section_feed::stream_counts& counts);

    /// In the last whole window; 0 before there is one.
    double bytes_per_second(std::uint16_t pid) const;

private:
    double began_ = 0;
    bool has_begun_ = false;
    std::vector<std::uint64_t> packets_;  ///< when the window began, in the order of `pids()`
    std::vector<double> rates_ = std::vector<double>(0x2000);  ///< by PID
};

}  // namespace orvix::si_exporter
