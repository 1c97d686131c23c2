#pragma once

#include <broadcast/observer.h>

#include <array>
#include <cstdint>
#include <ctime>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace orvix::si_inspect {

/// Tells a TDT or TOT that says something new from one in which only time has passed.
class passing_time {
public:
    /// Whether `seen`, which holds a time, is the first of its PID and table, says anything else
    /// than the one before, or shows a clock that has jumped.
    bool is_news(const broadcast::sighting& seen);

private:
    struct last_time {
        std::time_t utc_time = 0;
        std::optional<double> stream_seconds;
        std::vector<std::uint8_t> rest;  ///< what stands behind the time, but for the CRC_32
    };
    /// By PID and table_id.
    std::map<std::pair<std::uint16_t, std::uint8_t>, last_time> known_;
};

}  // namespace orvix::si_inspect
