#pragma once

#include <broadcast/findings/ledger.h>
#include <broadcast/observer.h>
#include <si_parser/eit.h>

#include <string>

#include "counted_events.h"

namespace orvix::broadcast {

/// Whether events say what viewers see of them: names, texts, ratings, genres.
class event_contents {
public:
    event_contents(ledger& to, counted_events& counted) : to_(to), counted_(counted) {}

    void take(const place& where, const si_parser::eit& section);

private:
    /// An event, and whose it is.
    struct told_event {
        const place& where;
        std::uint16_t service_id;
        const si_parser::eit::event& is;
    };
    void check_texts(const told_event& event);
    void check_rating(const told_event& event);
    void check_genre(const told_event& event);
    /// `words` make the sentence behind the event's name.
    template <typename Words>
    void tell(finding_kind kind, const told_event& event, Words words);

    ledger& to_;
    counted_events& counted_;
};

}  // namespace orvix::broadcast
