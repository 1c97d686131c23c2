#include "counted_events.h"

#include <cstdlib>

namespace orvix::broadcast {

namespace {

// An event that is moved by more than this is another one that has got its event_id.
constexpr std::int64_t day = 86'400;

constexpr std::uint32_t no_pid = 0xFFFF;

}  // namespace

bool counted_events::is_first(finding_kind how, const event& which) {
    static_assert(finding_kinds <= 64);
    const std::uint64_t bit = std::uint64_t{1} << static_cast<unsigned int>(how);
    const key k = {which.pid.value_or(no_pid), which.service_id, which.event_id};
    auto known = events_.find(k);
    if (known == events_.end()) {
        if (!bound_.admits(events_.size())) {
            events_.erase(order_.front());
            order_.pop_front();
        }
        order_.push_back(k);
        known = events_.emplace(k, counted{which.start, 0}).first;
    }
    counted& c = known->second;
    const bool is_another = c.start && which.start && std::abs(*c.start - *which.start) > day;
    if (is_another) c.kinds = 0;
    if (which.start) c.start = which.start;
    const bool first = (c.kinds & bit) == 0;
    c.kinds |= bit;
    return first;
}

}  // namespace orvix::broadcast
