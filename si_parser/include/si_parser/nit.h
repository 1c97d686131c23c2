#pragma once

#include <si_parser/psi_table.h>

#include <vector>

namespace orvix::si_parser {

/// Network Information Table, one section (EN 300 468 5.2.1, ABNT NBR 15603-2); what `parse` is
/// handed and trusts: see `psi_table`. Its network descriptors are the table's own.
class SI_PARSER_EXPORT nit : public psi_table {
public:
    /// One entry of the transport stream loop. A copy shares the descriptor handles.
    struct nit_transport_stream_t {
        uint32_t transport_stream_id = 0;  ///< 16 bits
        uint32_t original_network_id = 0;  ///< 16 bits
        descriptor_list descriptors;       ///< section order, known tags only
    };

    nit();
    ~nit() override;

    /// Replaces the contents. A section without section_syntax_indicator changes nothing. Throws
    /// std::runtime_error from `parse_header`; no transport streams or descriptors are then held.
    void parse(unsigned char* buffer, unsigned int size) override;
    /// Drops transport streams and descriptors; `network_id` and the header fields stay.
    void clear() override;

    uint32_t network_id = 0;                                ///< 16 bits
    std::vector<nit_transport_stream_t> transport_streams;  ///< section order, repeats kept
};

}  // namespace orvix::si_parser
