#include <log/orvix_log.h>
#include <si_parser/psi_table.h>

#include <ios>
#include <stdexcept>

#include "big_endian.h"
#include "descriptor_bodies.h"
#include "new_descriptor.h"
#include "refuse.h"

namespace orvix::si_parser {

psi_table::psi_table() = default;

psi_table::~psi_table() = default;

void psi_table::parse(unsigned char* /*buffer*/, unsigned int /*size*/) {}

void psi_table::clear() {
    descriptors.clear();
    cleared = true;
}

descriptor_list& psi_table::get_descriptors() { return descriptors; }

descriptor_ptr psi_table::get_descriptor(unsigned int tag) const {
    return get_descriptor_from(tag, descriptors);
}

// --- Times ---

time_t psi_table::iso_time_to_time_t(unsigned char* buffer, unsigned int offset) {
    // No digit is checked: a nibble above 9 counts as its value, and undefined times, all ones, are
    // seconds like any other. Callers that must tell them apart look at the bytes.
    const unsigned char* const p = buffer + offset;
    const unsigned int hours = bcd(p[0]);
    const unsigned int minutes = bcd(p[1]);
    const unsigned int seconds = bcd(p[2]);
    return static_cast<time_t>(hours * 3600 + minutes * 60 + seconds);
}

time_t psi_table::full_mjd_to_time_t(unsigned char* buffer, unsigned int offset) {
    constexpr uint32_t mjd_of_1970_01_01 = 40587;
    constexpr uint32_t seconds_per_day = 86400;

    const uint32_t mjd = u16(buffer + offset);
    const auto time_of_day = static_cast<uint32_t>(iso_time_to_time_t(buffer, offset + 2));
    // 32 bits that wrap, also where time_t is wider: receivers and workstations agree.
    const uint32_t seconds = (mjd - mjd_of_1970_01_01) * seconds_per_day + time_of_day;
    return static_cast<int32_t>(seconds);
}

// --- Section header ---

void psi_table::parse_header(unsigned char* buffer, unsigned int size) {
    // Seven bytes are enough to pass although eight are read. Whole sections never notice; the
    // bound is part of what receivers accept, so it stays.
    if (size < 7) {
        // Log readers know this statement by its line number, 61.
        ORVIX_LOG(ERROR, "si_parser", "Short buffer, aborting parse");
        refuse("parse_header: short buffer");
    }

    cleared = false;
    table_id = buffer[0];
    const unsigned int section_length = length12(buffer + 1);
    section_size = section_length + 3;
    table_id_extension = u16(buffer + 3);
    version_number = bits(buffer[5], 5, 1);
    current_next_indicator = bits(buffer[5], 0, 0);
    section_number = buffer[6];
    last_section_number = buffer[7];

    if (size != section_size) {
        ORVIX_LOG(ERROR, "si_parser", "Section length <> size, aborting parse");
        refuse("parse_header: section length != size");
    }
}

void refuse(const char* text) { throw std::runtime_error(text); }

// --- Descriptors ---

namespace {

template <typename T>
descriptor_ptr make_descriptor(unsigned char* p) {
    new_descriptor<T> d(p);
    read_body(p, *d.body);
    return std::move(d.handle);
}

descriptor_ptr make_transport_protocol(unsigned char* loop, unsigned int i) {
    const unsigned int protocol_id = u16(loop + i + 2);
    switch (protocol_id) {
        case 0x0001:
        case 0x0004:
            return make_descriptor<transport_protocol_descriptor_oc>(loop + i);
        case 0x0002: {
            new_descriptor<transport_protocol_descriptor_ip> d(loop + i);
            read_body(loop, i, *d.body);
            return std::move(d.handle);
        }
        default:
            return {};
    }
}

/// The descriptor that starts at `loop[i]`; an empty handle where this library has no class for it.
/// One dispatch serves all tables: a tag means the same wherever it stands.
descriptor_ptr make_descriptor_at(unsigned char* loop, unsigned int i) {
    unsigned char* const p = loop + i;
    switch (p[0]) {
        case 0x00:
            return make_descriptor<application_descriptor>(p);
        case 0x01:
            return make_descriptor<application_name_descriptor>(p);
        case 0x02:
            return make_transport_protocol(loop, i);
        case 0x04:
        case 0x07:
            return make_descriptor<ginga_location_descriptor>(p);
        case 0x0B:
            return make_descriptor<icon_information_descriptor>(p);
        case 0x48:
            return make_descriptor<service_descriptor>(p);
        case 0x4D:
            return make_descriptor<short_event_descriptor>(p);
        case 0x50:
            return make_descriptor<component_descriptor>(p);
        case 0x52:
            return make_descriptor<stream_identifier_descriptor>(p);
        case 0x54:
            return make_descriptor<content_descriptor>(p);
        case 0x55:
            return make_descriptor<parental_descriptor>(p);
        case 0x58:
            return make_descriptor<localtime_offset_descriptor>(p);
        case 0xCD:
            return make_descriptor<ts_information_descriptor>(p);
        default:
            ORVIX_LOG(DEBUG2, "parse",
                      "Unknown descriptor " << std::hex << static_cast<unsigned int>(p[0]));
            return {};
    }
}

/// How many descriptors start between `i` and the end of a loop.
std::size_t count_descriptors(const unsigned char* loop, unsigned int i, unsigned int length) {
    std::size_t count = 0;
    for (; i < length; i += 2u + loop[i + 1]) ++count;
    return count;
}

}  // namespace

void psi_table::_parse_descriptors(unsigned char* loop, unsigned int length) {
    _parse_descriptors_into(loop, length, descriptors);
}

void psi_table::_parse_descriptors_into(unsigned char* loop, unsigned int length,
                                        descriptor_list& into) {
    // Only where a descriptor starts is compared with the loop's length. One that overruns the loop
    // is built from what follows, and ends the walk.
    for (unsigned int i = 0; i < length; i += 2u + loop[i + 1]) {
        ORVIX_LOG(DEBUG, "parse",
                  "i [" << i << "] type [0x" << std::hex << static_cast<unsigned int>(loop[i])
                        << "] size " << std::dec << length);
        descriptor_ptr d = make_descriptor_at(loop, i);
        if (!d) continue;
        if (into.capacity() == 0) recycling::take_list(into);
        if (into.size() == into.capacity()) {  // one allocation for all that may follow
            into.reserve(into.size() + count_descriptors(loop, i, length));
        }
        into.push_back(std::move(d));
    }
}

descriptor_ptr psi_table::get_descriptor_from(unsigned int tag, descriptor_list list) const {
    for (const descriptor_ptr& d : list) {
        if (d->tag == tag) {
            ORVIX_LOG(DEBUG, "parse", "get_descriptor_from: FOUND");
            return d;
        }
    }
    ORVIX_LOG(DEBUG, "parse", "get_descriptor_from: NOT FOUND");
    return {};
}

// --- Hex dump ---

void psi_table::_hex_dump(unsigned char* buffer, unsigned int size) {
    constexpr char banner[] = "+++++++++++++++++++++++++++++++++++++++++";
    ORVIX_LOG(INFO, "isdtv_ts", banner);
    for (unsigned int offset = 0; offset < size; offset += 8) {
        const unsigned char* const p = buffer + offset;
        ORVIX_LOG(INFO, "isdtv_ts",
                  std::hex << "0x" << +p[0] << " 0x" << +p[1] << " 0x" << +p[2] << " 0x" << +p[3]
                           << " 0x" << +p[4] << " 0x" << +p[5] << " 0x" << +p[6] << " 0x" << +p[7]);
    }
    ORVIX_LOG(INFO, "isdtv_ts", banner);
}

}  // namespace orvix::si_parser
