#pragma once

#include <cstdint>
#include <ctime>
#include <optional>

#include "readings.h"

namespace orvix::broadcast {

/// The difference between a time as it was sent, Modified Julian Date and BCD digits in 40 bits,
/// and what the receiver's 32 bits make of it. None up to 2038-01-19, and for an undefined time.
std::optional<difference> time_difference(field_place at, std::uint64_t sent, std::time_t received);

}  // namespace orvix::broadcast
