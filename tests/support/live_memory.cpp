#include "live_memory.h"

#include <cstdlib>
#include <new>

namespace {

std::size_t live = 0;

constexpr std::size_t header = alignof(std::max_align_t);

void* allocate(std::size_t size) {
    auto* const block = static_cast<unsigned char*>(std::malloc(header + size));
    if (block == nullptr) throw std::bad_alloc();
    *reinterpret_cast<std::size_t*>(block) = size;
    live += size;
    return block + header;
}

void release(void* memory) noexcept {
    if (memory == nullptr) return;
    auto* const block = static_cast<unsigned char*>(memory) - header;
    live -= *reinterpret_cast<std::size_t*>(block);
    std::free(block);
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept try {
    return allocate(size);
} catch (const std::bad_alloc&) {
    return nullptr;
}
void operator delete(void* block) noexcept { release(block); }
void operator delete[](void* block) noexcept { release(block); }
void operator delete(void* block, std::size_t) noexcept { release(block); }
void operator delete[](void* block, std::size_t) noexcept { release(block); }

namespace orvix::test {

std::size_t live_bytes() { return live; }

}  // namespace orvix::test
