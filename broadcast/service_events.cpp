#include "service_events.h"

#include <algorithm>
#include <optional>

#include "readings/section_loops.h"
#include "table_ids.h"

namespace orvix::broadcast {

using namespace si_parser;

namespace {

std::uint32_t place_of(std::uint32_t table_id, std::uint32_t section_number) {
    return table_id * 256 + section_number;
}

bool is_present(const eit& section) {
    return table_ids::is_present_following(section.table_id) && section.section_number == 0;
}

/// The accounts of one event_id. Where the times of two have nothing in common, the event has moved
/// or another one has got its event_id; all others are of one programme.
class accounts_of_event {
public:
    /// The index of the account that may be of the same programme as `event`.
    std::optional<std::size_t> find(const programme& event) const {
        if (!event.is_timed() || by_start_.empty()) return oldest_;
        // The spans never overlap, so that the neighbours are all there can be.
        const auto next = by_start_.lower_bound(event.start);
        if (next != by_start_.end() && next->first == event.start) return next->second.index;
        if (next != by_start_.begin() && std::prev(next)->second.end > event.start) {
            return std::prev(next)->second.index;
        }
        if (next != by_start_.end() && next->first < event.end()) {
            return next->second.index;
        }
        return std::nullopt;
    }

    bool empty() const { return !oldest_; }
    /// Accounts are added from the newest to the oldest.
    void add(std::size_t index, const programme& event) {
        oldest_ = index;
        if (event.is_timed()) time(index, event);
    }
    /// An account without times has got those of `event`.
    void time(std::size_t index, const programme& event) {
        by_start_[event.start] = {event.end(), index};
    }

private:
    /// As told by the newest that has a start; a duration that an older one supplies changes
    /// nothing.
    struct lasting {
        std::time_t end = 0;
        std::size_t index = 0;
    };
    std::optional<std::size_t> oldest_;
    std::map<std::time_t, lasting> by_start_;  ///< none while the only account has no times
};

}  // namespace

void service_events::take(const eit& section, span bytes, std::uint64_t order,
                          event_limits& limits) {
    const std::uint32_t place = place_of(section.table_id, section.section_number);
    if (const auto before = sections_.find(place); before != sections_.end()) {
        drop(before->second, limits);
        // It was on air, so it belongs into the guide, also when the tables have dropped it.
        if (before->second.on_air) remember(std::move(before->second), limits);
        sections_.erase(before);
    }

    told_events told = {order, section.version_number, is_present(section), {}};
    const section_loops loops = find_loops(bytes.begin(), bytes.size());
    for (std::size_t i = 0; i < section.events.size(); ++i) {
        const span descriptors = i < loops.records.size() ? loops.records[i].descriptors : span();
        programme announced = make_programme(section, section.events[i], descriptors);
        const std::size_t size = announced.size();
        if (!limits.announced.admits(announced_)) continue;
        if (!limits.bytes.admits(limits.kept_bytes + size - 1)) continue;
        limits.kept_bytes += size;
        ++announced_;
        told.events.push_back(std::move(announced));
    }
    told.events.shrink_to_fit();
    if (!told.events.empty()) sections_.emplace(place, std::move(told));

    // A new version may have fewer sections, in the table or in this segment of eight.
    const std::uint32_t segment = section.section_number / 8 * 8;
    drop_unless(
        section.version_number,
        place_of(section.table_id, std::max(segment, section.segment_last_section_number + 1)),
        place_of(section.table_id, segment + 7), limits);
    drop_unless(section.version_number,
                place_of(section.table_id, 0) + section.last_section_number + 1,
                place_of(section.table_id, 255), limits);
}

/// Of a section that goes.
void service_events::drop(const told_events& told, event_limits& limits) {
    announced_ -= told.events.size();
    for (const programme& event : told.events) limits.kept_bytes -= event.size();
}

void service_events::drop_unless(std::uint32_t version_number, std::uint32_t first_place,
                                 std::uint32_t last_place, event_limits& limits) {
    auto s = sections_.lower_bound(first_place);
    while (s != sections_.end() && s->first <= last_place) {
        if (s->second.version_number == version_number) {
            ++s;
            continue;
        }
        drop(s->second, limits);
        s = sections_.erase(s);
    }
}

/// Keeps no more bytes than `told` had.
void service_events::remember(told_events told, event_limits& limits) {
    for (programme& event : told.events) {
        const auto known = std::find_if(past_.begin(), past_.end(), [&](const past_event& past) {
            return past.event.event_id == event.event_id && past.event.start == event.start;
        });
        if (known != past_.end()) {
            supply(event, known->event);
            limits.kept_bytes -= known->event.size();
            past_.erase(known);
        }
        limits.kept_bytes += event.size();
        past_.push_back({told.order, std::move(event)});
        if (past_.size() > most_past) {
            limits.kept_bytes -= past_.front().event.size();
            past_.pop_front();
            ++limits.forgotten;
        }
    }
}

std::vector<programme> service_events::merged() const {
    struct telling {
        std::uint64_t order;
        bool on_air;
        const programme* event;
    };
    std::vector<telling> newest_first;
    newest_first.reserve(announced_ + past_.size());
    for (const past_event& past : past_) newest_first.push_back({past.order, true, &past.event});
    for (const auto& [place, told] : sections_) {
        for (const programme& event : told.events) {
            newest_first.push_back({told.order, told.on_air, &event});
        }
    }
    std::stable_sort(newest_first.begin(), newest_first.end(),
                     [](const telling& a, const telling& b) { return a.order > b.order; });

    // What neither is the newest nor was on air tells where a schedule had the event before.
    struct account {
        programme event;
        bool holds;
    };
    std::vector<account> accounts;
    std::map<std::uint32_t, accounts_of_event> accounts_of_events;
    for (const telling& told : newest_first) {
        accounts_of_event& of_event = accounts_of_events[told.event->event_id];
        const bool was_on_air = told.on_air && told.event->is_timed();
        if (const auto known = of_event.find(*told.event)) {
            account& newer = accounts[*known];
            const bool was_timed = newer.event.is_timed();
            supply(newer.event, *told.event);
            newer.holds = newer.holds || was_on_air;
            if (!was_timed && newer.event.is_timed()) of_event.time(*known, newer.event);
        } else {
            const bool is_newest = of_event.empty();
            of_event.add(accounts.size(), *told.event);
            accounts.push_back({*told.event, is_newest || was_on_air});
        }
    }

    std::vector<programme> events;
    for (account& a : accounts) {
        if (a.holds) events.push_back(std::move(a.event));
    }
    return events;
}

}  // namespace orvix::broadcast
