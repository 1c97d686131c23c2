#include "writers/fields.h"

#include <broadcast/names.h>

#include <array>
#include <cstdio>

namespace orvix::si_inspect {

using namespace broadcast;

using namespace si_parser;

namespace {

// --- Values ---

number plain(std::int64_t value) { return {value, 0, {}}; }
number plain(std::int64_t value, std::string_view meaning) {
    return {value, 0, std::string(meaning)};
}
number hex8(std::int64_t value, std::string_view meaning = {}) {
    return {value, 2, std::string(meaning)};
}
number hex16(std::int64_t value, std::string_view meaning = {}) {
    return {value, 4, std::string(meaning)};
}
number hex32(std::int64_t value) { return {value, 8, {}}; }

template <typename Entry>
record_list list_of(const std::vector<Entry>& entries, record (*describe_entry)(const Entry&)) {
    record_list list;
    list.records.reserve(entries.size());
    for (const Entry& entry : entries) list.records.push_back(describe_entry(entry));
    return list;
}

// --- Descriptors, in the order of descriptors.h ---

void append_fields(record& to, const service_descriptor& d) {
    to.push_back({"service_type", hex8(d.service_type, names::service_type(d.service_type))});
    to.push_back({"service_provider_name", text{d.service_provider_name}});
    to.push_back({"service_name", text{d.service_name}});
}

void append_fields(record& to, const component_descriptor& d) {
    to.push_back({"stream_content", hex8(d.stream_content)});
    to.push_back({"component_type", hex8(d.component_type)});
    to.push_back({"component_tag", hex8(d.component_tag, names::component_tag(d.component_tag))});
    to.push_back({"ISO_639_language_code", text{d.ISO_639_language_code}});
    to.push_back({"text", text{d.text}});
}

void append_fields(record& to, const stream_identifier_descriptor& d) {
    to.push_back({"component_tag", hex8(d.component_tag, names::component_tag(d.component_tag))});
}

void append_fields(record& to, const ts_information_descriptor& d) {
    to.push_back({"remote_control_key_id", plain(d.remote_control_key_id)});
    to.push_back({"ts_name", text{d.ts_name}});
}

void append_fields(record& to, const short_event_descriptor& d) {
    to.push_back({"ISO_639_language_code", text{d.ISO_639_language_code}});
    to.push_back({"event_name", text{d.event_name}});
    to.push_back({"text", text{d.text}});
}

void append_fields(record& to, const content_descriptor& d) {
    record_list contents;
    for (const auto& [content_nibble, user_byte] : d.contents) {
        contents.records.push_back(
            {{"content_nibble", hex8(content_nibble, names::genre(content_nibble))},
             {"user_byte", hex8(user_byte)}});
    }
    to.push_back({"contents", std::move(contents)});
}

void append_fields(record& to, const parental_descriptor& d) {
    record_list ratings;
    for (const auto& [country_code, rating] : d.ratings) {
        ratings.records.push_back({{"country_code", raw_text{country_code}},
                                   {"rating", hex8(rating, names::rating(country_code, rating))}});
    }
    to.push_back({"ratings", std::move(ratings)});
}

void append_fields(record& to, const localtime_offset_descriptor& d) {
    to.push_back({"country_code", raw_text{d.country_code}});
    to.push_back({"country_region_id", plain(d.country_region_id)});
    to.push_back(
        {"local_time_offset", hex16(d.local_time_offset, names::bcd_time(d.local_time_offset))});
    to.push_back(
        {"next_time_offset", hex16(d.next_time_offset, names::bcd_time(d.next_time_offset))});
    to.push_back({"time_of_change", moment{d.time_of_change}});
}

record describe_profile(const application_descriptor::profiles_t& profile) {
    return {{"application_profile", hex16(profile.application_profile)},
            {"version_major", plain(profile.version_major)},
            {"version_minor", plain(profile.version_minor)},
            {"version_micro", plain(profile.version_micro)}};
}

void append_fields(record& to, const application_descriptor& d) {
    to.push_back({"profiles", list_of(d.profiles, describe_profile)});
    to.push_back({"service_bound_flag", plain(d.service_bound_flag)});
    to.push_back({"visibility", plain(d.visibility, names::visibility(d.visibility))});
    to.push_back({"reserved_bits", hex8(d.reserved_bits)});
    to.push_back({"application_priority", plain(d.application_priority)});
}

record describe_name(const application_name_descriptor::name_map_t& name) {
    constexpr int digits = 6;
    return {{"language", number{name.language, digits, names::language(name.language)}},
            {"name", raw_text{name.name}}};
}

void append_fields(record& to, const application_name_descriptor& d) {
    to.push_back({"names", list_of(d.names, describe_name)});
}

void append_transport(record& to, const transport_protocol_descriptor& d) {
    to.push_back({"protocol_id", hex16(d.protocol_id, names::protocol_id(d.protocol_id))});
    to.push_back({"transport_protocol_label", plain(d.transport_protocol_label)});
    to.push_back({"remote_connection", d.remote_connection});
    to.push_back({"original_network_id", hex16(d.original_network_id)});
    to.push_back({"transport_stream_id", hex16(d.transport_stream_id)});
    to.push_back({"service_id", hex16(d.service_id)});
}

void append_fields(record& to, const transport_protocol_descriptor_oc& d) {
    append_transport(to, d);
    to.push_back({"component_tag", hex8(d.component_tag, names::component_tag(d.component_tag))});
}

record describe_url(const transport_protocol_descriptor_ip::url_map& url) {
    return {{"URL_length", plain(url.URL_length)}, {"URL", raw_text{url.URL}}};
}

void append_fields(record& to, const transport_protocol_descriptor_ip& d) {
    append_transport(to, d);
    to.push_back({"alignment_indicator", plain(d.alignment_indicator)});
    to.push_back({"urls", list_of(d.urls, describe_url)});
}

void append_fields(record& to, const ginga_location_descriptor& d) {
    to.push_back({"base_directory", raw_text{d.base_directory}});
    to.push_back({"class_extension", raw_text{d.class_extension}});
    to.push_back({"initial_class", raw_text{d.initial_class}});
}

void append_fields(record& to, const icon_information_descriptor& d) {
    to.push_back({"icon_locator", raw_text{d.icon_locator}});
}

/// Appends type and fields if `d` is a `Descriptor`.
template <typename Descriptor>
bool append_as(record& to, const descriptor& d, const char* type) {
    const auto* const known = dynamic_cast<const Descriptor*>(&d);
    if (known == nullptr) return false;
    to.push_back({"type", text{type}});
    append_fields(to, *known);
    return true;
}

record describe_descriptor(const descriptor& d) {
    record fields = {{"tag", hex8(d.tag)}, {"length", plain(d.length)}};
#define ORVIX_APPEND_AS(type) append_as<type>(fields, d, #type)
    ORVIX_APPEND_AS(service_descriptor) || ORVIX_APPEND_AS(component_descriptor) ||
        ORVIX_APPEND_AS(stream_identifier_descriptor) ||
        ORVIX_APPEND_AS(ts_information_descriptor) || ORVIX_APPEND_AS(short_event_descriptor) ||
        ORVIX_APPEND_AS(content_descriptor) || ORVIX_APPEND_AS(parental_descriptor) ||
        ORVIX_APPEND_AS(localtime_offset_descriptor) || ORVIX_APPEND_AS(application_descriptor) ||
        ORVIX_APPEND_AS(application_name_descriptor) ||
        ORVIX_APPEND_AS(transport_protocol_descriptor_oc) ||
        ORVIX_APPEND_AS(transport_protocol_descriptor_ip) ||
        ORVIX_APPEND_AS(ginga_location_descriptor) || ORVIX_APPEND_AS(icon_information_descriptor);
#undef ORVIX_APPEND_AS
    return fields;
}

field describe_descriptors(const descriptor_list& list) {
    described_list described;
    described.descriptors.reserve(list.size());
    for (const descriptor_ptr& d : list) described.descriptors.push_back(describe_descriptor(*d));
    return {"descriptors", std::move(described)};
}

// --- Tables ---

record describe_header(const psi_table& table) {
    return {{"table_id", hex8(table.table_id)},
            {"section_size", plain(table.section_size)},
            {"version_number", plain(table.version_number)},
            {"table_id_extension", hex16(table.table_id_extension)},
            {"current_next_indicator", plain(table.current_next_indicator)},
            {"section_number", plain(table.section_number)},
            {"last_section_number", plain(table.last_section_number)},
            describe_descriptors(table.descriptors)};
}

/// Of a table without the long header, whose other fields say nothing.
record describe_short_header(const psi_table& table) {
    return {{"table_id", hex8(table.table_id)}, describe_descriptors(table.descriptors)};
}

record describe_table(const pat& table) {
    record fields = describe_header(table);
    record_list programs;
    for (const auto& [program_number, pid] : table.program_map) {
        programs.records.push_back(
            {{"program_number", hex16(program_number)}, {"PID", hex16(pid)}});
    }
    fields.push_back({"program_map", std::move(programs)});
    return fields;
}

record describe_stream(const pmt::stream_info_type& stream) {
    return {
        {"elementary_PID", hex16(stream.elementary_PID)},
        {"component_tag", hex8(stream.component_tag)},
        {"stream_type", hex8(stream.stream_type,
                             names::stream_type(static_cast<std::uint32_t>(stream.stream_type)))},
        {"ISO_639_language_code", text{stream.ISO_639_language_code}},
        describe_descriptors(stream.descriptors)};
}

record describe_table(const pmt& table) {
    record fields = describe_header(table);
    fields.push_back({"program_number", hex16(table.program_number)});
    fields.push_back({"PCR_PID", hex16(table.PCR_PID)});
    fields.push_back({"streams", list_of(table.streams, describe_stream)});
    return fields;
}

record describe_service(const sdt::sdt_service_info_t& service) {
    return {{"service_id", hex16(service.service_id)},
            {"EIT_schedule_flag", plain(service.EIT_schedule_flag)},
            {"EIT_present_following_flag", plain(service.EIT_present_following_flag)},
            {"running_status",
             plain(service.running_status, names::running_status(service.running_status))},
            {"free_CA_mode", plain(service.free_CA_mode)},
            describe_descriptors(service.descriptors)};
}

record describe_table(const sdt& table) {
    record fields = describe_header(table);
    fields.push_back({"transport_stream_id", hex16(table.transport_stream_id)});
    fields.push_back({"original_network_id", hex16(table.original_network_id)});
    fields.push_back({"services", list_of(table.services, describe_service)});
    return fields;
}

record describe_transport_stream(const nit::nit_transport_stream_t& stream) {
    return {{"transport_stream_id", hex16(stream.transport_stream_id)},
            {"original_network_id", hex16(stream.original_network_id)},
            describe_descriptors(stream.descriptors)};
}

record describe_table(const nit& table) {
    record fields = describe_header(table);
    fields.push_back({"network_id", hex16(table.network_id)});
    fields.push_back(
        {"transport_streams", list_of(table.transport_streams, describe_transport_stream)});
    return fields;
}

record describe_event(const eit::event& event) {
    return {{"event_id", hex16(event.event_id)},
            {"start_time", moment{event.start_time}},
            {"duration", duration{event.duration}},
            {"running_status",
             plain(event.running_status, names::running_status(event.running_status))},
            {"free_CA_mode", plain(event.free_CA_mode)},
            describe_descriptors(event.descriptors)};
}

record describe_table(const eit& table) {
    record fields = describe_header(table);
    fields.push_back({"service_id", hex16(table.service_id)});
    fields.push_back({"transport_stream_id", hex16(table.transport_stream_id)});
    fields.push_back({"original_network_id", hex16(table.original_network_id)});
    fields.push_back({"segment_last_section_number", plain(table.segment_last_section_number)});
    fields.push_back({"last_table_id", hex8(table.last_table_id)});
    fields.push_back({"events", list_of(table.events, describe_event)});
    return fields;
}

record describe_application(const ait::ait_application_info_t& application) {
    return {{"organisation_id", hex32(application.organisation_id)},
            {"application_id", hex16(application.application_id)},
            {"application_control_code",
             plain(application.application_control_code,
                   names::application_control_code(application.application_control_code))},
            describe_descriptors(application.descriptors)};
}

record describe_table(const ait& table) {
    record fields = describe_header(table);
    fields.push_back({"application_type", hex16(table.application_type,
                                                names::application_type(table.application_type))});
    fields.push_back({"applications", list_of(table.applications, describe_application)});
    return fields;
}

record describe_table(const tdt& table) {
    record fields = describe_short_header(table);
    fields.push_back({"utc_time", moment{table.utc_time}});
    return fields;
}

record describe_table(const tot& table) {
    record fields = describe_short_header(table);
    fields.push_back({"utc_time", moment{table.utc_time}});
    return fields;
}

}  // namespace

record describe(const table_ref& table) {
    return std::visit([](const auto* decoded) { return describe_table(*decoded); }, table);
}

// --- Bytes ---

std::string hex(std::string_view bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

std::string hex_number(std::int64_t value, int digits) {
    std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), "0x%0*llX", digits, static_cast<long long>(value));
    return text.data();
}

}  // namespace orvix::si_inspect
