#pragma once

// Where a section keeps what a mutator likes to change: tags, lengths and counts. Found with the
// standards' arithmetic, as far as the section's bytes go.

#include <section_writer.h>

#include <cstddef>
#include <vector>

namespace orvix::fuzz {

struct section_field {
    enum class kind {
        tag,       ///< descriptor_tag, 8 bits
        length8,   ///< a whole byte
        length12,  ///< the low 12 bits of two bytes
        flags,     ///< a byte of flags, counts or an identifier that decides what follows
    };
    kind what;
    std::size_t at;
    /// Of a length: where the bytes begin that it counts, and how many it says there are.
    std::size_t counted_from = 0;
    std::size_t value = 0;
};

std::vector<section_field> find_fields(const test::bytes& section);

}  // namespace orvix::fuzz
