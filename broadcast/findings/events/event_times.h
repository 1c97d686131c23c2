#pragma once

#include <broadcast/bound.h>
#include <broadcast/findings/ledger.h>
#include <broadcast/observer.h>
#include <si_parser/eit.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "counted_events.h"

namespace orvix::broadcast {

/// Whether events have times that the receiver can show, and follow one another: present and
/// following, and those of a schedule, within a section and from one section to the next.
class event_times {
public:
    event_times(ledger& to, counted_events& counted) : to_(to), counted_(counted) {}

    void take(const place& where, const si_parser::eit& section);

    const bound& limit() const { return bound_; }

private:
    /// PID, table_id, service_id.
    using table_key = std::tuple<std::uint32_t, std::uint8_t, std::uint16_t>;
    struct timed_event {
        std::uint16_t event_id = 0;
        std::int64_t start = 0;  ///< in seconds, by the broadcast's clock
        std::int64_t end = 0;
        std::string words;
    };
    /// What lies between a section's first event and its last one.
    struct section_span {
        timed_event first;
        timed_event last;                ///< the one that ends last
        std::uint32_t next_section = 0;  ///< the number of the one that goes on
    };
    struct table {
        std::uint32_t version_number = 0;
        /// By section_number, those whose events all have times; never none.
        std::map<std::uint32_t, section_span> sections;
    };
    struct told_section {
        const place& where;
        const si_parser::eit& is;
    };

    static std::optional<timed_event> timed(const si_parser::eit::event& event);
    void check(const told_section& section, const si_parser::eit::event& event);
    std::optional<section_span> span_of(const told_section& section);
    void compare(const told_section& section, const timed_event& before, const timed_event& after,
                 bool may_lack_others);
    void forget(const told_section& section);
    void remember(const told_section& section, section_span span);
    static table_key key_of(const told_section& section);

    ledger& to_;
    counted_events& counted_;
    std::map<table_key, table> tables_;
    std::size_t kept_ = 0;  ///< sections
    // A full schedule of a hundred services has 50'000, of which most are empty.
    bound bound_ = {"sections whose events are compared with those of their neighbours", 10'000};
};

}  // namespace orvix::broadcast
