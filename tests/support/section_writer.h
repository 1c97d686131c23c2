#pragma once

// Writes sections field by field, with the widths that the standards give.

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace orvix::test {

using bytes = std::vector<std::uint8_t>;

inline bytes operator+(bytes left, const bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// The bytes of a text, as they stand.
bytes raw(const std::string& text);

/// Most significant bit first. Whole bytes must be complete when the writer is read or appended to.
class section_writer {
public:
    section_writer& bits(int width, std::uint64_t value);
    section_writer& append(const bytes& more);
    section_writer& append(const std::string& text);

    operator bytes() const { return written_; }  // NOLINT: a writer stands for its bytes

private:
    bytes written_;
    int bits_in_last_byte_ = 8;
};

/// A descriptor: tag, the length of `body`, `body`.
bytes descriptor(std::uint8_t tag, const bytes& body = {});

/// Four set reserved bits, a 12-bit length, and the bytes it counts.
bytes loop12(const bytes& content);

/// A section with the long header, its section_length and CRC_32 right.
struct long_header {
    std::uint8_t version_number = 0;
    std::uint8_t current_next_indicator = 1;
    std::uint8_t section_number = 0;
    std::uint8_t last_section_number = 0;
};
bytes long_section(std::uint8_t table_id, std::uint16_t table_id_extension, const bytes& body,
                   const long_header& header = {});

/// A section with the short header (section_syntax_indicator 0), its section_length right. `body`
/// is all that follows section_length.
bytes short_section(std::uint8_t table_id, const bytes& body);

/// `section` with the CRC_32 of its bytes behind it, or with its last four bytes made right.
bytes with_crc(bytes section);
void repair_crc(bytes& section);
std::uint32_t crc32_mpeg(const std::uint8_t* data, std::size_t size);

}  // namespace orvix::test
