#pragma once

#include <cstddef>

namespace orvix::fuzz {

/// What this thread allocates while the object lives, all sizes added up: what is given back
/// meanwhile counts, too. One at a time.
class allocation_count {
public:
    allocation_count();
    ~allocation_count();
    allocation_count(const allocation_count&) = delete;
    allocation_count& operator=(const allocation_count&) = delete;

    std::size_t bytes() const;
};

}  // namespace orvix::fuzz
