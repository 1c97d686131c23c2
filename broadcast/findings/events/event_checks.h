#pragma once

#include <broadcast/bound.h>
#include <broadcast/findings/ledger.h>
#include <broadcast/observer.h>

#include <vector>

#include "counted_events.h"
#include "event_contents.h"
#include "event_times.h"
#include "present_events.h"

namespace orvix::broadcast {

/// What is wrong with the events of this transport stream. What they say is judged when it is new;
/// time goes on without it.
class event_checks {
public:
    explicit event_checks(ledger& to)
        : contents_(to, counted_), times_(to, counted_), present_(to) {}
    event_checks(const event_checks&) = delete;
    event_checks& operator=(const event_checks&) = delete;

    void stream_begins(const stream_facts& of) { present_.stream_begins(of); }
    void take(const sighting& seen);
    void packets_passed() { present_.packets_passed(); }
    void end() { present_.end(); }

    std::vector<bound> limits() const {
        return {counted_.limit(), times_.limit(), present_.limit()};
    }

private:
    counted_events counted_;
    event_contents contents_;
    event_times times_;
    present_events present_;
};

}  // namespace orvix::broadcast
