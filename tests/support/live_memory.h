#pragma once

// Replaces the global allocator of a program by one that counts. For tests of one thread; each adds
// live_memory.cpp to its own sources.

#include <cstddef>

namespace orvix::test {

/// Bytes that operator new has handed out and that were not given back.
std::size_t live_bytes();

}  // namespace orvix::test
