#include "section_writer.h"

#include <stdexcept>

namespace orvix::test {

bytes raw(const std::string& text) { return bytes(text.begin(), text.end()); }

section_writer& section_writer::bits(int width, std::uint64_t value) {
    if (width < 64 && value >> width != 0) throw std::out_of_range("value wider than its field");
    for (int bit = width - 1; bit >= 0; --bit) {
        if (bits_in_last_byte_ == 8) {
            written_.push_back(0);
            bits_in_last_byte_ = 0;
        }
        const auto shifted = static_cast<std::uint8_t>(written_.back() << 1);
        written_.back() = static_cast<std::uint8_t>(shifted | (value >> bit & 1));
        ++bits_in_last_byte_;
    }
    return *this;
}

section_writer& section_writer::append(const bytes& more) {
    if (bits_in_last_byte_ != 8) throw std::logic_error("a byte is incomplete");
    written_.insert(written_.end(), more.begin(), more.end());
    return *this;
}

section_writer& section_writer::append(const std::string& text) { return append(raw(text)); }

bytes descriptor(std::uint8_t tag, const bytes& body) {
    return section_writer().bits(8, tag).bits(8, body.size()).append(body);
}

bytes loop12(const bytes& content) {
    return section_writer().bits(4, 0xF).bits(12, content.size()).append(content);
}

bytes long_section(std::uint8_t table_id, std::uint16_t table_id_extension, const bytes& body,
                   const long_header& header) {
    constexpr std::size_t header_behind_length = 5;
    constexpr std::size_t crc_size = 4;
    return with_crc(section_writer()
                        .bits(8, table_id)
                        .bits(1, 1)    // section_syntax_indicator
                        .bits(1, 0)    // '0' or reserved_future_use
                        .bits(2, 0x3)  // reserved
                        .bits(12, header_behind_length + body.size() + crc_size)
                        .bits(16, table_id_extension)
                        .bits(2, 0x3)  // reserved
                        .bits(5, header.version_number)
                        .bits(1, header.current_next_indicator)
                        .bits(8, header.section_number)
                        .bits(8, header.last_section_number)
                        .append(body));
}

bytes short_section(std::uint8_t table_id, const bytes& body) {
    return section_writer()
        .bits(8, table_id)
        .bits(1, 0)    // section_syntax_indicator
        .bits(1, 1)    // reserved_future_use
        .bits(2, 0x3)  // reserved
        .bits(12, body.size())
        .append(body);
}

std::uint32_t crc32_mpeg(const std::uint8_t* data, std::size_t size) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (std::size_t i = 0; i < size; ++i) {
        crc ^= static_cast<std::uint32_t>(data[i]) << 24;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 0x80000000) != 0 ? crc << 1 ^ 0x04C11DB7 : crc << 1;
        }
    }
    return crc;
}

bytes with_crc(bytes section) {
    section.resize(section.size() + 4);
    repair_crc(section);
    return section;
}

void repair_crc(bytes& section) {
    const std::size_t end = section.size() - 4;
    const std::uint32_t crc = crc32_mpeg(section.data(), end);
    for (std::size_t i = 0; i < 4; ++i) {
        section[end + i] = static_cast<std::uint8_t>(crc >> (24 - 8 * i));
    }
}

}  // namespace orvix::test
