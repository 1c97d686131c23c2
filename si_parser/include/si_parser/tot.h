#pragma once

#include <si_parser/psi_table.h>

namespace orvix::si_parser {

/// Time Offset Table (EN 300 468 5.2.6, ABNT NBR 15603-2): a section with a short header. Of the
/// header fields only `table_id` is set, and `cleared` stays true. Find the offsets with
/// `get_descriptor<localtime_offset_descriptor>(0x58)`.
class SI_PARSER_EXPORT tot : public psi_table {
public:
    tot();
    ~tot() override;

    /// Replaces the contents. At most the first descriptor of the loop is decoded. Throws
    /// std::runtime_error "Aborting tot parse", after an ERROR log line in "tot", when `size` is
    /// below 10, and then changes nothing.
    void parse(unsigned char* buffer, unsigned int size) override;

    /// As `psi_table::full_mjd_to_time_t` gives it; on air in Brazil the clock is UTC-3. `clear`
    /// keeps it.
    time_t utc_time = 0;
};

}  // namespace orvix::si_parser
