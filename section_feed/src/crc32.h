#pragma once

#include <cstddef>
#include <cstdint>

namespace orvix::section_feed {

/// The CRC_32 of a section's bytes (ISO/IEC 13818-1 Annex A).
std::uint32_t crc32(const std::uint8_t* bytes, std::size_t size);

}  // namespace orvix::section_feed
