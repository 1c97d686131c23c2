#include <si_parser/nit.h>

#include "big_endian.h"
#include "recycling.h"

namespace orvix::si_parser {

nit::nit() = default;

nit::~nit() = default;

void nit::clear() {
    recycling::give_back_lists(transport_streams);
    transport_streams.clear();
    psi_table::clear();
}

void nit::parse(unsigned char* buffer, unsigned int size) {
    const bool section_syntax_indicator = bit(buffer[1], 7);
    if (!section_syntax_indicator) return;
    const recycling memory;
    clear();
    parse_header(buffer, size);
    network_id = table_id_extension;

    const unsigned int network_descriptors_length = length12(buffer + 8);
    _parse_descriptors(buffer + 10, network_descriptors_length);

    unsigned int offset = 10 + network_descriptors_length;
    const unsigned int transport_stream_loop_length = length12(buffer + offset);
    offset += 2;

    // The loop ends where its own length says, not at the section's end.
    const unsigned int end = offset + transport_stream_loop_length;
    while (offset < end) {
        unsigned char* const entry = buffer + offset;
        const unsigned int transport_descriptors_length = length12(entry + 4);

        nit_transport_stream_t stream;
        stream.transport_stream_id = u16(entry);
        stream.original_network_id = u16(entry + 2);
        _parse_descriptors_into(entry + 6, transport_descriptors_length, stream.descriptors);
        transport_streams.push_back(std::move(stream));

        offset += 6 + transport_descriptors_length;
    }
}

}  // namespace orvix::si_parser
