#include "broadcast_text.h"

#include <si_parser/iso_to_utf8.h>

#include <algorithm>
#include <array>

namespace orvix::broadcast {

namespace {

constexpr unsigned int escape = 0x1D;
constexpr unsigned int line_feed = 0x0A;
constexpr unsigned int carriage_return = 0x0D;
constexpr unsigned int new_line = 0x8A;

constexpr bool is_control(unsigned int byte) {
    return byte < 0x20 || (byte >= 0x80 && byte < 0xA0);
}

/// The letters that the library shows as others.
constexpr const char* letter(unsigned int byte) {
    switch (byte) {
        case 0xBC:
            return "\xC5\x92";  // U+0152, OE
        case 0xBD:
            return "\xC5\x93";  // U+0153, oe
        default:
            return nullptr;
    }
}

/// The symbols behind an escape that it shows as others.
constexpr const char* symbol(unsigned int byte) {
    switch (byte) {
        case 0x31:
            return "\xC2\xA6";  // U+00A6, broken bar
        case 0x33:
            return "\xC2\xB4";  // U+00B4, acute accent
        case 0x41:
            return "\xE2\x96\x88";  // U+2588, full block
        default:
            return nullptr;
    }
}

std::string control(unsigned int byte) {
    if (byte < 0x80) return {static_cast<char>(byte)};
    return {'\xC2', static_cast<char>(byte)};
}

template <typename Convert, typename Byte>
void append(std::string& to, Convert convert, Byte byte) {
    std::array<char, 3> utf8;
    to.append(utf8.data(), convert(byte, utf8.data()));
}

}  // namespace

std::string broadcast_text(span bytes) {
    std::string text;
    text.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const unsigned int byte = bytes.u8(i);
        if (byte >= ' ' && byte <= '~') {  // nearly every byte of a text
            text += static_cast<char>(byte);
        } else if (byte == escape) {
            if (++i == bytes.size()) break;
            if (const char* const own = symbol(bytes.u8(i))) {
                text += own;
            } else {
                append(text, si_parser::escaped_iso_to_utf8, static_cast<char>(bytes.u8(i)));
            }
        } else if (byte == line_feed || byte == new_line) {
            text += '\n';
        } else if (byte == carriage_return) {
            const bool is_pair = i + 1 < bytes.size() && bytes.u8(i + 1) == line_feed;
            if (!is_pair) text += '\n';
        } else if (is_control(byte)) {
            text += control(byte);
        } else if (const char* const own = letter(byte)) {
            text += own;
        } else {
            using single_byte = unsigned int (*)(unsigned char, char*);
            append(text, static_cast<single_byte>(si_parser::iso_to_utf8),
                   static_cast<unsigned char>(byte));
        }
    }
    return text;
}

namespace {

constexpr std::array<bool, 256> make_suspects() {
    std::array<bool, 256> suspects = {};
    for (unsigned int byte = 0; byte < 256; ++byte) {
        suspects[byte] = is_control(byte) || letter(byte) != nullptr;
    }
    return suspects;
}

constexpr std::array<bool, 256> suspects = make_suspects();

}  // namespace

bool may_differ(span bytes) {
    return std::any_of(bytes.begin(), bytes.end(),
                       [](std::uint8_t byte) { return suspects[byte]; });
}

std::string why_text_differs(span bytes) {
    bool has_control = false;
    bool has_other = false;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const unsigned int byte = bytes.u8(i);
        if (byte == escape) {
            ++i;
            // An escape that ends the text takes the byte behind it.
            has_other = has_other || i == bytes.size() || symbol(bytes.u8(i)) != nullptr;
        } else {
            has_control = has_control || is_control(byte);
            has_other = has_other || letter(byte) != nullptr;
        }
    }
    if (has_control && has_other) {
        return "the receiver drops control codes, line breaks among them, and shows other letters";
    }
    return has_control ? "the receiver drops control codes, line breaks among them"
                       : "the receiver shows other letters";
}

}  // namespace orvix::broadcast
