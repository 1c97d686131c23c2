#pragma once

#include <si_parser/psi_table.h>

#include <map>

namespace orvix::si_parser {

/// Program Association Table, one section (ISO/IEC 13818-1 2.4.4.3); what `parse` is handed and
/// trusts: see `psi_table`. `table_id_extension` is the transport_stream_id.
class SI_PARSER_EXPORT pat : public psi_table {
public:
    pat();
    ~pat() override;

    /// Replaces the contents; programmes of other sections are not kept. A section without
    /// section_syntax_indicator (two bytes are enough to tell) changes nothing. Throws
    /// std::runtime_error from `parse_header`; no programmes are then held.
    void parse(unsigned char* buffer, unsigned int size) override;
    /// Drops the programmes; the header fields stay.
    void clear() override;

    /// PID (13 bits) by program_number (16 bits): of the programme's PMT, and under 0 of the NIT. A
    /// later entry of a program_number replaces an earlier one.
    std::map<uint32_t, uint32_t> program_map;
};

}  // namespace orvix::si_parser
