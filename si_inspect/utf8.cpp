#include "utf8.h"

namespace orvix::si_inspect {

namespace {

/// How many bytes a character has and what its second one may be, by its first byte: this leaves
/// out longer forms than needed, halves of surrogate pairs and what is beyond U+10FFFF.
struct form {
    std::size_t size;
    unsigned char smallest_second = 0x80;
    unsigned char largest_second = 0xBF;
};

form form_of(unsigned char first) {
    if (first < 0x80) return {1};
    if (first < 0xC2) return {0};
    if (first < 0xE0) return {2};
    if (first == 0xE0) return {3, 0xA0};
    if (first == 0xED) return {3, 0x80, 0x9F};
    if (first < 0xF0) return {3};
    if (first == 0xF0) return {4, 0x90};
    if (first < 0xF4) return {4};
    if (first == 0xF4) return {4, 0x80, 0x8F};
    return {0};
}

}  // namespace

utf8_character first_character(std::string_view bytes) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    const form expected = form_of(byte(0));
    if (expected.size == 0) return {};
    if (expected.size == 1) return {byte(0), 1, true};

    char32_t code = byte(0) & 0x7Fu >> expected.size;
    for (std::size_t i = 1; i < expected.size; ++i) {
        const unsigned char smallest = i == 1 ? expected.smallest_second : 0x80;
        const unsigned char largest = i == 1 ? expected.largest_second : 0xBF;
        const bool fits = i < bytes.size() && byte(i) >= smallest && byte(i) <= largest;
        if (!fits) return {0, i, false};
        code = code << 6 | (byte(i) & 0x3Fu);
    }
    return {code, expected.size, true};
}

}  // namespace orvix::si_inspect
