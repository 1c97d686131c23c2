#pragma once

#include <si_parser/psi_table.h>

#include <string>
#include <vector>

namespace orvix::si_parser {

/// Program Map Table, one section (ISO/IEC 13818-1 2.4.4.8); what `parse` is handed and trusts: see
/// `psi_table`. Its programme-level descriptors are the table's own.
class SI_PARSER_EXPORT pmt : public psi_table {
public:
    /// One elementary stream. A copy shares the descriptor handles.
    struct SI_PARSER_EXPORT stream_info_type {
        uint32_t elementary_PID = 0;  ///< 13 bits
        /// From the last stream identifier or component descriptor; 0 without one.
        uint32_t component_tag = 0;
        int32_t stream_type = 0;  ///< 8 bits (ISO/IEC 13818-1 Table 2-34)
        /// From the last component descriptor; empty without one.
        std::string ISO_639_language_code;
        descriptor_list descriptors;  ///< section order, known tags only

        bool is_video();    ///< MPEG-2 (0x02) or H.264 (0x1B)
        bool is_audio();    ///< 0x03, 0x04, 0x0F, 0x11, 0x81 or 0x83
        bool is_caption();  ///< private PES (0x06)
    };

    pmt();
    ~pmt() override;

    /// Replaces the contents. A section without section_syntax_indicator changes nothing. Throws
    /// std::runtime_error from `parse_header`; no streams or descriptors are then held.
    ///
    /// A section of 260 bytes or more never ends and takes all memory: it must not be handed in.
    /// The same holds for declared lengths that lead back to an entry that was already read.
    void parse(unsigned char* buffer, unsigned int size) override;
    /// Drops streams and descriptors; `program_number`, `PCR_PID` and the header fields stay.
    void clear() override;

    uint32_t program_number = 0;            ///< 16 bits
    uint32_t PCR_PID = 0;                   ///< 13 bits
    std::vector<stream_info_type> streams;  ///< section order
};

}  // namespace orvix::si_parser
