#pragma once

#include <parse_exactly.h>
#include <si_parser/ait.h>
#include <si_parser/eit.h>
#include <si_parser/nit.h>
#include <si_parser/pat.h>
#include <si_parser/pmt.h>
#include <si_parser/sdt.h>
#include <si_parser/tdt.h>
#include <si_parser/tot.h>

#include <memory>
#include <stdexcept>

namespace orvix::test {

/// A table object for sections of this table_id; empty where the parser decodes none.
inline std::unique_ptr<si_parser::psi_table> make_table(unsigned int table_id) {
    switch (table_id) {
        case 0x00:
            return std::make_unique<si_parser::pat>();
        case 0x02:
            return std::make_unique<si_parser::pmt>();
        case 0x40:
        case 0x41:
            return std::make_unique<si_parser::nit>();
        case 0x42:
        case 0x46:
            return std::make_unique<si_parser::sdt>();
        case 0x70:
            return std::make_unique<si_parser::tdt>();
        case 0x73:
            return std::make_unique<si_parser::tot>();
        case 0x74:
            return std::make_unique<si_parser::ait>();
        default:
            if (table_id >= 0x4E && table_id <= 0x6F) return std::make_unique<si_parser::eit>();
            return {};
    }
}

/// The size that the parser is told: a TDT of 8 bytes passes as one of 9.
inline unsigned int told_size(const exact_block& section) {
    constexpr unsigned int tdt_on_air = 8;
    const bool is_tdt = section.data()[0] == 0x70;
    return is_tdt && section.size() == tdt_on_air ? tdt_on_air + 1 : section.size();
}

/// Parses a section that the gate admitted from a heap block of exactly its bytes, so that
/// AddressSanitizer sees a read past them.
inline void parse_admitted(const bytes& section) {
    const std::unique_ptr<si_parser::psi_table> table = make_table(section.at(0));
    if (!table) throw std::invalid_argument("a table that the parser does not decode");
    const exact_block block(section);
    table->parse(block.data(), told_size(block));
}

}  // namespace orvix::test
