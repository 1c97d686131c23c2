#pragma once

#include <broadcast/bound.h>
#include <broadcast/findings/ledger.h>
#include <broadcast/findings/review_pace.h>
#include <broadcast/observer.h>
#include <si_parser/eit.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace orvix::broadcast {

/// Whether the present event of each service is still on air by the broadcast's clock.
class present_events {
public:
    explicit present_events(ledger& to) : to_(to) {}

    void stream_begins(const stream_facts& of) { stream_.emplace(of); }
    void take(const place& where, const si_parser::eit& section);
    void packets_passed();
    /// No more comes.
    void end();

    const bound& limit() const { return bound_; }

private:
    /// PID and service_id.
    using service_key = std::pair<std::uint16_t, std::uint16_t>;
    struct present_event {
        std::uint16_t event_id = 0;
        std::optional<std::int64_t> ends;  ///< in seconds, by the broadcast's clock
        std::string words;
    };
    void look() const;

    ledger& to_;
    std::optional<stream_facts> stream_;
    std::map<service_key, present_event> events_;
    review_pace pace_ = review_pace(1);  // the broadcast's clock counts whole seconds
    // A multiplex has below a hundred services.
    bound bound_ = {"services whose present event is watched", 1'000};
};

}  // namespace orvix::broadcast
