#pragma once

#include <section_feed/export.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace orvix::section_feed {

/// Why a section must not be parsed; `admitted` when it may.
enum class verdict : std::uint8_t {
    admitted,
    not_decoded,      ///< of a table that the parser does not decode; nothing else was looked at
    too_short,        ///< ends before the fixed fields of its table do
    length_mismatch,  ///< section_length + 3 is not the number of bytes handed in
    crc_mismatch,     ///< the CRC_32 is wrong
    overrun,          ///< the parser would read behind the section's end
    endless,          ///< the parse would never end
};

constexpr std::size_t verdicts = 7;

/// The verdict's name, as written above.
SECTION_FEED_EXPORT const char* to_string(verdict why);

struct gate_options {
    bool check_crc = true;
};

/// What the gate found. Trivially copied; refers to constant texts only.
struct SECTION_FEED_EXPORT gate_result {
    verdict why = verdict::admitted;
    std::uint32_t byte = 0;  ///< offset of the offending field, from table_id

    const char* table = "";   ///< "PMT", "EIT", ...
    const char* field = "";   ///< the field's name in the standards
    std::uint32_t value = 0;  ///< what the field says
    std::uint32_t limit = 0;  ///< what it broke, as `why` has it

    bool admitted() const { return why == verdict::admitted; }
    /// One sentence for an engineer that names table, field, value, place and limit. Empty when
    /// admitted.
    std::string text() const;
};

/// Whether `libsi_parser` may be handed this section: every read inside `size` bytes, in bounded
/// time and memory. Never reads outside `section[0, size)` and never allocates.
///
/// A Time and Date Table is admitted with its 8 bytes; `tdt::parse` wants to be told 9.
SECTION_FEED_EXPORT gate_result check_section(const std::uint8_t* section, std::size_t size,
                                              gate_options options = {});

}  // namespace orvix::section_feed
