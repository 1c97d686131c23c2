#pragma once

#include <broadcast/bound.h>
#include <broadcast/findings/ledger.h>
#include <broadcast/findings/review_pace.h>
#include <broadcast/observer.h>

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sent_pmts.h"

namespace orvix::broadcast {

/// Whether the AITs come that PMTs announce, and receivers can fetch the applications in them.
class application_checks {
public:
    application_checks(ledger& to, sent_pmts& pmts) : to_(to), pmts_(pmts) {}

    void stream_begins(const stream_facts& of) { stream_.emplace(of); }
    /// An AIT, also if the receiver refuses it.
    void take(const sighting& seen);
    void packets_passed();
    void end();

    std::vector<bound> bounds() const { return {application_bound_, tag_bound_}; }

private:
    struct application {
        std::uint32_t organisation_id = 0;
        std::uint16_t application_id = 0;
        bool has_transport = false;
        std::vector<std::uint8_t> carousels;  ///< by component_tag, those in the same service
    };
    struct table {
        std::uint8_t version_number = 0;
        std::map<std::uint8_t, std::vector<application>> sections;  ///< by section_number
    };
    /// PID, and application_type with its test flag.
    using table_key = std::pair<std::uint16_t, std::uint16_t>;
    using tag_set = std::bitset<0x100>;

    bool is_known(const sighting& seen, const table_key& key) const;
    void take_ait(const sighting& seen, const table_key& key);
    void keep(table& known, const sighting& seen);
    void forget(const std::vector<application>& all);
    void forget_what_is_gone();

    bool is_settled() const;
    void review();
    void check_service(std::uint16_t service_id, const std::vector<sent_stream>& streams);
    void check_announcement(std::uint16_t service_id, std::uint16_t pid);
    void check(std::uint16_t service_id, std::uint16_t pid, const application& one,
               const tag_set& tags);

    ledger& to_;
    sent_pmts& pmts_;
    std::optional<stream_facts> stream_;
    std::map<table_key, table> tables_;
    std::bitset<0x2000> has_come_;               ///< an AIT, by PID
    std::map<std::uint16_t, double> announced_;  ///< since when, in seconds, by PID
    std::size_t applications_ = 0;
    std::size_t tags_ = 0;
    std::uint64_t looked_at_ = 0;
    review_pace pace_;
    // A service has below ten, each with one carousel.
    bound application_bound_ = {"applications whose transports are compared", 1'000};
    bound tag_bound_ = {"transports of applications", 1'000};
};

}  // namespace orvix::broadcast
