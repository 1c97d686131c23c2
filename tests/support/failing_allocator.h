#pragma once

// Replaces the global allocator of a program by one that counts, and fails when told to. For tests
// of one thread; each adds failing_allocator.cpp to its own sources.

#include <limits>

namespace orvix::test {

/// Blocks that operator new has handed out so far.
long allocations();

/// Those of them that were not given back.
long live_blocks();

/// Lets allocations of its scope fail with std::bad_alloc: the n-th, and `count - 1` behind it.
class failing_allocations {
public:
    static constexpr long all_that_follow = std::numeric_limits<long>::max();

    explicit failing_allocations(long n, long count = 1);
    ~failing_allocations();
    failing_allocations(const failing_allocations&) = delete;
    failing_allocations& operator=(const failing_allocations&) = delete;

    /// How many failed so far.
    long failed() const;
};

}  // namespace orvix::test
