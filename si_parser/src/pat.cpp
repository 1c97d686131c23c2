#include <si_parser/pat.h>

#include "big_endian.h"

namespace orvix::si_parser {

pat::pat() = default;

pat::~pat() = default;

void pat::clear() {
    program_map.clear();
    psi_table::clear();
}

void pat::parse(unsigned char* buffer, unsigned int size) {
    const bool section_syntax_indicator = bit(buffer[1], 7);
    if (!section_syntax_indicator) return;
    clear();
    parse_header(buffer, size);

    // An entry that starts before the CRC_32 is taken, even where its PID lies in the CRC_32.
    const unsigned int end = section_size - 4;
    for (unsigned int offset = 8; offset < end; offset += 4) {
        const unsigned int program_number = u16(buffer + offset);
        const unsigned int program_map_PID = pid13(buffer + offset + 2);
        // Programmes mostly come in ascending order: behind all others is the place to try first.
        program_map.insert_or_assign(program_map.end(), program_number, program_map_PID);
    }
}

}  // namespace orvix::si_parser
