#pragma once

#include <si_parser/eit.h>

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <vector>

#include "bound.h"
#include "programme.h"

namespace orvix::broadcast {

/// What the events of all services together may take.
struct event_limits {
    // An event every three minutes for eight days, which is as long as a schedule can be.
    bound announced = {"events of a service in the guide", 4096};
    // A week of twenty services with long texts takes about half of it.
    bound bytes = {"bytes of events in the guide", 32 * 1024 * 1024};
    std::size_t kept_bytes = 0;
    std::uint64_t forgotten = 0;  ///< programmes that were on air before the last `most_past`
};

/// The events of one service, as the sections in force tell them, and those that were on air. Each
/// section changes only what it replaces.
class service_events {
public:
    /// Two days of half hours and more. What was on air before that, nobody looks up any more.
    static constexpr std::size_t most_past = 100;

    /// Takes a valid section of this service, and its bytes. Later ones have the higher `order`.
    void take(const si_parser::eit& section, span bytes, std::uint64_t order, event_limits& limits);

    /// Each event once: of accounts under one event_id the newest holds, and those of what was on
    /// air at another time.
    std::vector<programme> merged() const;

private:
    /// One section of an EIT, unless it is empty.
    struct told_events {
        std::uint64_t order = 0;
        std::uint32_t version_number = 0;
        bool on_air = false;  ///< the present event's
        std::vector<programme> events;
    };
    struct past_event {
        std::uint64_t order = 0;  ///< of the section that told it last
        programme event;
    };
    using told_sections = std::map<std::uint32_t, told_events>;  ///< by table_id and section_number

    void drop(const told_events& told, event_limits& limits);
    void drop_unless(std::uint32_t version_number, std::uint32_t first_place,
                     std::uint32_t last_place, event_limits& limits);
    void remember(told_events told, event_limits& limits);

    told_sections sections_;
    std::size_t announced_ = 0;   ///< events in `sections_`
    std::list<past_event> past_;  ///< by `order`; each event_id and start once
};

}  // namespace orvix::broadcast
