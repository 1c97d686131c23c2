#include "isdb_sections.h"

namespace orvix::test {

namespace {

/// A text behind its 8-bit length.
bytes counted(const std::string& text) {
    return section_writer().bits(8, text.size()).append(text);
}

}  // namespace

bytes utc_time(std::uint16_t mjd, std::uint32_t hhmmss) {
    return section_writer().bits(16, mjd).bits(24, hhmmss);
}

// --- Services and streams ---

bytes describe_service(std::uint8_t service_type, const std::string& provider,
                       const std::string& name) {
    return descriptor(
        0x48,
        section_writer().bits(8, service_type).append(counted(provider)).append(counted(name)));
}

bytes describe_stream_identifier(std::uint8_t component_tag) {
    return descriptor(0x52, {component_tag});
}

bytes describe_component(std::uint8_t stream_content, std::uint8_t component_type,
                         std::uint8_t component_tag, const std::string& language,
                         const std::string& text) {
    return descriptor(0x50, section_writer()
                                .bits(4, 0xF)  // reserved
                                .bits(4, stream_content)
                                .bits(8, component_type)
                                .bits(8, component_tag)
                                .append(language)
                                .append(text));
}

bytes describe_ts_information(std::uint8_t remote_control_key_id, const std::string& ts_name,
                              const std::vector<transmission_type>& types) {
    section_writer body;
    body.bits(8, remote_control_key_id)
        .bits(6, ts_name.size())
        .bits(2, types.size())
        .append(ts_name);
    for (const transmission_type& type : types) {
        body.bits(8, type.transmission_type_info).bits(8, type.service_ids.size());
        for (const std::uint16_t service_id : type.service_ids) body.bits(16, service_id);
    }
    return descriptor(0xCD, body);
}

// --- Events and times ---

bytes describe_short_event(const std::string& language, const std::string& event_name,
                           const std::string& text) {
    return descriptor(
        0x4D, section_writer().append(language).append(counted(event_name)).append(counted(text)));
}

bytes describe_content(const bytes& contents) { return descriptor(0x54, contents); }

bytes parental_rating(const std::string& country, std::uint8_t rating) {
    return section_writer().append(country).bits(8, rating);
}

bytes describe_parental_ratings(const bytes& ratings) { return descriptor(0x55, ratings); }

bytes local_time_offset(const std::string& country, std::uint8_t country_region_id,
                        std::uint8_t polarity, std::uint16_t offset, const bytes& time_of_change,
                        std::uint16_t next_offset) {
    return section_writer()
        .append(country)
        .bits(6, country_region_id)
        .bits(1, 1)  // reserved
        .bits(1, polarity)
        .bits(16, offset)
        .append(time_of_change)
        .bits(16, next_offset);
}

bytes describe_local_time_offsets(const bytes& offsets) { return descriptor(0x58, offsets); }

// --- Application signalling ---

bytes application_profile(std::uint16_t profile, std::uint8_t major, std::uint8_t minor,
                          std::uint8_t micro) {
    return section_writer().bits(16, profile).bits(8, major).bits(8, minor).bits(8, micro);
}

bytes describe_application(const bytes& profiles, std::uint8_t service_bound_flag,
                           std::uint8_t visibility, std::uint8_t application_priority,
                           const bytes& transport_protocol_labels) {
    return descriptor(0x00, section_writer()
                                .bits(8, profiles.size())
                                .append(profiles)
                                .bits(1, service_bound_flag)
                                .bits(2, visibility)
                                .bits(5, 0x1F)  // reserved
                                .bits(8, application_priority)
                                .append(transport_protocol_labels));
}

bytes application_name(const std::string& language, const std::string& name) {
    return section_writer().append(language).append(counted(name));
}

bytes describe_application_names(const bytes& names) { return descriptor(0x01, names); }

bytes remote_connection(std::uint16_t original_network_id, std::uint16_t transport_stream_id,
                        std::uint16_t service_id) {
    return section_writer()
        .bits(16, original_network_id)
        .bits(16, transport_stream_id)
        .bits(16, service_id);
}

bytes describe_transport_protocol(std::uint16_t protocol_id, std::uint8_t label,
                                  const bytes& remote, const bytes& selector) {
    return descriptor(0x02, section_writer()
                                .bits(16, protocol_id)
                                .bits(8, label)
                                .bits(1, remote.empty() ? 0 : 1)  // remote_connection
                                .bits(7, 0x7F)                    // reserved_future_use
                                .append(remote)
                                .append(selector));
}

bytes describe_object_carousel(std::uint8_t label, std::uint8_t component_tag,
                               const bytes& remote) {
    return describe_transport_protocol(0x0001, label, remote, {component_tag});
}

bytes describe_data_carousel(std::uint8_t label, std::uint8_t component_tag, const bytes& remote) {
    return describe_transport_protocol(0x0004, label, remote, {component_tag});
}

bytes url(const std::string& text) { return counted(text); }

bytes describe_ip_transport(std::uint8_t label, std::uint8_t alignment_indicator, const bytes& urls,
                            const bytes& remote) {
    return describe_transport_protocol(0x0002, label, remote,
                                       section_writer()
                                           .bits(1, alignment_indicator)
                                           .bits(7, 0x7F)  // reserved_future_use
                                           .append(urls));
}

bytes describe_ginga_location(std::uint8_t tag, const std::string& base_directory,
                              const std::string& class_extension,
                              const std::string& initial_class) {
    return descriptor(tag, counted(base_directory) + counted(class_extension) + raw(initial_class));
}

bytes describe_icon(const std::string& icon_locator, std::uint16_t icon_flags) {
    return descriptor(0x0B, section_writer().append(counted(icon_locator)).bits(16, icon_flags));
}

// --- Tables ---

bytes program(std::uint16_t program_number, std::uint16_t pid) {
    return section_writer()
        .bits(16, program_number)
        .bits(3, 0x7)  // reserved
        .bits(13, pid);
}

bytes pat_section(std::uint16_t transport_stream_id, const bytes& programs,
                  const long_header& header) {
    return long_section(0x00, transport_stream_id, programs, header);
}

bytes elementary_stream(std::uint8_t stream_type, std::uint16_t pid, const bytes& descriptors) {
    return section_writer()
        .bits(8, stream_type)
        .bits(3, 0x7)  // reserved
        .bits(13, pid)
        .append(loop12(descriptors));  // reserved, ES_info_length, descriptors
}

bytes pmt_section(std::uint16_t program_number, std::uint16_t pcr_pid,
                  const bytes& program_descriptors, const bytes& streams,
                  const long_header& header) {
    return long_section(0x02, program_number,
                        section_writer()
                            .bits(3, 0x7)  // reserved
                            .bits(13, pcr_pid)
                            .append(loop12(program_descriptors))
                            .append(streams),
                        header);
}

bytes service(std::uint16_t service_id, std::uint8_t running_status, std::uint8_t free_CA_mode,
              const bytes& descriptors) {
    return section_writer()
        .bits(16, service_id)
        .bits(6, 0x3F)  // reserved_future_use
        .bits(1, 1)     // EIT_schedule_flag
        .bits(1, 1)     // EIT_present_following_flag
        .bits(3, running_status)
        .bits(1, free_CA_mode)
        .bits(12, descriptors.size())
        .append(descriptors);
}

bytes sdt_section(std::uint16_t transport_stream_id, std::uint16_t original_network_id,
                  const bytes& services, const long_header& header) {
    return long_section(0x42, transport_stream_id,
                        section_writer()
                            .bits(16, original_network_id)
                            .bits(8, 0xFF)  // reserved_future_use
                            .append(services),
                        header);
}

bytes transport_stream(std::uint16_t transport_stream_id, std::uint16_t original_network_id,
                       const bytes& descriptors) {
    return section_writer()
        .bits(16, transport_stream_id)
        .bits(16, original_network_id)
        .append(loop12(descriptors));  // reserved, transport_descriptors_length, descriptors
}

bytes nit_section(std::uint16_t network_id, const bytes& network_descriptors,
                  const bytes& transport_streams, const long_header& header) {
    return long_section(0x40, network_id, loop12(network_descriptors) + loop12(transport_streams),
                        header);
}

bytes event(std::uint16_t event_id, const bytes& start_time, std::uint32_t duration,
            std::uint8_t running_status, std::uint8_t free_CA_mode, const bytes& descriptors) {
    return section_writer()
        .bits(16, event_id)
        .append(start_time)
        .bits(24, duration)
        .bits(3, running_status)
        .bits(1, free_CA_mode)
        .bits(12, descriptors.size())
        .append(descriptors);
}

bytes eit_section(const eit_identifiers& identifiers, const bytes& events,
                  const long_header& header) {
    return long_section(identifiers.table_id, identifiers.service_id,
                        section_writer()
                            .bits(16, identifiers.transport_stream_id)
                            .bits(16, identifiers.original_network_id)
                            .bits(8, identifiers.segment_last_section_number)
                            .bits(8, identifiers.last_table_id)
                            .append(events),
                        header);
}

bytes tdt_section(const bytes& time) { return short_section(0x70, time); }

bytes tot_section(const bytes& time, const bytes& descriptors) {
    constexpr std::size_t crc_size = 4;
    bytes section =
        short_section(0x73, section_writer()
                                .append(time)
                                .append(loop12(descriptors))  // reserved, length, descriptors
                                .append(bytes(crc_size)));
    repair_crc(section);
    return section;
}

bytes application(std::uint32_t organisation_id, std::uint16_t application_id,
                  std::uint8_t application_control_code, const bytes& descriptors) {
    return section_writer()
        .bits(32, organisation_id)
        .bits(16, application_id)
        .bits(8, application_control_code)
        .append(loop12(descriptors));  // reserved, application_descriptors_loop_length, descriptors
}

bytes ait_section(std::uint16_t application_type, const bytes& common_descriptors,
                  const bytes& applications, const long_header& header) {
    return long_section(0x74, application_type, loop12(common_descriptors) + loop12(applications),
                        header);
}

}  // namespace orvix::test
