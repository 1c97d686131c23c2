#pragma once

#include <si_parser/psi_table.h>

#include <vector>

namespace orvix::si_parser {

/// Service Description Table, one section (EN 300 468 5.2.3, ABNT NBR 15603-2); what `parse` is
/// handed and trusts: see `psi_table`. Names are in each service's `service_descriptor`.
class SI_PARSER_EXPORT sdt : public psi_table {
public:
    /// One service. A copy shares the descriptor handles.
    struct SI_PARSER_EXPORT sdt_service_info_t {
        uint32_t service_id = 0;  ///< 16 bits
        /// 0 or 1, from the two highest bits of the entry's third byte, which are reserved bits on
        /// air; the broadcast's own two flags are not kept.
        uint32_t EIT_schedule_flag = 0;
        uint32_t EIT_present_following_flag = 0;  ///< 0 or 1, from there as well
        uint32_t running_status = 0;              ///< 0 to 7
        uint32_t free_CA_mode = 0;                ///< 0 or 1
        descriptor_list descriptors;              ///< section order, known tags only

        /// The order of `services`: by the low five bits of `service_id`, then by all of it.
        bool operator<(const sdt_service_info_t& other) const;
    };

    sdt();
    ~sdt() override;

    /// Replaces the contents. A section without section_syntax_indicator changes nothing. Throws
    /// std::runtime_error from `parse_header`; no services are then held. Traces at DEBUG in "sdt".
    void parse(unsigned char* buffer, unsigned int size) override;
    /// Drops the services; the identifiers and the header fields stay.
    void clear() override;

    uint32_t transport_stream_id = 0;  ///< 16 bits
    uint32_t original_network_id = 0;  ///< 16 bits
    /// Sorted; repeats kept, in any order among themselves.
    std::vector<sdt_service_info_t> services;
};

}  // namespace orvix::si_parser
