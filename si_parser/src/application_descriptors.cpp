#include "big_endian.h"
#include "descriptor_bodies.h"

namespace orvix::si_parser {

application_descriptor::~application_descriptor() = default;
application_name_descriptor::~application_name_descriptor() = default;
transport_protocol_descriptor::~transport_protocol_descriptor() = default;
transport_protocol_descriptor_oc::~transport_protocol_descriptor_oc() = default;
transport_protocol_descriptor_ip::~transport_protocol_descriptor_ip() = default;
ginga_location_descriptor::~ginga_location_descriptor() = default;
icon_information_descriptor::~icon_information_descriptor() = default;

void read_body(unsigned char* p, application_descriptor& d) {
    const unsigned int application_profiles_length = p[2];
    // An 8-bit cursor over records of five bytes. Where it stops, the flags are read: with a length
    // that is no multiple of five, that is the next multiple past it, as receivers have it.
    d.profiles.reserve((application_profiles_length + 4) / 5);
    uint8_t cursor = 0;
    while (cursor < application_profiles_length) {
        const unsigned char* const record = p + 3 + cursor;
        application_descriptor::profiles_t profile;
        profile.application_profile = u16(record);
        profile.version_major = record[2];
        profile.version_minor = record[3];
        profile.version_micro = record[4];
        d.profiles.push_back(profile);
        cursor = static_cast<uint8_t>(cursor + 5);
    }

    const unsigned char* const rest = p + 3 + cursor;
    d.service_bound_flag = bits(rest[0], 7, 7);
    d.visibility = bits(rest[0], 6, 5);
    d.reserved_bits = bits(rest[0], 4, 0);
    d.application_priority = rest[1];
}

namespace {

/// How many entries start between `offset` and `end`.
std::size_t count_names(const unsigned char* p, unsigned int offset, unsigned int end) {
    std::size_t count = 0;
    for (; offset < end; offset += 4u + p[offset + 3]) ++count;
    return count;
}

}  // namespace

void read_body(unsigned char* p, application_name_descriptor& d) {
    const unsigned int end = d.length + 2u;
    d.names.reserve(count_names(p, 2, end));
    for (unsigned int offset = 2; offset < end;) {
        const unsigned char* const entry = p + offset;
        const unsigned int application_name_length = entry[3];

        application_name_descriptor::name_map_t name;
        name.language = u24(entry);
        name.name = raw_string(entry + 4, application_name_length);
        d.names.push_back(std::move(name));

        offset += 4 + application_name_length;
    }
}

namespace {

/// What both kinds of transport begin with. Returns how many bytes from the tag it takes.
unsigned int read_transport(const unsigned char* p, transport_protocol_descriptor& d) {
    d.protocol_id = u16(p + 2);
    d.transport_protocol_label = p[4];
    d.remote_connection = bit(p[5], 7);
    if (!d.remote_connection) return 6;

    d.original_network_id = u16(p + 6);
    d.transport_stream_id = u16(p + 8);
    d.service_id = u16(p + 10);
    return 12;
}

}  // namespace

void read_body(unsigned char* p, transport_protocol_descriptor_oc& d) {
    d.component_tag = p[read_transport(p, d)];
}

void read_body(unsigned char* loop, unsigned int i, transport_protocol_descriptor_ip& d) {
    unsigned int selector = i + read_transport(loop + i, d);
    d.alignment_indicator = bits(loop[selector], 7, 7);

    // Positions in the loop are compared with the descriptor's length and with URL lengths, and the
    // position of the length steps by one. Only a few layouts yield their URLs; receivers have
    // learned to live with what comes out, so the walk stays as it is.
    if (selector + 1 < d.length) d.urls.reserve(d.length - (selector + 1));
    for (unsigned int position = selector + 1; position < d.length; ++position) {
        transport_protocol_descriptor_ip::url_map entry;
        entry.URL_length = loop[position];
        if (selector < entry.URL_length) {
            entry.URL = raw_string(loop + selector, entry.URL_length - selector);
        }
        selector += entry.URL_length + 1u;
        d.urls.push_back(std::move(entry));
    }
}

void read_body(unsigned char* p, ginga_location_descriptor& d) {
    const unsigned char* const end = p + 2 + d.length;

    const unsigned int base_directory_length = p[2];
    d.base_directory = raw_string(p + 3, base_directory_length);

    const unsigned char* rest = p + 3 + base_directory_length;
    const unsigned int class_extension_length = rest[0];
    d.class_extension = raw_string(rest + 1, class_extension_length);

    rest += 1 + class_extension_length;
    if (rest < end) {
        d.initial_class = raw_string(rest, static_cast<unsigned int>(end - rest));
    }
}

void read_body(unsigned char* p, icon_information_descriptor& d) {
    const unsigned int icon_locator_length = p[2];
    d.icon_locator = raw_string(p + 3, icon_locator_length);
}

}  // namespace orvix::si_parser
