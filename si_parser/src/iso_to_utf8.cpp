#include <si_parser/iso_to_utf8.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace orvix::si_parser {

namespace {

constexpr unsigned char escape = 0x1D;

struct utf8_form {
    std::array<char, 3> bytes = {};
    uint8_t size = 0;
};

constexpr utf8_form encode(unsigned int code_point) {
    utf8_form form;
    if (code_point < 0x80) {
        form.bytes[0] = static_cast<char>(code_point);
        form.size = 1;
    } else if (code_point < 0x800) {
        form.bytes[0] = static_cast<char>(0xC0 | code_point >> 6);
        form.bytes[1] = static_cast<char>(0x80 | (code_point & 0x3F));
        form.size = 2;
    } else {
        form.bytes[0] = static_cast<char>(0xE0 | code_point >> 12);
        form.bytes[1] = static_cast<char>(0x80 | (code_point >> 6 & 0x3F));
        form.bytes[2] = static_cast<char>(0x80 | (code_point & 0x3F));
        form.size = 3;
    }
    return form;
}

/// One form per byte; an empty one for a byte without a character.
using character_table = std::array<utf8_form, 256>;

/// ISO/IEC 8859-15 without its control codes, and with two differences of this system's own.
constexpr character_table make_single_bytes() {
    character_table table = {};
    for (unsigned int byte = 0x20; byte < 0x80; ++byte) table[byte] = encode(byte);
    for (unsigned int byte = 0xA0; byte < 0x100; ++byte) table[byte] = encode(byte);
    table[0xA4] = encode(0x20AC);
    table[0xA6] = encode(0x0160);
    table[0xA8] = encode(0x0161);
    table[0xB4] = encode(0x017D);
    table[0xB8] = encode(0x017E);
    // One code point above ISO/IEC 8859-15. Portuguese has neither letter; receivers show these.
    table[0xBC] = encode(0x0153);
    table[0xBD] = encode(0x0154);
    table[0xBE] = encode(0x0178);
    return table;
}

/// The symbols behind an escape byte.
constexpr character_table make_symbols() {
    character_table table = {};
    table[0x21] = encode(0x266A);
    table[0x30] = encode(0x00A4);
    table[0x31] = encode(0x254E);
    table[0x32] = encode(0x00A8);
    table[0x33] = encode(0x2032);
    table[0x34] = encode(0x00B8);
    table[0x35] = encode(0x00BC);
    table[0x36] = encode(0x00BD);
    table[0x37] = encode(0x00BE);
    table[0x40] = encode(0x2026);
    table[0x41] = encode(0x275A);
    table[0x42] = encode(0x2018);
    table[0x43] = encode(0x2019);
    table[0x44] = encode(0x201C);
    table[0x45] = encode(0x201D);
    table[0x46] = encode(0x2022);
    table[0x47] = encode(0x2122);
    table[0x48] = encode(0x215B);
    table[0x49] = encode(0x215C);
    table[0x4A] = encode(0x215D);
    table[0x4B] = encode(0x215E);
    return table;
}

constexpr character_table single_bytes = make_single_bytes();
constexpr character_table symbols = make_symbols();

inline unsigned int put(const utf8_form& form, char* out) {
    for (unsigned int i = 0; i < form.size; ++i) out[i] = form.bytes[i];
    return form.size;
}

/// How far a conversion has come.
struct position {
    const unsigned char* in;
    char* out;
};

/// Converts a run. An escape in its last position takes the byte behind it. Well-formed texts never
/// end so; what receivers make of the others stays.
position convert(const unsigned char* p, const unsigned char* end, char* out) {
    for (; p < end; ++p) {
        const utf8_form& form = single_bytes[*p];
        if (form.size == 1) {  // nearly every byte of a text
            *out++ = form.bytes[0];
        } else if (*p == escape) {
            out += put(symbols[*++p], out);
        } else {
            out += put(form, out);
        }
    }
    return {p, out};
}

/// How many bytes `convert` writes.
std::size_t size_of_text(const unsigned char* p, const unsigned char* end) {
    std::size_t size = 0;
    for (; p < end; ++p) size += *p == escape ? symbols[*++p].size : single_bytes[*p].size;
    return size;
}

}  // namespace

unsigned int iso_to_utf8(unsigned char c, char* out) { return put(single_bytes[c], out); }

unsigned int escaped_iso_to_utf8(char c, char* out) {
    return put(symbols[static_cast<unsigned char>(c)], out);
}

void iso_to_utf8(const char* in, unsigned int in_len, char* out, unsigned int* out_len) {
    const auto* const begin = reinterpret_cast<const unsigned char*>(in);
    const unsigned char* const end = begin + in_len;
    *out_len = static_cast<unsigned int>(convert(begin, end, out).out - out);
}

std::string iso_to_utf8_string(unsigned char* in, unsigned int in_len) {
    // No field of a descriptor is longer; other callers' texts may be.
    constexpr unsigned int longest_field = 255;
    std::array<char, 3 * longest_field> part;
    if (in_len <= longest_field) {
        const position reached = convert(in, in + in_len, part.data());
        return std::string(part.data(), reached.out);
    }

    std::string text;
    text.reserve(size_of_text(in, in + in_len));
    const unsigned char* const end = in + in_len;
    for (const unsigned char* p = in; p < end;) {
        const auto room = std::min<std::ptrdiff_t>(end - p, longest_field);
        const position reached = convert(p, p + room, part.data());
        text.append(part.data(), reached.out);
        p = reached.in;
    }
    return text;
}

}  // namespace orvix::si_parser
