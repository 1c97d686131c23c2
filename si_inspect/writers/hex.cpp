#include "writers/hex.h"

#include <array>

namespace orvix::si_inspect {

namespace {

constexpr std::string_view upper_digits = "0123456789ABCDEF";

}  // namespace

void write_hex(char* to, std::string_view bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        *to++ = digits[byte >> 4];
        *to++ = digits[byte & 0xF];
    }
}

void append_hex_digits(std::string& to, std::uint32_t value, int digits) {
    for (int i = digits - 1; i >= 0; --i) to += upper_digits[value >> 4 * i & 0xF];
}

char* write_hex_number(char* to, std::uint32_t value, int least_digits) {
    int count = least_digits;
    while (count < 8 && value >> 4 * count != 0) ++count;
    *to++ = '0';
    *to++ = 'x';
    for (int i = count - 1; i >= 0; --i) *to++ = upper_digits[value >> 4 * i & 0xF];
    return to;
}

std::string hex_number(std::uint32_t value, int least_digits) {
    std::array<char, 10> text;
    return {text.data(), write_hex_number(text.data(), value, least_digits)};
}

}  // namespace orvix::si_inspect
