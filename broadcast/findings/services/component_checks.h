#pragma once

#include <broadcast/findings/ledger.h>
#include <broadcast/findings/review_pace.h>

#include <cstdint>
#include <vector>

#include "sent_pmts.h"

namespace orvix::broadcast {

/// Whether component_tags tell the streams of a service apart, and say of what kind they are.
class component_checks {
public:
    component_checks(ledger& to, sent_pmts& pmts) : to_(to), pmts_(pmts) {}

    void packets_passed();
    void end() { review(); }

private:
    void review();
    void check_tags(std::uint16_t service_id, const std::vector<sent_stream>& streams);
    void check_kind(std::uint16_t service_id, const sent_stream& stream);

    ledger& to_;
    sent_pmts& pmts_;
    review_pace pace_;
};

}  // namespace orvix::broadcast
