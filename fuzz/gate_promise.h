#pragma once

#include <cstddef>
#include <cstdint>

namespace orvix::fuzz {

/// Asks the gate about a section and holds it to its promise: what it admits is parsed from a heap
/// block of exactly `size` bytes, and neither allocates more than documented nor throws. Aborts,
/// with a sentence on standard error, where the promise is broken.
void hold_gate_to_its_promise(const std::uint8_t* section, std::size_t size);

/// The library writes no log.
void silence_log();

}  // namespace orvix::fuzz
