#include <si_parser/pmt.h>

#include "big_endian.h"
#include "recycling.h"

namespace orvix::si_parser {

pmt::pmt() = default;

pmt::~pmt() = default;

void pmt::clear() {
    recycling::give_back_lists(streams);
    streams.clear();
    psi_table::clear();
}

namespace {

/// Takes over what the stream's descriptors say of it; a later descriptor overrules an earlier one.
void read_component(pmt::stream_info_type& stream) {
    for (const descriptor_ptr& d : stream.descriptors) {
        switch (d->tag) {
            case 0x50: {
                const auto& component = static_cast<const component_descriptor&>(*d);
                stream.ISO_639_language_code = component.ISO_639_language_code;
                stream.component_tag = component.component_tag;
                break;
            }
            case 0x52:
                stream.component_tag =
                    static_cast<const stream_identifier_descriptor&>(*d).component_tag;
                break;
            default:
                break;
        }
    }
}

}  // namespace

void pmt::parse(unsigned char* buffer, unsigned int size) {
    const bool section_syntax_indicator = bit(buffer[1], 7);
    if (!section_syntax_indicator) return;
    const recycling memory;
    clear();
    parse_header(buffer, size);
    program_number = u16(buffer + 3);
    PCR_PID = pid13(buffer + 8);

    const unsigned int program_info_length = length12(buffer + 10);
    _parse_descriptors(buffer + 12, program_info_length);

    // The cursor is 8 bits wide and wraps at 256. Well-formed sections of up to 259 bytes never
    // notice, longer ones never end. Receivers depend on what the short ones yield, so it stays.
    auto cursor = static_cast<uint8_t>(12 + program_info_length);
    const unsigned int end = size - 4;
    while (cursor < end) {
        unsigned char* const entry = buffer + cursor;
        const unsigned int ES_info_length = length12(entry + 3);

        stream_info_type stream;
        stream.stream_type = entry[0];
        stream.elementary_PID = pid13(entry + 1);
        _parse_descriptors_into(entry + 5, ES_info_length, stream.descriptors);
        read_component(stream);
        streams.push_back(std::move(stream));

        cursor = static_cast<uint8_t>(cursor + 5 + ES_info_length);
    }
}

// Not const: programs take pointers to these functions by their types.
// NOLINTBEGIN(readability-make-member-function-const)
bool pmt::stream_info_type::is_video() {
    switch (stream_type) {
        case 0x02:
        case 0x1B:
            return true;
        default:
            return false;
    }
}

bool pmt::stream_info_type::is_audio() {
    switch (stream_type) {
        case 0x03:
        case 0x04:
        case 0x0F:
        case 0x11:
        case 0x81:
        case 0x83:
            return true;
        default:
            return false;
    }
}

bool pmt::stream_info_type::is_caption() { return stream_type == 0x06; }
// NOLINTEND(readability-make-member-function-const)

}  // namespace orvix::si_parser
