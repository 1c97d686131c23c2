#pragma once

#include <si_parser/descriptors.h>
#include <si_parser/export.h>

#include <cstdint>
#include <ctime>
#include <utility>

/// Tables and descriptors of an ISDB-Tb broadcast's service information as plain objects.
namespace orvix::si_parser {

/// What all tables share: the long section header (ISO/IEC 13818-1 2.4.4.10), the table-level
/// descriptors, and the helpers that decode a section's body.
///
/// A table object holds one section. It is reused: every `parse` empties it first, and what it
/// reads takes the memory of those descriptors that nothing else holds. Lengths inside a section
/// are trusted and the CRC_32 is never checked: hand in only sections that `section_feed` admitted.
/// One thread at a time per object.
class SI_PARSER_EXPORT psi_table {
public:
    psi_table();
    virtual ~psi_table();

    /// Decodes one whole section of `size` bytes; `buffer` points at its table_id. The base does
    /// nothing. No table keeps `buffer`, but for each descriptor's `data`. Out of memory,
    /// std::bad_alloc passes through: the whole records read so far are held, and the next `parse`
    /// works.
    virtual void parse(unsigned char* buffer, unsigned int size);

    /// Drops the table-level descriptors and sets `cleared`. The header fields stay until the next
    /// `parse_header`.
    virtual void clear();

    uint32_t reserved = 0;            ///< neither read nor written; keeps the fields where they are
    uint32_t table_id = 0;            ///< 8 bits
    uint32_t section_size = 0;        ///< bytes, CRC_32 included: section_length + 3
    uint32_t version_number = 0;      ///< 5 bits
    uint32_t table_id_extension = 0;  ///< 16 bits, with a meaning of its own in each table
    /// 0 or 1; a section that is not yet valid is decoded too.
    uint32_t current_next_indicator = 0;
    uint32_t section_number = 0;       ///< 8 bits
    uint32_t last_section_number = 0;  ///< 8 bits
    /// True after `clear`, false once `parse_header` has seen enough bytes. `tdt` and `tot` have no
    /// long header and leave it true.
    bool cleared = true;
    /// The table's own loop, in section order; a record's loop is in the record.
    descriptor_list descriptors;

    /// `descriptors` itself, not a copy.
    descriptor_list& get_descriptors();

    /// The first table-level descriptor of this tag, or an empty handle.
    descriptor_ptr get_descriptor(unsigned int tag) const;
    /// The first descriptor of this tag in `list`, or an empty handle. `list` must not hold empty
    /// handles: one aborts with "px != 0".
    descriptor_ptr get_descriptor_from(unsigned int tag, descriptor_list list) const;

    /// The same, down-cast: empty also where the first descriptor of this tag is not a `T`.
    template <typename T>
    boost::shared_ptr<T> get_descriptor(unsigned int tag) const {
        return boost::dynamic_pointer_cast<T>(get_descriptor(tag));
    }
    /// The same, down-cast: empty also where the first descriptor of this tag is not a `T`.
    template <typename T>
    boost::shared_ptr<T> get_descriptor_from(unsigned int tag, descriptor_list list) const {
        return boost::dynamic_pointer_cast<T>(get_descriptor_from(tag, std::move(list)));
    }

    // --- For derived tables ---

    /// Decodes the long section header. Throws std::runtime_error, after an ERROR log line in
    /// "si_parser": "parse_header: short buffer" below 7 bytes, with no field changed, and
    /// "parse_header: section length != size" when `size` is not section_length + 3, with the
    /// header fields holding the refused section's. Byte 7 is read even when `size` is 7.
    void parse_header(unsigned char* buffer, unsigned int size);

    /// Walks a descriptor loop of `length` bytes and appends a handle per known descriptor to
    /// `descriptors`. The first descriptor is taken whenever `length` is not 0, and one that
    /// overruns `length` is read whole: the bytes behind the loop must be readable then. Throws
    /// only std::bad_alloc; what was appended before it stays.
    void _parse_descriptors(unsigned char* loop, unsigned int length);
    /// The same walk with another list as its target.
    void _parse_descriptors_into(unsigned char* loop, unsigned int length, descriptor_list& into);

    /// Writes the bytes to the log (INFO, "isdtv_ts"), eight to a line. Lines are always full: up
    /// to seven bytes past `size` are read.
    __attribute__((cold)) void _hex_dump(unsigned char* buffer, unsigned int size);

    /// Seconds of a 3-byte BCD time hhmmss at `buffer + offset`; no digit is checked.
    static time_t iso_time_to_time_t(unsigned char* buffer, unsigned int offset);
    /// Seconds since 1970-01-01 00:00:00, on the broadcast's own clock, of a 5-byte date and time
    /// (EN 300 468 Annex C: Modified Julian Date, then BCD hhmmss) at `buffer + offset`. The value
    /// is a signed 32-bit one on every machine and wraps in 2038; an undefined time (all ones) is
    /// converted like any other, to -2138856031.
    static time_t full_mjd_to_time_t(unsigned char* buffer, unsigned int offset);
};

}  // namespace orvix::si_parser
