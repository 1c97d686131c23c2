#include <log/orvix_log.h>

#include "big_endian.h"
#include "descriptor_bodies.h"
#include "text.h"

namespace orvix::si_parser {

service_descriptor::~service_descriptor() = default;
component_descriptor::~component_descriptor() = default;
stream_identifier_descriptor::~stream_identifier_descriptor() = default;
ts_information_descriptor::~ts_information_descriptor() = default;

void read_body(unsigned char* p, service_descriptor& d) {
    d.service_type = p[2];

    const unsigned int service_provider_name_length = p[3];
    assign_text(d.service_provider_name, p + 4, service_provider_name_length);

    unsigned char* const rest = p + 4 + service_provider_name_length;
    const unsigned int service_name_length = rest[0];
    assign_text(d.service_name, rest + 1, service_name_length);

    ORVIX_LOG(DEBUG, "parse", "prov name [" << d.service_provider_name << "]");
    ORVIX_LOG(DEBUG, "parse", "service name [" << d.service_name << "]");
}

void read_body(unsigned char* p, component_descriptor& d) {
    constexpr unsigned int bytes_before_text = 6;
    d.stream_content = p[2];
    d.component_type = p[3];
    d.component_tag = p[4];
    assign_text(d.ISO_639_language_code, p + 5, 3);
    // Unsigned: below six body bytes the count wraps, so such a descriptor must not be handed in.
    assign_text(d.text, p + 8, d.length - bytes_before_text);
}

void read_body(unsigned char* p, stream_identifier_descriptor& d) { d.component_tag = p[2]; }

void read_body(unsigned char* p, ts_information_descriptor& d) {
    d.remote_control_key_id = p[2];
    const unsigned int length_of_ts_name = bits(p[3], 7, 2);
    assign_text(d.ts_name, p + 4, length_of_ts_name);

    // The transmission types and their service ids are walked over and dropped: no receiver ever
    // saw them. Whoever checks sections still asks for their bytes.
    const unsigned int transmission_type_count = bits(p[3], 1, 0);
    const unsigned char* entry = p + 4 + length_of_ts_name;
    for (unsigned int i = 0; i < transmission_type_count; ++i) {
        const unsigned int num_of_service = entry[1];
        entry += 2 + 2 * num_of_service;
    }
}

}  // namespace orvix::si_parser
