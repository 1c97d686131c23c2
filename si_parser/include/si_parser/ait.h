#pragma once

#include <si_parser/psi_table.h>

#include <vector>

namespace orvix::si_parser {

/// Application Information Table, one section (ETSI TS 102 809 5.3.4, ABNT NBR 15606-3); what
/// `parse` is handed and trusts: see `psi_table`. Its common descriptors are the table's own.
class SI_PARSER_EXPORT ait : public psi_table {
public:
    /// One application. A copy shares the descriptor handles.
    struct ait_application_info_t {
        uint32_t organisation_id = 0;           ///< 32 bits
        uint32_t application_id = 0;            ///< 16 bits
        uint32_t application_control_code = 0;  ///< 8 bits
        descriptor_list descriptors;            ///< section order, known tags only
    };

    ait();
    ~ait() override;

    /// Replaces the contents. A section without section_syntax_indicator changes nothing. Where
    /// `parse_header` throws, an ERROR log line in "ait" repeats its text and std::runtime_error
    /// "Aborting ait parse" is thrown; no applications or descriptors are then held.
    void parse(unsigned char* buffer, unsigned int size) override;
    /// Drops applications and descriptors; `application_type` and the header fields stay.
    void clear() override;

    uint32_t application_type = 0;  ///< 16 bits, test_application_flag in bit 15 included
    /// Section order. Only applications that start before byte application_loop_length of the
    /// section are listed: common descriptors take their room from that of the applications.
    std::vector<ait_application_info_t> applications;
};

}  // namespace orvix::si_parser
