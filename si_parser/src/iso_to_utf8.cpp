#include <si_parser/iso_to_utf8.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "text.h"

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

constexpr unsigned char first_symbol = 0x21;
constexpr unsigned char last_symbol = 0x4B;
using symbol_table = std::array<utf8_form, last_symbol - first_symbol + 1>;

/// The symbols behind an escape byte, from the first one's byte on.
constexpr symbol_table make_symbols() {
    symbol_table table = {};
    const auto set = [&table](unsigned int byte, unsigned int code_point) {
        table[byte - first_symbol] = encode(code_point);
    };
    set(0x21, 0x266A);
    set(0x30, 0x00A4);
    set(0x31, 0x254E);
    set(0x32, 0x00A8);
    set(0x33, 0x2032);
    set(0x34, 0x00B8);
    set(0x35, 0x00BC);
    set(0x36, 0x00BD);
    set(0x37, 0x00BE);
    set(0x40, 0x2026);
    set(0x41, 0x275A);
    set(0x42, 0x2018);
    set(0x43, 0x2019);
    set(0x44, 0x201C);
    set(0x45, 0x201D);
    set(0x46, 0x2022);
    set(0x47, 0x2122);
    set(0x48, 0x215B);
    set(0x49, 0x215C);
    set(0x4A, 0x215D);
    set(0x4B, 0x215E);
    return table;
}

constexpr character_table single_bytes = make_single_bytes();
constexpr symbol_table symbols = make_symbols();

/// What the byte behind an escape selects; an empty form where it selects nothing.
inline const utf8_form& symbol(unsigned char byte) {
    return byte >= first_symbol && byte <= last_symbol ? symbols[byte - first_symbol]
                                                       : single_bytes[escape];
}

inline unsigned int put(const utf8_form& form, char* out) {
    for (unsigned int i = 0; i < form.size; ++i) out[i] = form.bytes[i];
    return form.size;
}

template <typename Word>
std::uint64_t load(const unsigned char* p) {
    Word word;
    std::memcpy(&word, p, sizeof word);
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    word = sizeof word == 8 ? __builtin_bswap64(word) : __builtin_bswap32(word);
#endif
    return word;
}

/// The last one to seven bytes of a run, the first one lowest, and zeros behind them.
inline std::uint64_t last_word(const unsigned char* p, const unsigned char* end) {
    const auto left = static_cast<unsigned int>(end - p);
    // The same bytes twice where the parts overlap.
    if (left >= 4) {
        return load<std::uint32_t>(p) | load<std::uint32_t>(end - 4) << 8 * (left - 4);
    }
    const unsigned int middle = left / 2;
    const unsigned int last = left - 1;
    return p[0] | static_cast<std::uint32_t>(p[middle]) << 8 * middle |
           static_cast<std::uint32_t>(p[last]) << 8 * last;
}

/// Marks bytes from 0x80 on, and by subtraction those below 0x20. What these borrow may mark bytes
/// behind them as well: only the first mark is sure to be right.
inline std::uint64_t not_ascii(std::uint64_t word) {
    constexpr std::uint64_t in_each_byte = 0x0101010101010101;
    return (word | (word - 0x20 * in_each_byte)) & 0x80 * in_each_byte;
}

/// How many of these bytes, from the first one on, are plain ASCII (0x20 to 0x7F).
inline unsigned int ascii_bytes(std::uint64_t word) {
    const std::uint64_t marks = not_ascii(word);
    return marks == 0 ? 8 : static_cast<unsigned int>(__builtin_ctzll(marks)) / 8;
}

/// So many bytes every string holds without memory from the heap, and two words look at all of
/// them.
constexpr unsigned int longest_short_run = 15;

/// Whether a short run is plain ASCII from end to end.
inline bool is_short_ascii(const unsigned char* p, const unsigned char* end) {
    const auto size = static_cast<unsigned int>(end - p);
    if (size >= 8) {
        return (not_ascii(load<std::uint64_t>(p)) | not_ascii(load<std::uint64_t>(end - 8))) == 0;
    }
    return size == 0 || ascii_bytes(last_word(p, end)) == size;
}

