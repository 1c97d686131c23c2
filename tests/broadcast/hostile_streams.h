#pragma once

// Streams that no station sends. Each makes something grow that a program keeps of a broadcast, or
// makes it look through all that it keeps, section for section.

#include <section_writer.h>

#include <cstdint>
#include <string>
#include <vector>

namespace orvix::test {

struct sent_section {
    std::uint16_t pid = 0;
    bytes section;  ///< the gate refuses only those of "refusals-all-different"
};

/// An endless stream. What it sends as its `number`th section, counted from 0, depends on nothing
/// else.
struct hostile_stream {
    const char* name;
    const char* what;
    sent_section (*section)(std::uint32_t number);
};

const std::vector<hostile_stream>& hostile_streams();
/// Throws std::out_of_range where there is none of this name.
const hostile_stream& hostile_stream_of(const std::string& name);

}  // namespace orvix::test
