#pragma once

#include <broadcast/findings/ledger.h>
#include <broadcast/observer.h>
#include <broadcast/readings/readings.h>

namespace orvix::broadcast {

/// What this receiver refuses of a broadcast, misses of it, and reads otherwise than it was sent.
/// What is refused counts each time, what is read otherwise once for each new section.
class receiver_checks {
public:
    explicit receiver_checks(ledger& to) : to_(to) {}

    /// Takes a few times as long as the section is, where it is new.
    void take(const sighting& seen);
    void take_refused(const place& where, const refusal& what);

private:
    void tell(const difference& d, const readings& found, const sighting& seen);

    ledger& to_;
    bool has_told_of_several_eit_sections_ = false;
};

}  // namespace orvix::broadcast
