#pragma once

#include <broadcast/bound.h>
#include <broadcast/findings/finding.h>

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <tuple>

namespace orvix::broadcast {

/// Which events were found to be wrong, so that each is counted once, however often its sections
/// come and whatever else changes in them.
class counted_events {
public:
    struct event {
        std::optional<std::uint16_t> pid;
        std::uint16_t service_id = 0;
        std::uint16_t event_id = 0;
        std::optional<std::int64_t> start;  ///< in seconds, by the broadcast's clock
    };
    /// Whether the event was not found to be wrong in this way before.
    bool is_first(finding_kind how, const event& which);

    const bound& limit() const { return bound_; }

private:
    using key = std::tuple<std::uint32_t, std::uint16_t, std::uint16_t>;
    struct counted {
        std::optional<std::int64_t> start;
        std::uint64_t kinds = 0;  ///< a bit each
    };

    std::map<key, counted> events_;
    std::deque<key> order_;  ///< those counted first are forgotten first
    // A week of twenty services whose every event is wrong has fewer.
    bound bound_ = {"events that are counted once", 10'000};
};

}  // namespace orvix::broadcast
