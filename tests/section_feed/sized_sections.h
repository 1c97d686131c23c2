#pragma once

// Sections that the gate admits, of any wanted size and told apart by a number.

#include <section_writer.h>

#include <algorithm>
#include <cstdint>

namespace orvix::test {

/// A PAT section; `size` is a multiple of four from 12 to 1024.
inline bytes sized_pat(std::uint16_t number, std::size_t size = 16) {
    section_writer programs;
    for (std::size_t at = 12; at < size; at += 4) {
        programs.bits(16, number).bits(3, 0x7).bits(13, at);  // program_number, program_map_PID
    }
    return long_section(0x00, number, programs);
}

/// An EIT section of 32 to 4096 bytes: one event filled up with descriptors of an unknown tag.
inline bytes sized_eit(std::uint32_t number, std::size_t size) {
    constexpr std::size_t without_descriptors = 8 + 6 + 12 + 4;
    bytes descriptors;
    std::size_t left = size - without_descriptors;
    while (left > 0) {
        std::size_t body = std::min<std::size_t>(left - 2, 255);
        if (left - 2 - body == 1) --body;  // one byte is no descriptor
        descriptors = std::move(descriptors) + descriptor(0xFE, bytes(body, 0x5A));
        left -= 2 + body;
    }
    return long_section(0x50, static_cast<std::uint16_t>(number >> 16),
                        section_writer()
                            .bits(16, 1)                // transport_stream_id
                            .bits(16, 1)                // original_network_id
                            .bits(8, 0)                 // segment_last_section_number
                            .bits(8, 0x50)              // last_table_id
                            .bits(16, number & 0xFFFF)  // event_id
                            .bits(40, 0)                // start_time
                            .bits(24, 0)                // duration
                            .bits(4, 0)                 // running_status, free_CA_mode
                            .bits(12, descriptors.size())
                            .append(descriptors));
}

}  // namespace orvix::test
