#include <log/orvix_log.h>
#include <si_parser/eit.h>

#include <ios>

#include "big_endian.h"
#include "recycling.h"

namespace orvix::si_parser {

eit::eit() = default;

eit::~eit() = default;

void eit::clear() {
    psi_table::clear();
    recycling::give_back_lists(events);
    events.clear();
}

void eit::parse(unsigned char* buffer, unsigned int size) {
    const bool section_syntax_indicator = bit(buffer[1], 7);
    if (!section_syntax_indicator) return;
    const recycling memory;
    clear();
    parse_header(buffer, size);
    service_id = u16(buffer + 3);
    transport_stream_id = u16(buffer + 8);
    original_network_id = u16(buffer + 10);
    segment_last_section_number = buffer[12];
    last_table_id = buffer[13];

    const unsigned int end = size - 4;
    unsigned int offset = 14;
    while (offset < end) {
        unsigned char* const entry = buffer + offset;

        event e;
        e.event_id = u16(entry);
        ORVIX_LOG(
            DEBUG2, "eit",
            "Got event 0x" << std::hex << e.event_id << " for service " << std::dec << service_id);
        e.start_time = full_mjd_to_time_t(buffer, offset + 2);
        e.duration = iso_time_to_time_t(buffer, offset + 7);
        e.running_status = bits(entry[10], 7, 5);
        e.free_CA_mode = bits(entry[10], 4, 4);
        const unsigned int descriptors_loop_length = length12(entry + 10);
        _parse_descriptors_into(entry + 12, descriptors_loop_length, e.descriptors);
        events.push_back(std::move(e));

        offset += 12 + descriptors_loop_length;
    }
    ORVIX_LOG(DEBUG2, "eit", "Done parsing, found [" << events.size() << "] events.");
}

}  // namespace orvix::si_parser
