#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace orvix::broadcast {

/// What the SDT announces of a service's events, by the broadcast standard: the receiver reads
/// other bits.
struct eit_flags {
    std::uint16_t service_id = 0;
    bool present_following = false;
    bool schedule = false;
};

/// Of each service in a section of an SDT, as sent.
std::vector<eit_flags> eit_flags_of(const std::uint8_t* sdt, std::size_t size);

}  // namespace orvix::broadcast