inline void store(std::uint64_t word, char* out) {
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    word = __builtin_bswap64(word);
#endif
    std::memcpy(out, &word, sizeof word);
}

/// How far a conversion has come.
struct position {
    const unsigned char* in;
    char* out;
};

/// `convert` writes up to so many bytes more than it counts.
constexpr std::size_t spare_room = sizeof(std::uint64_t);

/// Converts the plain ASCII that a word begins with. Whether that was all of it.
inline bool convert_ascii(std::uint64_t word, position& at) {
    store(word, at.out);
    const unsigned int ascii = ascii_bytes(word);
    at.in += ascii;
    at.out += ascii;
    return ascii == 8;
}

/// Converts a character that is not plain ASCII.
inline void convert_other(position& at) {
    const utf8_form& form = *at.in == escape ? symbol(*++at.in) : single_bytes[*at.in];
    ++at.in;
    std::memcpy(at.out, &form, sizeof form);
    at.out += form.size;
}

/// Converts a run. An escape in its last position takes the byte behind it. Well-formed texts never
/// end so; what receivers make of the others stays.
position convert(const unsigned char* p, const unsigned char* end, char* out) {
    position at = {p, out};
    while (end - at.in >= 8) {
        if (!convert_ascii(load<std::uint64_t>(at.in), at)) convert_other(at);
    }
    while (at.in < end) {
        if (!convert_ascii(last_word(at.in, end), at) && at.in != end) convert_other(at);
    }
    return at;
}

/// No field of a descriptor is longer; other callers' texts may be.
constexpr std::ptrdiff_t longest_field = 255;
using scratch = std::array<char, 3 * longest_field + spare_room>;

/// Converts a run of any length, and hands its text to `take` part by part.
template <typename Take>
void convert_in_parts(const unsigned char* p, const unsigned char* end, Take take) {
    scratch part;
    while (p < end) {
        const position reached = convert(p, p + std::min(end - p, longest_field), part.data());
        take(part.data(), static_cast<std::size_t>(reached.out - part.data()));
        p = reached.in;
    }
}

/// How many bytes the text of a run has.
std::size_t size_of_text(const unsigned char* p, const unsigned char* end) {
    std::size_t size = 0;
    for (; p < end; ++p) size += *p == escape ? symbol(*++p).size : single_bytes[*p].size;
    return size;
}

/// A longer text: counted first, then converted part by part into memory of just its size.
__attribute__((noinline)) void assign_long(std::string& text, const unsigned char* p,
                                           const unsigned char* end) {
    text.clear();
    text.reserve(size_of_text(p, end));
    convert_in_parts(p, end, [&](const char* part, std::size_t size) { text.append(part, size); });
}

/// Any text that is not short plain ASCII, into an empty string.
__attribute__((noinline)) void assign_converted(std::string& text, const unsigned char* in,
                                                unsigned int in_len) {
    const unsigned char* const end = in + in_len;
    if (in_len > longest_field) return assign_long(text, in, end);
    scratch whole;
    text = std::string(whole.data(), convert(in, end, whole.data()).out);
}

}  // namespace

unsigned int iso_to_utf8(unsigned char c, char* out) { return put(single_bytes[c], out); }

unsigned int escaped_iso_to_utf8(char c, char* out) {
    return put(symbol(static_cast<unsigned char>(c)), out);
}

void iso_to_utf8(const char* in, unsigned int in_len, char* out, unsigned int* out_len) {
    const auto* const begin = reinterpret_cast<const unsigned char*>(in);
    char* end_of_text = out;
    convert_in_parts(begin, begin + in_len, [&](const char* part, std::size_t size) {
        std::memcpy(end_of_text, part, size);
        end_of_text += size;
    });
    *out_len = static_cast<unsigned int>(end_of_text - out);
}

std::string iso_to_utf8_string(unsigned char* in, unsigned int in_len) {
    std::string text;
    assign_text(text, in, in_len);
    return text;
}

void assign_text(std::string& text, const unsigned char* in, unsigned int in_len) {
    if (in_len <= longest_short_run && is_short_ascii(in, in + in_len)) {
        text.append(reinterpret_cast<const char*>(in), in_len);
    } else {
        assign_converted(text, in, in_len);
    }
}

}  // namespace orvix::si_parser
