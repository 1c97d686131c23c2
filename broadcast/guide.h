#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "bound.h"
#include "programme.h"
#include "service_events.h"
#include "table_ref.h"
#include "times.h"

namespace orvix::broadcast {

struct channel {
    std::uint32_t original_network_id = 0;
    std::uint32_t service_id = 0;
    std::string name;                   ///< empty where no SDT told it
    std::string number;                 ///< as the viewer enters it, "3.1"; empty where unknown
    std::vector<programme> programmes;  ///< at least one, by start time; names and times are known
};

struct guide_contents {
    /// How far viewers' clocks are ahead of UTC, as the newest TOT says; the broadcast's own clock
    /// is that of `brasilia`.
    std::optional<utc_offset> viewers_offset;
    std::vector<channel> channels;      ///< by original_network_id and service_id
    std::uint64_t untimed_events = 0;   ///< left out: start time undefined
    std::uint64_t unnamed_events = 0;   ///< left out: without a name
    std::uint64_t covered_events = 0;   ///< left out: newer ones of the service begin with them
    std::uint64_t services_untold = 0;  ///< left out: without any event
    std::uint64_t overlaps = 0;         ///< programmes that begin before one before them ends
    /// Programmes that were on air and are no longer kept, because `service_events::most_past`
    /// later ones of their service are.
    std::uint64_t forgotten = 0;
};

/// A programme guide out of the tables of a broadcast. Present/following and schedule are merged:
/// of each event, and of events that begin together, the newest section holds; what that one leaves
/// out, older ones supply. An event that was once present stays after it has left the tables, also
/// when its event_id has passed on to another one, until `service_events::most_past` later ones
/// have.
///
/// Memory is bounded whatever the tables say, and a section takes time for itself, not for what
/// came before it.
class guide {
public:
    /// `section` are the bytes that the table was read from.
    void take(const table_ref& table, span section);

    /// What the tables so far say of these services, or of all if there are none.
    guide_contents contents(const std::set<std::uint16_t>& wanted = {}) const;

    /// What is kept is bounded by these.
    std::vector<bound> bounds() const;

private:
    using service_key = std::pair<std::uint32_t, std::uint32_t>;  ///< original_network_id, then id
    using stream_key = std::pair<std::uint32_t, std::uint32_t>;   ///< the same, of the multiplex
    using sdt_key = std::tuple<stream_key, std::uint32_t>;        ///< and table_id

    struct service {
        stream_key stream;
        std::map<sdt_key, std::string> names;
        bool has_eit = false;
        service_events events;
    };
    /// One version of an SDT, unless it names nothing.
    struct naming {
        std::uint32_t version_number = 0;
        std::vector<service_key> named;
    };

    void take(const si_parser::pat& section);
    void take(const si_parser::sdt& section);
    void take(const si_parser::nit& section);
    void take(const si_parser::eit& section, span bytes);
    void take(const si_parser::tot& section);

    service* find_or_add(const service_key& key, const stream_key& stream);
    void forget_names(const sdt_key& of);
    std::string number_of(const service_key& key, const service& of) const;

    std::map<std::uint32_t, std::uint32_t> pmt_pids_;  ///< by program_number
    std::map<stream_key, std::uint8_t> remote_control_keys_;
    std::map<service_key, service> services_;  ///< those with an EIT or in an SDT
    std::map<sdt_key, naming> sdts_;
    std::size_t names_ = 0;  ///< of all services
    std::optional<utc_offset> viewers_offset_;
    std::uint64_t order_ = 0;
    event_limits limits_;
    // Sixteen services on each of 64 channels, which are more than there are in one place.
    bound services_limit_ = {"services in the guide", 1024};
    // Each service by an SDT of its own multiplex and by one of another.
    bound names_limit_ = {"names of services in the guide", 2048};
    // Those of one multiplex, and all multiplexes around.
    bound programs_limit_ = {"programmes with a PMT in the guide", 1024};
    bound streams_limit_ = {"remote control keys in the guide", 1024};
};

}  // namespace orvix::broadcast
