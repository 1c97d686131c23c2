#pragma once

#include <si_parser/psi_table.h>

#include <vector>

namespace orvix::si_parser {

/// Event Information Table, one section, present/following or schedule (EN 300 468 5.2.4, ABNT NBR
/// 15603-2); what `parse` is handed and trusts: see `psi_table`. It has no table-level descriptors.
class SI_PARSER_EXPORT eit : public psi_table {
public:
    /// One event. A copy shares the descriptor handles.
    struct event {
        uint32_t event_id = 0;  ///< 16 bits
        /// As `psi_table::full_mjd_to_time_t` gives it: on the broadcast's own clock (UTC-3 in
        /// Brazil), and an undefined time is not told apart.
        time_t start_time = 0;
        time_t duration = 0;          ///< seconds; an undefined one gives 604065
        uint32_t running_status = 0;  ///< 0 to 7
        uint8_t free_CA_mode = 0;     ///< 0 or 1
        descriptor_list descriptors;  ///< section order, known tags only
    };

    eit();
    ~eit() override;

    /// Replaces the contents. A section without section_syntax_indicator changes nothing. Throws
    /// std::runtime_error from `parse_header`; no events are then held. Traces at DEBUG2 in "eit".
    void parse(unsigned char* buffer, unsigned int size) override;
    /// Drops the events; the identifiers and the header fields stay.
    void clear() override;

    uint32_t service_id = 0;                   ///< 16 bits
    uint32_t transport_stream_id = 0;          ///< 16 bits
    uint32_t original_network_id = 0;          ///< 16 bits
    uint32_t segment_last_section_number = 0;  ///< 8 bits
    uint32_t last_table_id = 0;                ///< 8 bits
    std::vector<event> events;                 ///< section order
};

}  // namespace orvix::si_parser
