#include "recycling.h"

#include <utility>

namespace orvix::si_parser {

recycling::~recycling() {
    current = outer_;
    if (waiting_ == 0) return;
    for (unused_block* block : blocks_) {
        while (block != nullptr) {
            unused_block* const next = block->next;
            operator delete(block);
            block = next;
        }
    }
}

void recycling::keep(descriptor_list& list) {
    list.clear();
    if (list.capacity() <= longest_list && lists_.size() < most_lists) {
        lists_.push_back(std::move(list));
    }
}

void recycling::take_list(descriptor_list& list) {
    recycling* const from = current;
    if (from != nullptr && from->lists_taken_ < from->lists_.size()) {
        list.swap(from->lists_[from->lists_taken_++]);
    }
}

}  // namespace orvix::si_parser
