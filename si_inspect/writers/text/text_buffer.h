#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace orvix::si_inspect {

/// Text that grows at its end, of many short pieces: each costs a comparison and a copy, where a
/// std::string has a call and more. Its memory serves the next text as well.
class text_buffer {
public:
    text_buffer& append(std::string_view piece) {
        std::copy(piece.begin(), piece.end(), push(piece.size()));
        return *this;
    }
    text_buffer& operator+=(std::string_view piece) { return append(piece); }
    text_buffer& operator+=(char c) {
        *push(1) = c;
        return *this;
    }
    void spaces(std::size_t count) {
        constexpr std::string_view some = "                ";
        make_room(count + some.size());
        for (std::size_t i = 0; i < count; i += some.size()) {
            std::memcpy(bytes_.data() + size_ + i, some.data(), some.size());
        }
        size_ += count;
    }
    /// Room for `count` bytes, which the caller writes at once.
    char* push(std::size_t count) {
        make_room(count);
        size_ += count;
        return bytes_.data() + size_ - count;
    }

    std::string_view view() const { return {bytes_.data(), size_}; }
    std::size_t size() const { return size_; }
    void shorten(std::size_t size) { size_ = size; }
    /// Keeps memory for the next text, but not that of a rare long one.
    void clear() {
        constexpr std::size_t most_bytes_kept = 256 * 1024;
        if (bytes_.size() > most_bytes_kept) bytes_ = {};
        size_ = 0;
    }

private:
    void make_room(std::size_t count) {
        if (bytes_.size() - size_ < count) grow(count);
    }
    void grow(std::size_t count);

    std::string bytes_;  ///< all that there is room for
    std::size_t size_ = 0;
};

}  // namespace orvix::si_inspect
