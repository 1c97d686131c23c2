#pragma once

#include <cstdint>
#include <ctime>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "bound.h"
#include "listing.h"
#include "observer.h"
#include "times.h"

namespace orvix::broadcast {

/// One elementary stream of a service.
struct service_stream {
    std::uint16_t elementary_pid = 0;
    std::uint8_t stream_type = 0;
    /// Only where a stream identifier or component descriptor gives one.
    std::optional<std::uint8_t> component_tag;
    /// As the component descriptor says it, else the ISO 639 language descriptor, which the
    /// receiver skips; empty where neither does.
    std::string language;
    /// Whether an AIT has come on it, or its data component descriptor announces one.
    bool carries_applications = false;
};

/// What a viewer gets of it: "H.264 video", "AAC audio por", "captions", "applications".
std::string in_words(const service_stream& stream);

struct service_application {
    std::uint32_t organisation_id = 0;
    std::uint16_t application_id = 0;
    std::uint16_t application_type = 0;
    std::uint8_t application_control_code = 0;
    std::string name;  ///< the first of its names; empty without one
};

struct event_on_air {
    std::uint16_t event_id = 0;
    std::time_t start_time = undefined_time;  ///< on the broadcast's clock
    std::time_t duration = undefined_duration;
    std::string name;
    struct parental_rating {
        std::string country_code;  ///< as broadcast
        std::uint8_t rating = 0;
    };
    std::optional<parental_rating> rating;      ///< Brazil's, else that of the first country
    std::vector<std::uint8_t> content_nibbles;  ///< as `names::genre` takes them
};

/// What the broadcast has not said is empty.
struct told_service {
    std::uint16_t service_id = 0;
    std::string number;         ///< as the viewer enters it, "3.1"
    bool is_described = false;  ///< in the SDT, which may tell no name and type
    std::string name;
    std::optional<std::uint8_t> service_type;
    std::optional<std::uint16_t> program_map_pid;
    std::optional<std::uint16_t> pcr_pid;  ///< 0x1FFF: the service has no clock
    std::optional<std::vector<service_stream>> streams;
    std::optional<std::vector<service_application>> applications;
    std::optional<event_on_air> present;
    std::optional<event_on_air> following;
};

/// What a viewer can tune to in one transport stream. Texts are UTF-8.
struct told_services {
    std::optional<std::uint16_t> network_id;
    std::string network_name;
    std::optional<std::uint16_t> transport_stream_id;
    /// As the SDT says it, else the NIT's entry, else the EIT.
    std::optional<std::uint16_t> original_network_id;
    std::string ts_name;
    std::vector<told_service> services;  ///< by service_id
};

/// Puts the services of a transport stream together out of its tables.
///
/// The table_id says that a table is of this transport stream: SDT 0x42, NIT 0x40, EIT 0x4E. The
/// PAT says which services there are, beside those whose PMTs have come on the PIDs of 1-seg; where
/// no PAT has come, the SDT does. The service_id is what PAT, PMT, SDT and EIT are joined by, the
/// PIDs of a PMT's streams what AITs are. The NIT's entry is that of the PAT's transport_stream_id,
/// without a PAT the SDT's, without both the only one.
class services {
public:
    /// Takes what is new; repeats change nothing.
    void take(const sighting& seen);

    told_services told() const;

    /// Whether all sections of a PAT, or of an SDT, have come.
    bool has_whole_pat() const { return pat_.has_come_whole(); }
    bool has_whole_sdt() const { return sdt_.has_come_whole(); }
    bool is_in_sdt(std::uint16_t service_id) const;
    /// Those that the SDT lists and the PAT does not, whom no one is told of: by service_id.
    std::vector<std::uint16_t> not_in_pat() const;
    /// Whether there was room for each service.
    bool has_kept_all() const { return service_limit_.left_out == 0; }

    /// What the stream may make us keep.
    std::vector<bound> bounds() const;

private:
    struct program_map {
        std::optional<std::uint16_t> pid;  ///< none in a file of bare sections
        std::uint16_t pcr_pid = 0;
        std::vector<service_stream> streams;
    };
    struct description {
        std::string name;
        std::optional<std::uint8_t> service_type;
    };
    struct known_service {
        std::optional<std::uint16_t> pmt_pid;  ///< as the PAT says
        std::optional<program_map> pmt;
        std::optional<description> sdt;
    };
    using known_services = std::map<std::uint16_t, known_service>;  ///< by service_id

    struct network_stream {
        std::uint16_t transport_stream_id = 0;
        std::uint16_t original_network_id = 0;
        std::optional<std::uint8_t> remote_control_key_id;
        std::string ts_name;
    };
    struct network_section {
        std::string name;
        std::vector<network_stream> streams;
    };
    struct network {
        std::uint16_t network_id = 0;
        std::uint32_t version_number = 0;
        std::map<std::uint32_t, network_section> sections;  ///< by section_number
        std::size_t streams = 0;
    };
    struct identifiers {
        std::uint16_t transport_stream_id = 0;
        std::uint16_t original_network_id = 0;
    };
    struct events {
        std::optional<event_on_air> present;
        std::optional<event_on_air> following;
    };
    struct signalled_applications {
        std::uint32_t version_number = 0;
        std::map<std::uint32_t, std::vector<service_application>> sections;  ///< by section_number
        std::size_t applications = 0;
    };
    /// PID, and application_type with its test flag.
    using ait_key = std::pair<std::uint16_t, std::uint32_t>;

    void take_table(const si_parser::pat& section, const sighting& seen);
    void take_table(const si_parser::pmt& section, const sighting& seen);
    void take_table(const si_parser::sdt& section, const sighting& seen);
    void take_table(const si_parser::nit& section, const sighting& seen);
    void take_table(const si_parser::eit& section, const sighting& seen);
    void take_table(const si_parser::ait& section, const sighting& seen);
    void take_table(const si_parser::tdt& /*section*/, const sighting& /*seen*/) {}
    void take_table(const si_parser::tot& /*section*/, const sighting& /*seen*/) {}

    known_service* find_or_add(std::uint16_t service_id);
    void leave_pat(std::uint16_t service_id);
    void leave_sdt(std::uint16_t service_id);
    void forget_if_untold(known_services::iterator service);
    static bool is_one_seg(const known_service& known);
    bool is_expected(const si_parser::pmt& section, std::optional<std::uint16_t> pid) const;

    bool is_tunable(const known_service& known) const;
    const network_stream* own_network_stream() const;
    told_service told(std::uint16_t service_id, const known_service& known,
                      const network_stream* stream) const;
    std::optional<std::vector<service_application>> applications_on(
        const std::vector<service_stream>& streams) const;

    known_services services_;
    listing pat_;
    listing sdt_;
    std::optional<std::uint16_t> pat_transport_stream_id_;
    std::optional<identifiers> sdt_identifiers_;
    std::optional<network> network_;
    std::optional<std::uint16_t> events_original_network_id_;
    std::map<std::uint16_t, events> events_;  ///< by service_id, also of services not met so far
    std::map<ait_key, signalled_applications> aits_;
    std::size_t applications_ = 0;

    // A multiplex has below a hundred services; each may cost some ten thousand bytes.
    bound service_limit_ = {"services", 1'000};
    bound event_limit_ = {"services with events on air", 1'000};
    // A network has below a hundred transport streams, a service below ten applications.
    bound stream_limit_ = {"transport streams of the network", 1'000};
    bound application_limit_ = {"applications", 1'000};
};

}  // namespace orvix::broadcast
