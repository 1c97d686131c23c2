#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace orvix::broadcast {

/// Some bytes of a section. A length that says more than there are gets what there is.
class span {
public:
    span() = default;
    span(const std::uint8_t* begin, std::size_t size) : begin_(begin), size_(size) {}

    const std::uint8_t* begin() const { return begin_; }
    const std::uint8_t* end() const { return begin_ + size_; }
    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }

    span first(std::size_t count) const { return {begin_, std::min(count, size_)}; }
    span behind(std::size_t count) const {
        const std::size_t skipped = std::min(count, size_);
        return {begin_ + skipped, size_ - skipped};
    }

    // Unchecked: whoever asks knows that the bytes are there.
    unsigned int u8(std::size_t at) const { return begin_[at]; }
    unsigned int u16(std::size_t at) const { return u8(at) << 8 | u8(at + 1); }

private:
    const std::uint8_t* begin_ = nullptr;
    std::size_t size_ = 0;
};

}  // namespace orvix::broadcast
