#pragma once

#include <cstdint>
#include <ctime>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "table_ref.h"
#include "times.h"

namespace orvix::broadcast {

/// What a viewer's programme guide knows of an event.
struct programme {
    std::uint32_t event_id = 0;
    std::time_t start = undefined_time;  ///< on the broadcast's clock
    std::time_t duration = undefined_duration;
    std::string language;  ///< ISO 639-2, of name and text
    std::string name;
    std::string text;
    std::vector<std::uint8_t> content_nibbles;  ///< as `names::genre` takes them
    std::optional<std::uint8_t> rating;         ///< Brazil's
};

struct channel {
    std::uint32_t original_network_id = 0;
    std::uint32_t service_id = 0;
    std::string name;                   ///< empty where no SDT told it
    std::string number;                 ///< as the viewer enters it, "3.1"; empty where unknown
    std::vector<programme> programmes;  ///< at least one, by start time; names and times are known
};

struct guide_contents {
    std::vector<channel> channels;      ///< by original_network_id and service_id
    std::uint64_t untimed_events = 0;   ///< left out: start time or duration undefined
    std::uint64_t unnamed_events = 0;   ///< left out: without a name
    std::uint64_t covered_events = 0;   ///< left out: newer ones of the service begin with them
    std::uint64_t services_untold = 0;  ///< left out: without any event
};

/// A programme guide out of the tables of a broadcast. Present/following and schedule are merged:
/// of each event, and of events that begin together, the newest section holds; what that one leaves
/// out, older ones supply. An event that was once present stays after it has left the tables, also
/// when its event_id has passed on to another one.
class guide {
public:
    void take(const table_ref& table);

    /// What the tables so far say of these services, or of all if there are none.
    guide_contents contents(const std::set<std::uint16_t>& wanted = {}) const;

    /// How far viewers' clocks are ahead of UTC, as the newest TOT says; the broadcast's own clock
    /// is that of `brasilia`.
    std::optional<utc_offset> viewers_offset() const { return viewers_offset_; }

private:
    using service_key = std::pair<std::uint32_t, std::uint32_t>;  ///< original_network_id, then id
    using stream_key = std::pair<std::uint32_t, std::uint32_t>;   ///< the same, of the multiplex

    struct named_services {
        std::uint32_t version_number = 0;
        std::map<std::uint32_t, std::string> names;  ///< by service_id
    };
    /// One section of an EIT. Later ones have the higher order.
    struct told_events {
        std::uint64_t order = 0;
        std::uint32_t version_number = 0;
        bool on_air = false;  ///< the present event's
        std::vector<programme> events;
    };
    using told_sections = std::map<std::uint32_t, told_events>;  ///< by section_number

    void take(const si_parser::pat& section);
    void take(const si_parser::sdt& section);
    void take(const si_parser::nit& section);
    void take(const si_parser::eit& section);
    void take(const si_parser::tot& section);

    std::set<service_key> services() const;
    std::string name_of(const service_key& service) const;
    std::string number_of(const service_key& service) const;
    std::vector<programme> events_of(const service_key& service) const;

    std::map<std::uint32_t, std::uint32_t> pmt_pids_;  ///< by program_number
    std::map<stream_key, std::uint8_t> remote_control_keys_;
    std::map<std::tuple<stream_key, std::uint32_t>, named_services> sdts_;  ///< and table_id
    std::map<service_key, stream_key> streams_of_services_;
    std::map<service_key, std::map<std::uint32_t, told_sections>> eits_;  ///< by table_id
    std::map<service_key, std::vector<told_events>> past_;
    std::optional<utc_offset> viewers_offset_;
    std::uint64_t order_ = 0;
};

}  // namespace orvix::broadcast
