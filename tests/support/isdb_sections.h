#pragma once

// The tables and descriptors of a broadcast, field by field. What begins with `describe_` is a
// descriptor, what ends in `_section` a whole section; the rest are entries of their loops, which
// are put together with `+`. Texts are the bytes of a broadcast, not UTF-8.

#include <cstdint>
#include <string>
#include <vector>

#include "section_writer.h"

namespace orvix::test {

/// Date and time: a Modified Julian Date and six BCD digits, 0x124500 for 12:45:00.
bytes utc_time(std::uint16_t mjd, std::uint32_t hhmmss);

// --- Services and streams ---

bytes describe_service(std::uint8_t service_type, const std::string& provider,
                       const std::string& name);
bytes describe_stream_identifier(std::uint8_t component_tag);
bytes describe_component(std::uint8_t stream_content, std::uint8_t component_type,
                         std::uint8_t component_tag, const std::string& language,
                         const std::string& text = {});

/// The services that one transmission type carries: entries of the TS information descriptor.
struct transmission_type {
    std::uint8_t transmission_type_info = 0;
    std::vector<std::uint16_t> service_ids;
};
bytes describe_ts_information(std::uint8_t remote_control_key_id, const std::string& ts_name,
                              const std::vector<transmission_type>& types = {});

// --- Events and times ---

bytes describe_short_event(const std::string& language, const std::string& event_name,
                           const std::string& text);
/// `contents`: pairs of a content_nibble byte and a user byte.
bytes describe_content(const bytes& contents);
bytes parental_rating(const std::string& country, std::uint8_t rating);
bytes describe_parental_ratings(const bytes& ratings);

/// Offsets are four BCD digits, 0x0300 for three hours; `polarity` 1 is west of Greenwich.
bytes local_time_offset(const std::string& country, std::uint8_t country_region_id,
                        std::uint8_t polarity, std::uint16_t offset, const bytes& time_of_change,
                        std::uint16_t next_offset);
bytes describe_local_time_offsets(const bytes& offsets);

// --- Application signalling ---

bytes application_profile(std::uint16_t profile, std::uint8_t major, std::uint8_t minor,
                          std::uint8_t micro);
bytes describe_application(const bytes& profiles, std::uint8_t service_bound_flag,
                           std::uint8_t visibility, std::uint8_t application_priority,
                           const bytes& transport_protocol_labels = {});
bytes application_name(const std::string& language, const std::string& name);
bytes describe_application_names(const bytes& names);

/// Where a transport is found when it is not in the transport stream of its AIT.
bytes remote_connection(std::uint16_t original_network_id, std::uint16_t transport_stream_id,
                        std::uint16_t service_id);
/// `remote` is empty or a `remote_connection`; `selector` is what follows it.
bytes describe_transport_protocol(std::uint16_t protocol_id, std::uint8_t label,
                                  const bytes& remote, const bytes& selector);
bytes describe_object_carousel(std::uint8_t label, std::uint8_t component_tag,
                               const bytes& remote = {});
bytes describe_data_carousel(std::uint8_t label, std::uint8_t component_tag,
                             const bytes& remote = {});
bytes url(const std::string& text);
bytes describe_ip_transport(std::uint8_t label, std::uint8_t alignment_indicator, const bytes& urls,
                            const bytes& remote = {});

/// Tag 0x04 for Ginga-J, 0x07 for Ginga-NCL.
bytes describe_ginga_location(std::uint8_t tag, const std::string& base_directory,
                              const std::string& class_extension, const std::string& initial_class);
bytes describe_icon(const std::string& icon_locator, std::uint16_t icon_flags);

// --- Tables ---

bytes program(std::uint16_t program_number, std::uint16_t pid);
bytes pat_section(std::uint16_t transport_stream_id, const bytes& programs,
                  const long_header& header = {});

bytes elementary_stream(std::uint8_t stream_type, std::uint16_t pid, const bytes& descriptors = {});
bytes pmt_section(std::uint16_t program_number, std::uint16_t pcr_pid,
                  const bytes& program_descriptors, const bytes& streams,
                  const long_header& header = {});

bytes service(std::uint16_t service_id, std::uint8_t running_status, std::uint8_t free_CA_mode,
              const bytes& descriptors = {});
bytes sdt_section(std::uint16_t transport_stream_id, std::uint16_t original_network_id,
                  const bytes& services, const long_header& header = {});

bytes transport_stream(std::uint16_t transport_stream_id, std::uint16_t original_network_id,
                       const bytes& descriptors = {});
bytes nit_section(std::uint16_t network_id, const bytes& network_descriptors,
                  const bytes& transport_streams, const long_header& header = {});

struct eit_identifiers {
    std::uint8_t table_id = 0x4E;
    std::uint16_t service_id = 0;
    std::uint16_t transport_stream_id = 0;
    std::uint16_t original_network_id = 0;
    std::uint8_t segment_last_section_number = 0;
    std::uint8_t last_table_id = 0x4E;
};
/// `duration` is six BCD digits, 0x014530 for 1:45:30.
bytes event(std::uint16_t event_id, const bytes& start_time, std::uint32_t duration,
            std::uint8_t running_status, std::uint8_t free_CA_mode, const bytes& descriptors = {});
bytes eit_section(const eit_identifiers& identifiers, const bytes& events,
                  const long_header& header = {});

/// Eight bytes, as on air: `tdt::parse` wants a spare one behind them.
bytes tdt_section(const bytes& time);
bytes tot_section(const bytes& time, const bytes& descriptors);

bytes application(std::uint32_t organisation_id, std::uint16_t application_id,
                  std::uint8_t application_control_code, const bytes& descriptors = {});
bytes ait_section(std::uint16_t application_type, const bytes& common_descriptors,
                  const bytes& applications, const long_header& header = {});

}  // namespace orvix::test
