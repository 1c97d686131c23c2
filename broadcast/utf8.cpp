#include "utf8.h"

namespace orvix::broadcast {

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

bool is_utf8(std::string_view bytes) {
    while (!bytes.empty()) {
        const utf8_character next = first_character(bytes);
        if (!next.is_valid) return false;
        bytes.remove_prefix(next.size);
    }
    return true;
}

namespace {

/// Where ISO/IEC 8859-15 differs from ISO/IEC 8859-1, whose bytes are the characters' numbers.
char32_t iso_8859_15(unsigned char byte) {
    switch (byte) {
        case 0xA4:
            return 0x20AC;  // euro
        case 0xA6:
            return 0x0160;
        case 0xA8:
            return 0x0161;
        case 0xB4:
            return 0x017D;
        case 0xB8:
            return 0x017E;
        case 0xBC:
            return 0x0152;
        case 0xBD:
            return 0x0153;
        case 0xBE:
            return 0x0178;
        default:
            return byte;
    }
}

}  // namespace

std::string from_iso_8859_15(std::string_view bytes) {
    std::string utf8;
    for (const char c : bytes) {
        const char32_t code = iso_8859_15(static_cast<unsigned char>(c));
        const auto last = static_cast<char>(0x80 | (code & 0x3F));
        if (code < 0x80) {
            utf8 += c;
        } else if (code < 0x800) {
            utf8 += {static_cast<char>(0xC0 | code >> 6), last};
        } else {
            utf8 += {static_cast<char>(0xE0 | code >> 12),
                     static_cast<char>(0x80 | (code >> 6 & 0x3F)), last};
        }
    }
    return utf8;
}

}  // namespace orvix::broadcast
