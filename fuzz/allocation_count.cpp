#include "allocation_count.h"

#include <sanitizer/allocator_interface.h>

namespace orvix::fuzz {

namespace {

// libFuzzer's own threads allocate, too.
thread_local bool is_counting = false;
thread_local std::size_t bytes_so_far = 0;

void count_allocation(const volatile void* /*block*/, std::size_t size) {
    if (is_counting) bytes_so_far += size;
}

void ignore_deallocation(const volatile void* /*block*/) {}

// AddressSanitizer's allocator tells: operator new stays what it is, and every library is seen.
[[maybe_unused]] const int installed =
    __sanitizer_install_malloc_and_free_hooks(count_allocation, ignore_deallocation);

}  // namespace

allocation_count::allocation_count() {
    bytes_so_far = 0;
    is_counting = true;
}

allocation_count::~allocation_count() { is_counting = false; }

std::size_t allocation_count::bytes() const { return bytes_so_far; }

}  // namespace orvix::fuzz
