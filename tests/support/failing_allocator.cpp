#include "failing_allocator.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

long handed_out = 0;
long given_back = 0;
long until_failure = 0;  // 0: none fails
long failures_left = 0;
long failures = 0;

bool is_to_fail() {
    if (failures_left == 0 || until_failure == 0) return false;
    if (until_failure > 1) {
        --until_failure;
        return false;
    }
    --failures_left;
    ++failures;
    return true;
}

void* allocate(std::size_t size) {
    if (is_to_fail()) throw std::bad_alloc();
    void* const block = std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) throw std::bad_alloc();
    ++handed_out;
    return block;
}

void release(void* block) noexcept {
    if (block == nullptr) return;
    ++given_back;
    std::free(block);
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* block) noexcept { release(block); }
void operator delete[](void* block) noexcept { release(block); }
void operator delete(void* block, std::size_t) noexcept { release(block); }
void operator delete[](void* block, std::size_t) noexcept { release(block); }

namespace orvix::test {

long allocations() { return handed_out; }

long live_blocks() { return handed_out - given_back; }

failing_allocations::failing_allocations(long n, long count) {
    failures = 0;
    failures_left = count;
    until_failure = n;
}

failing_allocations::~failing_allocations() { failures_left = 0; }

long failing_allocations::failed() const { return failures; }

}  // namespace orvix::test
