#include "crc32.h"

#include <array>

namespace orvix::section_feed {

namespace {

constexpr std::size_t stride = 8;

/// tables[k][b]: what a byte b adds to the CRC once k more bytes have gone by.
using crc_tables = std::array<std::array<std::uint32_t, 256>, stride>;

constexpr crc_tables make_tables() {
    constexpr std::uint32_t polynomial = 0x04C11DB7;
    crc_tables tables = {};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t crc = byte << 24;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 0x80000000) != 0 ? crc << 1 ^ polynomial : crc << 1;
        }
        tables[0][byte] = crc;
    }
    for (std::size_t k = 1; k < stride; ++k) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t before = tables[k - 1][byte];
            tables[k][byte] = before << 8 ^ tables[0][before >> 24];
        }
    }
    return tables;
}

constexpr crc_tables tables = make_tables();

}  // namespace

// Eight bytes at a time: byte by byte, the CRC alone would cost more than the parse of some tables.
std::uint32_t crc32(const std::uint8_t* bytes, std::size_t size) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (; size >= stride; bytes += stride, size -= stride) {
        crc = tables[7][bytes[0] ^ crc >> 24] ^ tables[6][bytes[1] ^ (crc >> 16 & 0xFF)] ^
              tables[5][bytes[2] ^ (crc >> 8 & 0xFF)] ^ tables[4][bytes[3] ^ (crc & 0xFF)] ^
              tables[3][bytes[4]] ^ tables[2][bytes[5]] ^ tables[1][bytes[6]] ^ tables[0][bytes[7]];
    }
    for (; size > 0; ++bytes, --size) crc = crc << 8 ^ tables[0][*bytes ^ crc >> 24];
    return crc;
}

}  // namespace orvix::section_feed
