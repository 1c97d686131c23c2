#pragma once

#include <si_parser/psi_table.h>

namespace orvix::si_parser {

/// Time and Date Table (EN 300 468 5.2.5, ABNT NBR 15603-2): a short section without CRC_32. Of the
/// header fields only `table_id` is set, and `cleared` stays true.
class SI_PARSER_EXPORT tdt : public psi_table {
public:
    tdt();
    ~tdt() override;

    /// Replaces the contents. Throws std::runtime_error "Aborting tdt parse", after an ERROR log
    /// line in "tdt", when `size` is below 9, and then changes nothing. The broadcast's section has
    /// 8 bytes: hand it in as 9, with one spare byte behind it, which is not read.
    void parse(unsigned char* buffer, unsigned int size) override;

    /// As `psi_table::full_mjd_to_time_t` gives it; on air in Brazil the clock is UTC-3. `clear`
    /// keeps it.
    time_t utc_time = 0;
};

}  // namespace orvix::si_parser
