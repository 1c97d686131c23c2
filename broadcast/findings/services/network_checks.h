#pragma once

#include <broadcast/bound.h>
#include <broadcast/findings/ledger.h>
#include <broadcast/findings/review_pace.h>
#include <broadcast/observer.h>

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace orvix::broadcast {

/// What PAT, NIT, SDT and EIT say of this transport stream: whose it is, its channel number, and
/// where its 1-seg services are.
class network_checks {
public:
    explicit network_checks(ledger& to) : to_(to) {}

    void stream_begins(const stream_facts& of) { stream_.emplace(of); }
    void take(const sighting& seen);
    void packets_passed();
    void end();

    std::vector<bound> bounds() const { return {stream_bound_, events_bound_}; }

private:
    struct identifiers {
        std::uint16_t transport_stream_id = 0;
        std::uint16_t original_network_id = 0;

        friend bool operator<(const identifiers& a, const identifiers& b) {
            return std::pair(a.transport_stream_id, a.original_network_id) <
                   std::pair(b.transport_stream_id, b.original_network_id);
        }
        friend bool operator!=(const identifiers& a, const identifiers& b) {
            return a < b || b < a;
        }
    };
    struct pat_header {
        std::uint16_t transport_stream_id = 0;
        std::uint8_t version_number = 0;
    };
    struct network_stream {
        identifiers is;
        bool has_number = false;             ///< a TS information descriptor
        std::vector<std::uint16_t> one_seg;  ///< the services of partial reception
    };
    struct network {
        std::uint16_t network_id = 0;
        std::uint8_t version_number = 0;
        unsigned int last_section_number = 0;
        std::map<std::uint8_t, std::vector<network_stream>> sections;  ///< by section_number
        std::size_t streams = 0;

        bool is_whole() const { return sections.size() > last_section_number; }
    };
    struct strange_events {
        std::uint16_t service_id = 0;   ///< one of those whose EIT says so
        std::optional<double> seconds;  ///< when it last came
    };

    void take_pat(const sighting& seen);
    void take_sdt(const sighting& seen);
    void take_nit(const sighting& seen);
    void take_eit(const sighting& seen);
    void wait_for_others();
    bool is_strange(const identifiers& of_events) const;
    template <typename Visit>
    void for_each_network_stream(Visit visit) const;
    bool has_whole_network() const;

    void review();
    void check_network_pid();
    void check_network();
    void check_sdt();
    void check_events();
    std::set<std::uint16_t> one_seg_services() const;
    void check_one_seg(std::uint16_t service_id, std::uint16_t pid, bool is_listed);

    ledger& to_;
    std::optional<stream_facts> stream_;
    std::optional<pat_header> pat_;
    std::optional<identifiers> sdt_;
    std::optional<network> network_;
    std::map<identifiers, strange_events> strange_events_;
    review_pace pace_;
    // A network has below a hundred transport streams.
    bound stream_bound_ = {"transport streams whose ids are compared", 1'000};
    // One would be too many.
    bound events_bound_ = {"transport streams that EITs are of", 100};
};

}  // namespace orvix::broadcast
