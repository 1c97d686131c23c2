#include "tables.h"

#include <isdb_sections.h>

#include <algorithm>
#include <map>
#include <stdexcept>
#include <string>

#include "broadcast_text.h"

namespace orvix::sample {

using namespace orvix::test;

namespace {

constexpr std::time_t seconds_of_day = 24 * 60 * 60;
constexpr const char* language = "por";

std::uint8_t u8(const json& value) { return static_cast<std::uint8_t>(number(value)); }
std::uint16_t u16(const json& value) { return static_cast<std::uint16_t>(number(value)); }

/// Bits 4 and 3 of a service_id tell the kind of service.
bool is_one_seg(const json& service) { return (number(service.at("service_id")) >> 3 & 3) == 3; }

std::string text(const json& value) { return broadcast_text(value.get<std::string>()); }

bytes counted(const std::string& text) {
    return section_writer().bits(8, text.size()).append(text);
}

/// 0x203000 of "20:30:00".
std::uint32_t bcd(std::string clock) {
    clock.erase(std::remove(clock.begin(), clock.end(), ':'), clock.end());
    return static_cast<std::uint32_t>(std::stoul(clock, nullptr, 16));
}

bytes broadcast_time(std::time_t time) {
    constexpr std::time_t mjd_of_1970 = 40587;
    std::tm shown = {};
    gmtime_r(&time, &shown);
    char clock[16];
    std::strftime(clock, sizeof clock, "%H:%M:%S", &shown);
    return utc_time(static_cast<std::uint16_t>(time / seconds_of_day + mjd_of_1970), bcd(clock));
}

std::time_t end_of(const json& event) {
    const std::uint32_t hhmmss = bcd(event.at("duration"));
    const auto digits = [hhmmss](int shift) {
        return static_cast<std::time_t>((hhmmss >> shift & 0xF) +
                                        (hhmmss >> (shift + 4) & 0xF) * 10);
    };
    return clock_time(event.at("start")) + digits(16) * 3600 + digits(8) * 60 + digits(0);
}

long_header header(const json& station, const char* table) {
    long_header header;
    header.version_number = u8(station.at("version_numbers").at(table));
    return header;
}

// --- Descriptors that the library skips, as receivers meet them all the same ---

bytes describe_network_name(const std::string& name) { return descriptor(0x40, raw(name)); }

bytes describe_system_management() {
    return descriptor(0xFE, section_writer()
                                .bits(2, 0)       // broadcasting_flag: on air
                                .bits(6, 0x03)    // broadcasting_identifier: ISDB-T
                                .bits(8, 0x01));  // additional_broadcasting_identification
}

bytes describe_service_list(const json& services) {
    section_writer list;
    for (const json& service : services) {
        list.bits(16, number(service.at("service_id"))).bits(8, number(service.at("service_type")));
    }
    return descriptor(0x41, list);
}

bytes describe_terrestrial_delivery(const json& station) {
    return descriptor(0xFA, section_writer()
                                .bits(12, number(station.at("area_code")))
                                .bits(2, 2)  // guard_interval: 1/8
                                .bits(2, 2)  // transmission_mode: 3
                                .bits(16, number(station.at("frequency_in_sevenths_of_MHz"))));
}

bytes describe_partial_reception(std::uint16_t service_id) {
    return descriptor(0xFB, section_writer().bits(16, service_id));
}

bytes describe_data_component(std::uint16_t data_component_id) {
    return descriptor(0xFD, section_writer().bits(16, data_component_id));
}

bytes describe_audio_component() {
    return descriptor(0xC4, section_writer()
                                .bits(4, 0xF)   // reserved_future_use
                                .bits(4, 0x6)   // stream_content: HE-AAC
                                .bits(8, 0x03)  // component_type: stereo
                                .bits(8, 0x10)  // component_tag
                                .bits(8, 0x11)  // stream_type: LATM AAC
                                .bits(8, 0xFF)  // simulcast_group_tag: none
                                .bits(1, 0)     // ES_multi_lingual_flag
                                .bits(1, 1)     // main_component_flag
                                .bits(2, 1)     // quality_indicator
                                .bits(3, 7)     // sampling_rate: 48 kHz
                                .bits(1, 1)     // reserved_future_use
                                .append(std::string(language)));
}

bytes describe_extended_event(const json& items) {
    bytes list;
    for (const auto& [description, item] : items.items()) {
        list = std::move(list) + counted(broadcast_text(description)) + counted(text(item));
    }
    return descriptor(0x4E, section_writer()
                                .bits(4, 0)  // descriptor_number
                                .bits(4, 0)  // last_descriptor_number
                                .append(std::string(language))
                                .bits(8, list.size())
                                .append(list)
                                .bits(8, 0));  // text_length
}

// --- Events ---

/// What a guide wants to know; the schedule leaves the rest to present/following.
bytes describe_event_in_short(const json& station, const json& event) {
    return describe_short_event(language, text(event.at("name")), text(event.at("text"))) +
           describe_content({u8(event.at("content")), 0xFF}) +
           describe_parental_ratings(
               parental_rating(station.at("country"), u8(event.at("rating"))));
}

bytes describe_event(const json& station, const json& event) {
    bytes descriptors = describe_event_in_short(station, event);
    if (event.contains("items")) {
        descriptors = std::move(descriptors) + describe_extended_event(event.at("items"));
    }
    return std::move(descriptors) +
           describe_component(0x05, 0xB3, 0x00, language) +  // H.264, 1080i, 16:9
           describe_audio_component();
}

bytes make_event(const json& description, std::uint8_t running_status, const bytes& descriptors) {
    return event(u16(description.at("event_id")),
                 broadcast_time(clock_time(description.at("start"))),
                 bcd(description.at("duration")), running_status, 0, descriptors);
}

eit_identifiers identifiers(const json& station, const json& service, std::uint8_t table_id) {
    eit_identifiers ids;
    ids.table_id = table_id;
    ids.last_table_id = table_id;
    ids.service_id = u16(service.at("service_id"));
    ids.transport_stream_id = u16(station.at("transport_stream_id"));
    ids.original_network_id = u16(station.at("network_id"));
    return ids;
}

}  // namespace

std::uint32_t number(const json& value) {
    if (value.is_number()) return value.get<std::uint32_t>();
    return static_cast<std::uint32_t>(std::stoul(value.get<std::string>(), nullptr, 16));
}

std::time_t clock_time(const json& value) {
    const auto written = value.get<std::string>();
    std::tm shown = {};
    const char* const end = strptime(written.c_str(), "%Y-%m-%dT%H:%M:%S", &shown);
    if (end == nullptr || *end != '\0') throw std::invalid_argument("not a time: " + written);
    return timegm(&shown);
}

bytes make_pat(const json& station) {
    constexpr std::uint16_t nit_pid = 0x0010;
    bytes programs = program(0, nit_pid);
    for (const json& service : station.at("services")) {
        programs = std::move(programs) +
                   program(u16(service.at("service_id")), u16(service.at("pmt_pid")));
    }
    return pat_section(u16(station.at("transport_stream_id")), programs, header(station, "pat"));
}

bytes make_pmt(const json& station, const json& service) {
    bytes streams;
    for (const json& stream : service.at("streams")) {
        bytes descriptors;
        if (stream.contains("component_tag")) {
            descriptors = describe_stream_identifier(u8(stream.at("component_tag")));
        }
        if (stream.contains("data_component_id")) {
            descriptors = std::move(descriptors) +
                          describe_data_component(u16(stream.at("data_component_id")));
        }
        streams = std::move(streams) + elementary_stream(u8(stream.at("stream_type")),
                                                         u16(stream.at("pid")), descriptors);
    }
    return pmt_section(u16(service.at("service_id")), u16(service.at("pcr_pid")), {}, streams,
                       header(station, "pmt"));
}

bytes make_nit(const json& station) {
    const json& services = station.at("services");
    std::vector<transmission_type> types;
    bytes partial_reception;
    for (const json& service : services) {
        const std::uint16_t service_id = u16(service.at("service_id"));
        types.push_back({u8(service.at("transmission_type_info")), {service_id}});
        if (is_one_seg(service)) partial_reception = describe_partial_reception(service_id);
    }
    const std::uint16_t network_id = u16(station.at("network_id"));
    return nit_section(
        network_id,
        describe_network_name(text(station.at("network_name"))) + describe_system_management(),
        transport_stream(u16(station.at("transport_stream_id")), network_id,
                         describe_service_list(services) + describe_terrestrial_delivery(station) +
                             partial_reception +
                             describe_ts_information(u8(station.at("remote_control_key_id")),
                                                     text(station.at("ts_name")), types)),
        header(station, "nit"));
}

bytes make_sdt(const json& station) {
    constexpr std::uint8_t running = 4;
    bytes services;
    for (const json& description : station.at("services")) {
        bytes entry = service(
            u16(description.at("service_id")), running, 0,
            describe_service(u8(description.at("service_type")), text(description.at("provider")),
                             text(description.at("name"))));
        constexpr std::uint8_t eit_schedule_flag = 0x02;
        if (!description.at("has_schedule").get<bool>()) entry[2] ^= eit_schedule_flag;
        services = std::move(services) + entry;
    }
    return sdt_section(u16(station.at("transport_stream_id")), u16(station.at("network_id")),
                       services, header(station, "sdt"));
}

bytes make_ait(const json& station) {
    constexpr std::uint8_t transport_label = 0x01;
    constexpr std::uint8_t visible_to_all = 3;
    constexpr std::uint8_t ginga_ncl_location = 0x07;
    const json& described = station.at("application");
    const bytes descriptors =
        describe_application(application_profile(0x0001, 1, 0, 0), 1, visible_to_all, 0x01,
                             {transport_label}) +
        describe_application_names(application_name(language, text(described.at("name")))) +
        describe_object_carousel(transport_label, u8(described.at("carousel_component_tag"))) +
        describe_ginga_location(ginga_ncl_location, text(described.at("base_directory")), "",
                                text(described.at("initial_class")));
    return ait_section(
        u16(described.at("application_type")), {},
        application(number(described.at("organisation_id")), u16(described.at("application_id")),
                    u8(described.at("application_control_code")), descriptors),
        header(station, "ait"));
}

bytes make_tdt(std::time_t now) { return tdt_section(broadcast_time(now)); }

bytes make_tot(const json& station, std::time_t now) {
    const json& offset = station.at("local_time_offset");
    const std::time_t no_change_in_sight = now + 365 * seconds_of_day;
    return tot_section(broadcast_time(now),
                       describe_local_time_offsets(local_time_offset(
                           station.at("country"), u8(offset.at("country_region_id")),
                           u8(offset.at("polarity")), u16(offset.at("offset")),
                           broadcast_time(no_change_in_sight), u16(offset.at("offset")))));
}

std::vector<bytes> make_eit_present_following(const json& station, const json& service,
                                              std::time_t now) {
    constexpr std::uint8_t table_id = 0x4E;
    constexpr std::uint8_t not_running = 1;
    constexpr std::uint8_t running = 4;
    const json& events = station.at("events");
    const auto present = std::find_if(events.begin(), events.end(),
                                      [now](const json& event) { return end_of(event) > now; });

    long_header section = header(station, "eit_present_following");
    // Each change of the present event is a new version.
    section.version_number =
        static_cast<std::uint8_t>((section.version_number + (present - events.begin())) % 32);
    section.last_section_number = 1;

    eit_identifiers ids = identifiers(station, service, table_id);
    ids.segment_last_section_number = section.last_section_number;
    std::vector<bytes> sections;
    for (auto it = present; it != events.end() && sections.size() < 2; ++it) {
        section.section_number = static_cast<std::uint8_t>(sections.size());
        const std::uint8_t running_status = it == present ? running : not_running;
        sections.push_back(eit_section(
            ids, make_event(*it, running_status, describe_event(station, *it)), section));
    }
    return sections;
}

std::vector<bytes> make_eit_schedule(const json& station, const json& service) {
    constexpr std::uint8_t table_id = 0x50;
    constexpr std::time_t segment_seconds = 3 * 60 * 60;
    constexpr std::time_t sections_of_segment = 8;

    // Segments count from the midnight before.
    const std::time_t now = clock_time(station.at("clock"));
    const std::time_t midnight = now - now % seconds_of_day;
    std::map<std::time_t, bytes> events_of_segment;
    for (const json& event : station.at("events")) {
        const std::time_t segment = (clock_time(event.at("start")) - midnight) / segment_seconds;
        bytes& events = events_of_segment[segment];
        events = std::move(events) + make_event(event, 0, describe_event_in_short(station, event));
    }

    long_header section = header(station, "eit_schedule");
    section.last_section_number =
        static_cast<std::uint8_t>(events_of_segment.rbegin()->first * sections_of_segment);
    eit_identifiers ids = identifiers(station, service, table_id);
    std::vector<bytes> sections;
    for (const auto& [segment, events] : events_of_segment) {
        section.section_number = static_cast<std::uint8_t>(segment * sections_of_segment);
        ids.segment_last_section_number = section.section_number;
        sections.push_back(eit_section(ids, events, section));
    }
    return sections;
}

}  // namespace orvix::sample
