#pragma once

#include <si_parser/descriptors.h>

#include <boost/smart_ptr/detail/sp_counted_impl.hpp>
#include <cstddef>
#include <new>

#include "recycling.h"

namespace orvix::si_parser {

/// Ends a descriptor's life. Its memory goes with its control block, once no weak handle is left.
struct end_of_life {
    void operator()(descriptor* d) const { d->~descriptor(); }
};

/// Has the control block of a descriptor's handles lie in front of the descriptor, in one block of
/// memory that goes with it. It is of one type for all descriptors, where boost::make_shared would
/// make one for each class.
template <typename T>
class block_front {
public:
    using value_type = T;

    block_front(void* block, std::size_t size) : block_(block), size_(size) {}
    template <typename Other>
    block_front(const block_front<Other>& other) : block_(other.block()), size_(other.size()) {}

    T* allocate(std::size_t /*one*/);
    void deallocate(T* /*control_block*/, std::size_t /*one*/) {
        recycling::give_back(block_, size_);
    }
    void* block() const { return block_; }
    std::size_t size() const { return size_; }

private:
    void* block_;
    std::size_t size_;
};

/// How far behind the front of its block a descriptor lies.
constexpr std::size_t room_in_front = [] {
    using control_block =
        boost::detail::sp_counted_impl_pda<descriptor*, end_of_life, block_front<descriptor>>;
    constexpr std::size_t alignment = alignof(std::max_align_t);
    return (sizeof(control_block) + alignment - 1) / alignment * alignment;
}();

template <typename T>
T* block_front<T>::allocate(std::size_t /*one*/) {
    static_assert(sizeof(T) <= room_in_front);
    return static_cast<T*>(block_);
}

/// A descriptor with what all of them have filled in, and its first handle.
template <typename T>
struct new_descriptor {
    explicit new_descriptor(unsigned char* p) {
        constexpr std::size_t size = room_in_front + sizeof(T);
        static_assert(size <= recycling::largest_size);
        void* const block = recycling::take(size);
        body = ::new (static_cast<char*>(block) + room_in_front) T;
        body->tag = p[0];
        body->data = p;
        body->length = p[1];
        handle = descriptor_ptr(static_cast<descriptor*>(body), end_of_life(),
                                block_front<descriptor>(block, size));
    }

    T* body;
    descriptor_ptr handle;
};

}  // namespace orvix::si_parser
