#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace orvix::broadcast {

/// A few words that are put together for one value, without an allocation. What does not fit is
/// cut off.
class short_text {
public:
    short_text() = default;
    short_text(std::string_view words) { append(words); }
    short_text(const char* words) { append(words); }

    short_text& append(std::string_view words) {
        const std::size_t count = std::min(words.size(), bytes_.size() - size_);
        std::copy_n(words.data(), count, bytes_.data() + size_);
        size_ += count;
        return *this;
    }
    short_text& append(char letter) { return append({&letter, 1}); }

    std::string_view view() const { return {bytes_.data(), size_}; }
    operator std::string_view() const { return view(); }

    friend bool operator==(const short_text& a, std::string_view b) { return a.view() == b; }
    friend bool operator!=(const short_text& a, std::string_view b) { return a.view() != b; }

private:
    static constexpr std::size_t capacity = 64;

    std::array<char, capacity> bytes_;  // only what `size_` counts is ever read
    std::size_t size_ = 0;
};

}  // namespace orvix::broadcast
