#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "span.h"

namespace orvix::broadcast {

/// One entry of a table's loop, where the broadcast standards have it.
struct sent_record {
    const std::uint8_t* entry = nullptr;  ///< its fields of a fixed size are all there
    span descriptors;
};

/// A section's loops by the broadcast standards: what the lengths say, as far as the section goes.
struct section_loops {
    span descriptors;                  ///< the table's own
    std::vector<sent_record> records;  ///< as sent
    /// Whether every length fits: entries and descriptors end where their loops do.
    bool well_formed = true;
};

/// Of a section with its header there; one that ends earlier has no loops.
section_loops find_loops(const std::uint8_t* section, std::size_t size);

/// Calls `visit` with each descriptor of a loop; the last one may be cut off by the loop's end.
template <typename Visit>
void for_each_descriptor(span loop, Visit visit) {
    constexpr std::size_t header = 2;
    while (loop.size() >= header) {
        const std::size_t size = header + loop.u8(1);
        visit(loop.first(size));
        loop = loop.behind(size);
    }
}

}  // namespace orvix::broadcast
