#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

// Runs of ASCII, eight characters at a time: nearly all that is written is ASCII.
namespace orvix::si_inspect {

constexpr std::uint64_t eight_times(unsigned char byte) { return 0x0101010101010101u * byte; }

/// Whether eight bytes are from ' ' to '~'. A byte that is not sets its high bit, and at most that
/// of bytes behind it.
constexpr bool are_printable(std::uint64_t eight) {
    const std::uint64_t others = eight | (eight - eight_times(' ')) | (eight + eight_times(1));
    return (others & eight_times(0x80)) == 0;
}
/// Whether one of eight ASCII bytes is `c`.
constexpr bool is_among(unsigned char c, std::uint64_t eight) {
    return (((eight ^ eight_times(c)) - eight_times(1)) & eight_times(0x80)) != 0;
}

/// How many of the first bytes fit: `all_fit` looks at eight, `fits` at one.
template <typename AllFit, typename Fits>
std::size_t run_length(std::string_view bytes, AllFit all_fit, Fits fits) {
    constexpr std::size_t word = 8;
    const auto fit_at = [&](std::size_t i) {
        std::uint64_t eight;
        std::memcpy(&eight, bytes.data() + i, word);
        return all_fit(eight);
    };
    std::size_t length = 0;
    while (bytes.size() - length >= word && fit_at(length)) length += word;
    if (bytes.size() > word && bytes.size() - length < word && fit_at(bytes.size() - word)) {
        return bytes.size();
    }
    while (length < bytes.size() && fits(bytes[length])) ++length;
    return length;
}

inline bool is_printable_ascii(char c) { return c >= ' ' && c <= '~'; }

/// How many of the first bytes are printable ASCII.
inline std::size_t printable_ascii(std::string_view bytes) {
    return run_length(
        bytes, [](std::uint64_t eight) { return are_printable(eight); },
        [](char c) { return is_printable_ascii(c); });
}

}  // namespace orvix::si_inspect
