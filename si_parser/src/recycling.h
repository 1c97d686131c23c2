#pragma once

#include <si_parser/descriptors.h>

#include <array>
#include <boost/container/static_vector.hpp>
#include <cstddef>
#include <new>

namespace orvix::si_parser {

/// While one lives, the memory of descriptors and of their lists that its thread gives back waits
/// in it for those that the thread makes. Each parse has one, and so its table's new contents take
/// the place of the old ones. It frees what is left: from parse to parse, only tables keep
/// anything.
class recycling {
public:
    recycling() : outer_(current) { current = this; }
    ~recycling();
    recycling(const recycling&) = delete;
    recycling& operator=(const recycling&) = delete;

    /// No descriptor needs a larger block.
    static constexpr std::size_t largest_size = 32 * sizeof(void*);

    /// Memory for a descriptor. Throws std::bad_alloc.
    static void* take(std::size_t size);
    /// `size` is what it was taken with.
    static void give_back(void* block, std::size_t size);

    /// Empties the descriptor lists of records that are about to go.
    template <typename Records>
    static void give_back_lists(Records& records) {
        recycling* const to = current;
        if (to == nullptr) return;
        for (auto& record : records) {
            if (record.descriptors.capacity() != 0) to->keep(record.descriptors);
        }
    }
    /// Gives capacity to a list that has none, if there is any.
    static void take_list(descriptor_list& list);

private:
    struct unused_block {
        unused_block* next;
    };

    // Block sizes are multiples of this, as those of the heap mostly are.
    static constexpr std::size_t step = 2 * sizeof(void*);
    static constexpr std::size_t most_lists = 16;
    // What one long loop took is not handed on to short ones.
    static constexpr std::size_t longest_list = 32;

    static constexpr std::size_t size_class(std::size_t size) { return (size - 1) / step; }

    void keep(descriptor_list& list);

    static inline thread_local recycling* current = nullptr;

    recycling* const outer_;
    std::array<unused_block*, largest_size / step> blocks_ = {};
    std::size_t waiting_ = 0;  // in all classes
    boost::container::static_vector<descriptor_list, most_lists> lists_;
    std::size_t lists_taken_ = 0;
};

inline void* recycling::take(std::size_t size) {
    const std::size_t i = size_class(size);
    recycling* const from = current;
    if (from == nullptr || from->blocks_[i] == nullptr) return operator new((i + 1) * step);
    unused_block* const block = from->blocks_[i];
    from->blocks_[i] = block->next;
    --from->waiting_;
    return block;
}

inline void recycling::give_back(void* block, std::size_t size) {
    recycling* const to = current;
    if (to == nullptr) return operator delete(block);
    unused_block*& first = to->blocks_[size_class(size)];
    first = ::new (block) unused_block{first};
    ++to->waiting_;
}

}  // namespace orvix::si_parser
