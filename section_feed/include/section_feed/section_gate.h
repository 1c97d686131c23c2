#pragma once

#include <section_feed/export.h>

#include <cstddef>
#include <cstdint>
#include <string>

/// Whole and checked sections out of a transport stream.
namespace orvix::section_feed {

/// Why a section must not be parsed; `admitted` when it may.
enum class verdict : std::uint8_t {
    admitted,
    not_decoded,      ///< of a table that the parser does not decode; nothing else was looked at
    too_short,        ///< ends within fields of a fixed size that the parser reads
    length_mismatch,  ///< section_length + 3, where the parser looks at it, is not `size`
    crc_mismatch,     ///< the CRC_32 is wrong
    overrun,          ///< a length leads the parser behind the section's end
    endless,          ///< the parse would never end
};
constexpr std::size_t verdicts = 7;  ///< how many there are

/// The verdict's name, as written above.
SECTION_FEED_EXPORT const char* to_string(verdict why);

/// What the gate is to ask besides what the parser needs.
struct gate_options {
    /// Whether a wrong CRC_32 refuses a section. Clear it where the hardware has checked it, or
    /// where damaged sections are to be looked at.
    bool check_crc = true;
};

/// What the gate found. Cheap to copy: it refers to constant texts only.
struct SECTION_FEED_EXPORT gate_result {
    verdict why = verdict::admitted;  ///< the first reason that was found
    std::uint32_t byte = 0;           ///< offset of the offending field, from table_id

    const char* table = "";  ///< "PMT", "EIT", ...; empty where no table is known
    /// The field, or the fields of a fixed size, as the standards name them.
    const char* field = "";
    /// What the field says; for `too_short` the bytes that the fields take.
    std::uint32_t value = 0;
    /// What the value broke: the section's size, for `crc_mismatch` the CRC_32 that would be right,
    /// for `endless` the byte that the parser's cursor cannot pass.
    std::uint32_t limit = 0;

    /// Whether the section may be parsed.
    bool admitted() const { return why == verdict::admitted; }
    /// One sentence for an engineer: table, field, value, place and limit. Empty when admitted.
    std::string text() const;
};

/// Whether `libsi_parser` may be handed this section: whether it reads only inside `size` bytes,
/// and ends. Sections that its header check would refuse, and those with a wrong CRC_32, are
/// refused too; whatever is merely unusual is admitted. Of a section without
/// section_syntax_indicator, which the parser passes over, only the CRC_32 is asked. Never reads
/// outside `section[0, size)`, never allocates.
///
/// What cannot be admitted although it is well formed: a PMT of 260 bytes or more, and a section in
/// which the parser's own reading of a field leads outside (the CRC_32 of a TOT with an empty loop,
/// read as a descriptor; the characters of an IP transport's URL, read as lengths).
///
/// Parsing an admitted section allocates at most 64 KiB per byte of the section. Sections from the
/// air take 3 bytes per byte, few more than 20; the hungriest that is known 3.2 KiB.
///
/// A Time and Date Table is admitted with its 8 bytes, which `tdt::parse` wants to be told are 9.
SECTION_FEED_EXPORT gate_result check_section(const std::uint8_t* section, std::size_t size,
                                              gate_options options = {});

}  // namespace orvix::section_feed
