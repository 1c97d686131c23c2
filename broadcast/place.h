#pragma once

#include <section_feed/section_gate.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace orvix::broadcast {

/// Where a section was found.
struct place {
    std::string file;  ///< empty where only one input is read
    /// The number of the packet in which the section ended. In a file of bare sections, the number
    /// of the section. Both count from 0.
    std::uint64_t number = 0;
    std::optional<std::uint16_t> pid;  ///< none in a file of bare sections
    bool crc_error = false;            ///< admitted although its CRC_32 is wrong
};

/// A section that the gate refused; valid during the call that hands it over.
struct refusal {
    const section_feed::gate_result& why;
    const std::uint8_t* section = nullptr;
    std::size_t size = 0;
};

}  // namespace orvix::broadcast
