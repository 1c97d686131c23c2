#pragma once

// What biTStream's accessors leave to the caller: whether the field is there at all.

#include <bitstream/mpeg/ts.h>

#include <cstdint>

namespace orvix::section_feed {

inline bool discontinuity_announced(const std::uint8_t* packet) {
    return ts_has_adaptation(packet) && ts_get_adaptation(packet) > 0 &&
           tsaf_has_discontinuity(packet);
}

inline bool carries_pcr(const std::uint8_t* packet) {
    constexpr std::uint8_t flags_and_pcr = 7;
    return ts_has_adaptation(packet) && ts_get_adaptation(packet) >= flags_and_pcr &&
           tsaf_has_pcr(packet);
}

}  // namespace orvix::section_feed
