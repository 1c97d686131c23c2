#pragma once

#include <broadcast/names.h>
#include <broadcast/readings/value.h>
#include <broadcast/table_ref.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string_view>

#include "writers/hex.h"

// The fields of every table and descriptor, once: by the library's names, in its order, each with
// what kind of value it holds and what that means. The text and the JSON format show these, so they
// agree.
//
// `visit_fields(table, to)` calls `to(name, value)` for each field, with one of the kinds of value
// below. A loop is a field as well, and so is a list of descriptors.
namespace orvix::si_inspect {

namespace names = broadcast::names;

// --- Kinds of value ---

struct no_meaning {};

/// `Meaning` is a function from the value to words, or no_meaning where the number says it all.
template <typename Value, typename Meaning = no_meaning>
struct number {
    Value value;
    int hex_digits;  ///< how it is written where people read it; 0: decimal only
    Meaning meaning;
};

template <typename Value, typename Meaning = no_meaning>
constexpr number<Value, Meaning> plain(Value value, Meaning meaning = {}) {
    return {value, 0, meaning};
}
template <typename Value, typename Meaning = no_meaning>
constexpr number<Value, Meaning> hex8(Value value, Meaning meaning = {}) {
    return {value, 2, meaning};
}
template <typename Value, typename Meaning = no_meaning>
constexpr number<Value, Meaning> hex16(Value value, Meaning meaning = {}) {
    return {value, 4, meaning};
}
template <typename Value, typename Meaning = no_meaning>
constexpr number<Value, Meaning> hex24(Value value, Meaning meaning = {}) {
    return {value, 6, meaning};
}
template <typename Value, typename Meaning = no_meaning>
constexpr number<Value, Meaning> hex32(Value value, Meaning meaning = {}) {
    return {value, 8, meaning};
}

/// A value that a table may lack.
template <typename Value>
constexpr std::optional<Value> only_if(bool is_there, Value value) {
    return is_there ? std::optional<Value>(value) : std::nullopt;
}

/// UTF-8, as the library makes it.
struct text {
    std::string_view utf8;
};
/// Bytes that the library keeps as they are on air; in most broadcasts they are text.
struct raw_text {
    std::string_view bytes;
};
/// On the broadcast's clock.
struct moment {
    std::time_t seconds;
};
struct duration {
    std::time_t seconds;
};

/// `describe(entry, to)` calls `to(name, value)` for each field of an entry.
template <typename Entries, typename Describe>
struct loop {
    const Entries& entries;
    Describe describe;
};
template <typename Entries, typename Describe>
loop(const Entries&, Describe) -> loop<Entries, Describe>;

/// Descriptors tell their class by `broadcast::visit_descriptor`.
struct descriptors {
    const si_parser::descriptor_list& list;
};

// --- Descriptors, in the order of descriptors.h: what stands behind tag, length and type ---

template <typename Descriptor>
inline constexpr std::string_view type_name = {};

template <>
inline constexpr std::string_view type_name<si_parser::service_descriptor> = "service_descriptor";
template <typename To>
void visit_fields(const si_parser::service_descriptor& d, To& to) {
    to("service_type", hex8(d.service_type, names::service_type));
    to("service_provider_name", text{d.service_provider_name});
    to("service_name", text{d.service_name});
}

template <>
inline constexpr std::string_view type_name<si_parser::component_descriptor> =
    "component_descriptor";
template <typename To>
void visit_fields(const si_parser::component_descriptor& d, To& to) {
    to("stream_content", hex8(d.stream_content, names::stream_content));
    to("component_type", hex8(d.component_type, [&d](std::uint8_t component_type) {
           return names::component_type(d.stream_content, component_type);
       }));
    to("component_tag", hex8(d.component_tag, names::component_tag));
    to("ISO_639_language_code", text{d.ISO_639_language_code});
    to("text", text{d.text});
}

template <>
inline constexpr std::string_view type_name<si_parser::stream_identifier_descriptor> =
    "stream_identifier_descriptor";
template <typename To>
void visit_fields(const si_parser::stream_identifier_descriptor& d, To& to) {
    to("component_tag", hex8(d.component_tag, names::component_tag));
}

template <>
inline constexpr std::string_view type_name<si_parser::ts_information_descriptor> =
    "ts_information_descriptor";
template <typename To>
void visit_fields(const si_parser::ts_information_descriptor& d, To& to) {
    to("remote_control_key_id", plain(d.remote_control_key_id));
    to("ts_name", text{d.ts_name});
}

template <>
inline constexpr std::string_view type_name<si_parser::short_event_descriptor> =
    "short_event_descriptor";
template <typename To>
void visit_fields(const si_parser::short_event_descriptor& d, To& to) {
    to("ISO_639_language_code", text{d.ISO_639_language_code});
    to("event_name", text{d.event_name});
    to("text", text{d.text});
}

template <>
inline constexpr std::string_view type_name<si_parser::content_descriptor> = "content_descriptor";
template <typename To>
void visit_fields(const si_parser::content_descriptor& d, To& to) {
    to("contents", loop{d.contents, [](const auto& content, auto& row) {
                            row("content_nibble", hex8(content.first, names::genre));
                            row("user_byte", hex8(content.second));
                        }});
}

template <>
inline constexpr std::string_view type_name<si_parser::parental_descriptor> = "parental_descriptor";
template <typename To>
void visit_fields(const si_parser::parental_descriptor& d, To& to) {
    to("ratings", loop{d.ratings, [](const auto& country, auto& row) {
                           row("country_code", raw_text{country.first});
                           row("rating", hex8(country.second, [&country](std::uint8_t rating) {
                                   return names::rating(country.first, rating);
                               }));
                       }});
}

template <>
inline constexpr std::string_view type_name<si_parser::localtime_offset_descriptor> =
    "localtime_offset_descriptor";
template <typename To>
void visit_fields(const si_parser::localtime_offset_descriptor& d, To& to) {
    to("country_code", raw_text{d.country_code});
    to("country_region_id", plain(d.country_region_id));
    to("local_time_offset", hex16(d.local_time_offset, names::bcd_time));
    to("next_time_offset", hex16(d.next_time_offset, names::bcd_time));
    to("time_of_change", moment{d.time_of_change});
}

template <>
inline constexpr std::string_view type_name<si_parser::application_descriptor> =
    "application_descriptor";
template <typename To>
void visit_fields(const si_parser::application_descriptor& d, To& to) {
    to("profiles", loop{d.profiles, [](const auto& profile, auto& row) {
                            row("application_profile", hex16(profile.application_profile));
                            row("version_major", plain(profile.version_major));
                            row("version_minor", plain(profile.version_minor));
                            row("version_micro", plain(profile.version_micro));
                        }});
    to("service_bound_flag", plain(d.service_bound_flag));
    to("visibility", plain(d.visibility, names::visibility));
    to("reserved_bits", hex8(d.reserved_bits));
    to("application_priority", plain(d.application_priority));
}

template <>
inline constexpr std::string_view type_name<si_parser::application_name_descriptor> =
    "application_name_descriptor";
template <typename To>
void visit_fields(const si_parser::application_name_descriptor& d, To& to) {
    to("names", loop{d.names, [](const auto& name, auto& row) {
                         row("language", hex24(name.language, names::language));
                         row("name", raw_text{name.name});
                     }});
}

/// What both kinds of transport begin with.
template <typename To>
void visit_transport(const si_parser::transport_protocol_descriptor& d, To& to) {
    to("protocol_id", hex16(d.protocol_id, names::protocol_id));
    to("transport_protocol_label", plain(d.transport_protocol_label));
    to("remote_connection", d.remote_connection);
    to("original_network_id", hex16(d.original_network_id));
    to("transport_stream_id", hex16(d.transport_stream_id));
    to("service_id", hex16(d.service_id));
}

template <>
inline constexpr std::string_view type_name<si_parser::transport_protocol_descriptor_oc> =
    "transport_protocol_descriptor_oc";
template <typename To>
void visit_fields(const si_parser::transport_protocol_descriptor_oc& d, To& to) {
    visit_transport(d, to);
    to("component_tag", hex8(d.component_tag, names::component_tag));
}

template <>
inline constexpr std::string_view type_name<si_parser::transport_protocol_descriptor_ip> =
    "transport_protocol_descriptor_ip";
template <typename To>
void visit_fields(const si_parser::transport_protocol_descriptor_ip& d, To& to) {
    visit_transport(d, to);
    to("alignment_indicator", plain(d.alignment_indicator));
    to("urls", loop{d.urls, [](const auto& url, auto& row) {
                        row("URL_length", plain(url.URL_length));
                        row("URL", raw_text{url.URL});
                    }});
}

template <>
inline constexpr std::string_view type_name<si_parser::ginga_location_descriptor> =
    "ginga_location_descriptor";
template <typename To>
void visit_fields(const si_parser::ginga_location_descriptor& d, To& to) {
    to("base_directory", raw_text{d.base_directory});
    to("class_extension", raw_text{d.class_extension});
    to("initial_class", raw_text{d.initial_class});
}

template <>
inline constexpr std::string_view type_name<si_parser::icon_information_descriptor> =
    "icon_information_descriptor";
template <typename To>
void visit_fields(const si_parser::icon_information_descriptor& d, To& to) {
    to("icon_locator", raw_text{d.icon_locator});
}

// --- What the broadcast says ---

/// A list of records is a loop; any other value is handed on as it is.
template <typename To>
void visit_field(const broadcast::named_value& field, To& to) {
    using broadcast::value;
    const auto* const list = std::get_if<value::list>(&field.is.is);
    if (list == nullptr || list->empty() ||
        !std::holds_alternative<value::record>(list->front().is)) {
        to(field.name, field.is);
        return;
    }
    to(field.name,
       loop{*list, [](const value& entry, auto& row) {
                for (const broadcast::named_value& f : std::get<value::record>(entry.is)) {
                    row(f.name, f.is);
                }
            }});
}

template <typename To>
void visit_fields(const broadcast::value::record& record, To& to) {
    for (const broadcast::named_value& field : record) visit_field(field, to);
}

// --- Tables ---

template <typename To>
void visit_header(const si_parser::psi_table& table, To& to) {
    to("table_id", hex8(table.table_id));
    to("section_size", plain(table.section_size));
    to("version_number", plain(table.version_number));
    to("table_id_extension", hex16(table.table_id_extension));
    to("current_next_indicator", plain(table.current_next_indicator));
    to("section_number", plain(table.section_number));
    to("last_section_number", plain(table.last_section_number));
    to("descriptors", descriptors{table.descriptors});
}

/// Of a table without the long header, whose other fields say nothing.
template <typename To>
void visit_short_header(const si_parser::psi_table& table, To& to) {
    to("table_id", hex8(table.table_id));
    to("descriptors", descriptors{table.descriptors});
}

template <typename To>
void visit_fields(const si_parser::pat& table, To& to) {
    visit_header(table, to);
    to("program_map", loop{table.program_map, [](const auto& program, auto& row) {
                               row("program_number", hex16(program.first));
                               row("PID", hex16(program.second));
                           }});
}

/// The library's 0 stands for the main video and for no component_tag as well.
inline bool has_component_tag(const si_parser::pmt::stream_info_type& stream) {
    constexpr std::uint8_t component = 0x50;
    constexpr std::uint8_t stream_identifier = 0x52;
    return std::any_of(stream.descriptors.begin(), stream.descriptors.end(),
                       [](const si_parser::descriptor_ptr& d) {
                           return d->tag == component || d->tag == stream_identifier;
                       });
}

template <typename To>
void visit_fields(const si_parser::pmt& table, To& to) {
    visit_header(table, to);
    to("program_number", hex16(table.program_number));
    to("PCR_PID", hex16(table.PCR_PID));
    to("streams", loop{table.streams, [](const auto& stream, auto& row) {
                           row("elementary_PID", hex16(stream.elementary_PID));
                           row("component_tag",
                               only_if(has_component_tag(stream), hex8(stream.component_tag)));
                           row("stream_type", hex8(static_cast<std::uint32_t>(stream.stream_type),
                                                   names::stream_type));
                           row("ISO_639_language_code", text{stream.ISO_639_language_code});
                           row("descriptors", descriptors{stream.descriptors});
                       }});
}

template <typename To>
void visit_fields(const si_parser::sdt& table, To& to) {
    visit_header(table, to);
    to("transport_stream_id", hex16(table.transport_stream_id));
    to("original_network_id", hex16(table.original_network_id));
    to("services",
       loop{table.services, [](const auto& service, auto& row) {
                row("service_id", hex16(service.service_id));
                row("EIT_schedule_flag", plain(service.EIT_schedule_flag));
                row("EIT_present_following_flag", plain(service.EIT_present_following_flag));
                row("running_status", plain(service.running_status, names::running_status));
                row("free_CA_mode", plain(service.free_CA_mode));
                row("descriptors", descriptors{service.descriptors});
            }});
}

template <typename To>
void visit_fields(const si_parser::nit& table, To& to) {
    visit_header(table, to);
    to("network_id", hex16(table.network_id));
    to("transport_streams", loop{table.transport_streams, [](const auto& stream, auto& row) {
                                     row("transport_stream_id", hex16(stream.transport_stream_id));
                                     row("original_network_id", hex16(stream.original_network_id));
                                     row("descriptors", descriptors{stream.descriptors});
                                 }});
}

template <typename To>
void visit_fields(const si_parser::eit& table, To& to) {
    visit_header(table, to);
    to("service_id", hex16(table.service_id));
    to("transport_stream_id", hex16(table.transport_stream_id));
    to("original_network_id", hex16(table.original_network_id));
    to("segment_last_section_number", plain(table.segment_last_section_number));
    to("last_table_id", hex8(table.last_table_id));
    to("events", loop{table.events, [](const auto& event, auto& row) {
                          row("event_id", hex16(event.event_id));
                          row("start_time", moment{event.start_time});
                          row("duration", duration{event.duration});
                          row("running_status", plain(event.running_status, names::running_status));
                          row("free_CA_mode", plain(event.free_CA_mode));
                          row("descriptors", descriptors{event.descriptors});
                      }});
}

template <typename To>
void visit_fields(const si_parser::ait& table, To& to) {
    visit_header(table, to);
    to("application_type", hex16(table.application_type, names::application_type));
    to("applications",
       loop{table.applications, [](const auto& application, auto& row) {
                row("organisation_id", hex32(application.organisation_id));
                row("application_id", hex16(application.application_id));
                row("application_control_code",
                    plain(application.application_control_code, names::application_control_code));
                row("descriptors", descriptors{application.descriptors});
            }});
}

template <typename To>
void visit_fields(const si_parser::tdt& table, To& to) {
    visit_short_header(table, to);
    to("utc_time", moment{table.utc_time});
}

template <typename To>
void visit_fields(const si_parser::tot& table, To& to) {
    visit_short_header(table, to);
    to("utc_time", moment{table.utc_time});
}

}  // namespace orvix::si_inspect
