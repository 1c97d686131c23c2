#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "bound.h"
#include "findings/stream/table_watch.h"

namespace orvix::broadcast {

/// How long the sections of one table took to come again, each by itself.
struct interval_summary {
    finding_kind limit = finding_kind::pat_rare;  ///< which says how long it may take
    double limit_seconds = 0;
    std::optional<std::uint16_t> service_id;  ///< of a PMT or EIT
    std::uint16_t pid = 0;
    std::uint8_t table_id = 0;  ///< 0 for TOT and TDT, which count as one
    bool later_days = false;    ///< of a schedule: beyond the first day
    std::uint64_t count = 0;
    std::uint64_t late = 0;  ///< of them, those over the limit
    double least = 0;        ///< seconds, as are those below
    double greatest = 0;
    double sum = 0;

    double mean() const { return sum / static_cast<double>(count); }
};

/// "PAT", "EIT present/following", "EIT schedule 0x51, later days", "TOT or TDT".
std::string table_name(const interval_summary& of);

/// What the intervals of each table add up to.
class interval_statistics {
public:
    void take(const table_interval& ended);

    /// Those with the shortest limits first, and then by service.
    std::vector<interval_summary> told() const;
    const bound& limit() const { return bound_; }

private:
    using key =
        std::tuple<finding_kind, std::optional<std::uint16_t>, std::uint16_t, std::uint8_t, bool>;

    std::map<key, interval_summary> tables_;
    // A hundred services have a PMT, two EITs and a few tables of schedule each.
    bound bound_ = {"tables whose intervals are summed up", 2'000};
};

}  // namespace orvix::broadcast
