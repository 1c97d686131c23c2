#include "sent_parts.h"

#include "section_loops.h"

extern "C" {
#include <bitstream/dvb/si.h>
#include <bitstream/mpeg/psi.h>
}

namespace orvix::broadcast {

std::optional<sent_header> header_of(span section) {
    const std::uint8_t* const psi = section.begin();
    if (section.size() < PSI_HEADER_SIZE_SYNTAX1 + PSI_CRC_SIZE || !psi_get_syntax(psi)) {
        return std::nullopt;
    }
    return sent_header{psi_get_tableid(psi), psi_get_tableidext(psi), psi_get_version(psi),
                       psi_get_current(psi), psi_get_section(psi),    psi_get_lastsection(psi)};
}

std::vector<std::uint16_t> programmes_of(span pat) {
    std::vector<std::uint16_t> programmes;
    for (const sent_record& record : find_loops(pat.begin(), pat.size()).records) {
        const std::uint16_t number = patn_get_program(record.entry);
        const bool is_network = number == 0;
        if (!is_network) programmes.push_back(number);
    }
    return programmes;
}

std::vector<announced_eits> announced_in(span sdt) {
    std::vector<announced_eits> announced;
    for (const sent_record& record : find_loops(sdt.begin(), sdt.size()).records) {
        announced.push_back({sdtn_get_sid(record.entry), sdtn_get_eitpresent(record.entry),
                             sdtn_get_eitschedule(record.entry)});
    }
    return announced;
}

std::optional<sent_segment> segment_of(span eit) {
    if (eit.size() < EIT_HEADER_SIZE + PSI_CRC_SIZE) return std::nullopt;
    return sent_segment{eit_get_segment_last_sec_number(eit.begin()),
                        eit_get_last_table_id(eit.begin())};
}

}  // namespace orvix::broadcast
