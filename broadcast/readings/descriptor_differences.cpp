#include "descriptor_differences.h"

#include <algorithm>
#include <cstdio>

#include "broadcast_text.h"
#include "descriptor_bodies.h"
#include "descriptor_names.h"
#include "sent_time.h"

extern "C" {
#include <bitstream/dvb/si.h>
#include <bitstream/mpeg/psi.h>
}

namespace orvix::broadcast {

using namespace si_parser;

namespace {

/// Calls a getter of biTStream's that gives a text and its length.
template <typename Getter>
span text_by(Getter getter, span descriptor) {
    std::uint8_t length = 0;
    const std::uint8_t* const text = getter(descriptor.begin(), &length);
    return {text, length};
}

std::string hex_tag(unsigned int tag) {
    char text[8];
    std::snprintf(text, sizeof text, "0x%02X", tag);
    return text;
}

}  // namespace

void descriptor_differences::compare(span sent, const descriptor& received, const field_place& at) {
    at_ = at;
    if (!is_whole(sent)) return;
    switch (received.tag) {
        case 0x02:
            if (!in_ait_) {
                find_other_type(sent);
            } else if (const auto* ip =
                           dynamic_cast<const transport_protocol_descriptor_ip*>(&received)) {
                find_ip_transport(sent, *ip);
            }
            break;
        case 0x00:
        case 0x01:
        case 0x04:
        case 0x07:
        case 0x0B:
            if (!in_ait_) find_other_type(sent);
            break;
        case 0x48:
            find_service(sent, static_cast<const service_descriptor&>(received));
            break;
        case 0x4D:
            find_short_event(sent, static_cast<const short_event_descriptor&>(received));
            break;
        case 0x50:
            find_component(sent, static_cast<const component_descriptor&>(received));
            break;
        case 0x58:
            find_local_time_offset(sent, static_cast<const localtime_offset_descriptor&>(received));
            break;
        case 0xCD:
            find_ts_information(sent, static_cast<const ts_information_descriptor&>(received));
            break;
        default:
            break;
    }
}

void descriptor_differences::text(const char* field, span sent, const std::string& received) {
    if (!may_differ(sent)) return;
    std::string broadcast = broadcast_text(sent);
    if (broadcast == received) return;
    add(field, std::move(broadcast), why_text_differs(sent));
}

field_place descriptor_differences::place_of(const char* field) const {
    field_place place = at_;
    place.field = field;
    return place;
}

void descriptor_differences::add(const char* field, value broadcast, std::string why,
                                 difference::kind receiver, bool is_visible) {
    to_.push_back({place_of(field), std::move(broadcast), std::move(why), receiver, is_visible});
}

// --- Texts ---

void descriptor_differences::find_service(span sent, const service_descriptor& received) {
    constexpr std::size_t service_type_and_lengths = 3;
    const bool is_valid =
        received.length >= service_type_and_lengths && desc48_validate(sent.begin());
    if (!is_valid) return;
    text("service_provider_name", text_by(desc48_get_provider, sent),
         received.service_provider_name);
    text("service_name", text_by(desc48_get_service, sent), received.service_name);
}

void descriptor_differences::find_short_event(span sent, const short_event_descriptor& received) {
    constexpr std::size_t language_and_lengths = 5;
    const bool is_valid = received.length >= language_and_lengths && desc4d_validate(sent.begin());
    if (!is_valid) return;
    text("event_name", text_by(desc4d_get_event_name, sent), received.event_name);
    text("text", text_by(desc4d_get_text, sent), received.text);
}

void descriptor_differences::find_component(span sent, const component_descriptor& received) {
    if (desc50_validate(sent.begin())) {
        text("text", text_by(desc50_get_text, sent), received.text);
    }
}

// --- TS information: remote_control_key_id, length_of_ts_name and transmission_type_count ---

void descriptor_differences::find_ts_information(span sent,
                                                 const ts_information_descriptor& received) {
    span rest = sent.behind(DESC_HEADER_SIZE);
    if (rest.size() < 2) return;
    const std::size_t length_of_ts_name = rest.u8(1) >> 2;
    const unsigned int transmission_type_count = rest.u8(1) & 3;
    rest = rest.behind(2);
    if (rest.size() < length_of_ts_name) return;
    text("ts_name", rest.first(length_of_ts_name), received.ts_name);
    rest = rest.behind(length_of_ts_name);

    value::list types;
    for (unsigned int i = 0; i < transmission_type_count && rest.size() >= 2; ++i) {
        const unsigned int info = rest.u8(0);
        const std::size_t num_of_service = rest.u8(1);
        rest = rest.behind(2);
        value::list service_ids;
        span services = rest.first(2 * num_of_service);
        for (; services.size() >= 2; services = services.behind(2)) {
            service_ids.push_back(value::number{services.u16(0), 4, {}});
        }
        rest = rest.behind(2 * num_of_service);
        types.push_back(value::record{{"transmission_type_info", value::number{info, 2, {}}},
                                      {"service_ids", std::move(service_ids)}});
    }
    if (types.empty()) return;
    add("transmission_types", std::move(types), "the receiver drops the transmission types",
        difference::kind::missed, false);
}

// --- Local time offset ---

namespace {

bool is_negative(const std::uint8_t* region) { return desc58n_get_lto_polarity(region) != 0; }

/// "-03:00"
std::string signed_offset(bool negative, std::uint16_t bcd) {
    char text[16];
    std::snprintf(text, sizeof text, "%c%02X:%02X", negative ? '-' : '+', bcd >> 8, bcd & 0xFF);
    return text;
}

value region_of(const std::uint8_t* region) {
    const bool negative = is_negative(region);
    return value::record{
        {"country_code", broadcast_text({desc58n_get_country_code(region), 3})},
        {"country_region_id", value::number{desc58n_get_country_region_id(region), 0, {}}},
        {"local_time_offset", signed_offset(negative, desc58n_get_lt_offset(region))},
        {"next_time_offset", signed_offset(negative, desc58n_get_next_offset(region))}};
}

}  // namespace

void descriptor_differences::offset(const char* field, bool is_negative, std::uint16_t sent) {
    if (!is_negative || sent == 0) return;
    add(field, signed_offset(is_negative, sent), "the receiver drops the offset's polarity");
}

void descriptor_differences::find_local_time_offset(span sent,
                                                    const localtime_offset_descriptor& received) {
    if (!desc58_validate(sent.begin())) return;
    const std::size_t count = received.length / DESC58_LTO_SIZE;
    if (count == 0) return;
    const auto region = [&](std::size_t n) {
        return sent.begin() + DESC58_HEADER_SIZE + n * DESC58_LTO_SIZE;
    };

    const std::uint8_t* const last = region(count - 1);
    offset("local_time_offset", is_negative(last), desc58n_get_lt_offset(last));
    offset("next_time_offset", is_negative(last), desc58n_get_next_offset(last));
    auto wrapped = time_difference(place_of("time_of_change"), desc58n_get_time_of_change(last),
                                   received.time_of_change);
    if (wrapped) to_.push_back(*std::move(wrapped));

    if (count == 1) return;
    value::list regions;
    for (std::size_t n = 0; n < count; ++n) regions.push_back(region_of(region(n)));
    add("regions", std::move(regions),
        "the receiver keeps the last of " + std::to_string(count) + " regions",
        difference::kind::missed);
}

// --- IP transport (ETSI TS 102 809 5.3.6.1) ---

namespace {

std::vector<span> urls_of(span descriptor) {
    constexpr std::size_t protocol_id_and_label = 3;
    constexpr std::size_t alignment_indicator = 1;
    constexpr std::size_t remote_ids = 6;
    constexpr unsigned int remote_connection = 0x80;
    std::vector<span> urls;
    span rest = descriptor.behind(DESC_HEADER_SIZE + protocol_id_and_label);
    if (rest.empty()) return urls;
    const bool is_remote = (rest.u8(0) & remote_connection) != 0;
    rest = rest.behind((is_remote ? 1 + remote_ids : 1) + alignment_indicator);
    while (!rest.empty()) {
        const std::size_t URL_length = rest.u8(0);
        urls.push_back(rest.behind(1).first(URL_length));
        rest = rest.behind(1 + URL_length);
    }
    return urls;
}

}  // namespace

void descriptor_differences::find_ip_transport(span sent,
                                               const transport_protocol_descriptor_ip& received) {
    const std::vector<span> urls = urls_of(sent);
    const bool is_same = std::equal(
        urls.begin(), urls.end(), received.urls.begin(), received.urls.end(),
        [](span url, const auto& read) {
            return std::equal(url.begin(), url.end(), read.URL.begin(), read.URL.end(),
                              [](std::uint8_t a, char b) { return static_cast<char>(a) == b; });
        });
    if (is_same) return;
    value::list texts;
    for (const span url : urls) texts.push_back(broadcast_text(url));
    add("urls", std::move(texts), "the receiver finds the URLs of an IP transport in few layouts");
}

// --- Tags with another meaning outside the AIT ---

void descriptor_differences::find_other_type(span sent) {
    const std::uint8_t tag = desc_get_tag(sent.begin());
    add("type", std::string(names::descriptor(tag)),
        "the receiver takes tag " + hex_tag(tag) + " for the AIT's " +
            std::string(names::application_descriptor(tag)) + " everywhere",
        difference::kind::otherwise, false);
}

}  // namespace orvix::broadcast
