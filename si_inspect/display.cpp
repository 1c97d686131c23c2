#include "display.h"

#include <broadcast/utf8.h>

#include <algorithm>
#include <clocale>
#include <cwchar>

#include "ascii.h"
#include "writers/hex.h"

namespace orvix::si_inspect {

using broadcast::first_character;
using broadcast::utf8_character;

namespace {

/// Characters are UTF-8 while it lives, whatever the environment's locale is.
class utf8_characters {
public:
    utf8_characters() : before_(uselocale(utf8())) {}
    ~utf8_characters() { uselocale(before_); }
    utf8_characters(const utf8_characters&) = delete;
    utf8_characters& operator=(const utf8_characters&) = delete;

private:
    /// The C library's own locale of this name. Where it is missing, only ASCII counts as text.
    static locale_t utf8() {
        static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        return locale;
    }

    locale_t before_;
};

/// "\\u202E", and "\\U000E0001" for what is longer.
void append_escape(std::string& to, char32_t code) {
    constexpr char32_t most_of_four_digits = 0xFFFF;
    const bool is_long = code > most_of_four_digits;
    to += is_long ? "\\U" : "\\u";
    append_hex_digits(to, static_cast<std::uint32_t>(code), is_long ? 8 : 4);
}
void append_escape(std::string& to, char byte) {
    to += "\\x";
    append_hex_digits(to, static_cast<unsigned char>(byte), 2);
}

/// How many columns a character takes; nothing where it is not printable.
std::optional<std::size_t> width_of(const utf8_character& c) {
    if (!c.is_valid || is_hidden(c.code)) return std::nullopt;
    constexpr char32_t first_that_may_not_take_one = 0x0300;
    if (c.code < first_that_may_not_take_one) return 1;
    const utf8_characters guard;
    const int width = wcwidth(static_cast<wchar_t>(c.code));
    if (width < 0) return std::nullopt;
    return static_cast<std::size_t>(width);
}

}  // namespace

std::optional<std::size_t> display_width(std::string_view bytes) {
    std::size_t columns = 0;
    for (std::size_t i = 0;;) {
        const std::size_t run = printable_ascii(bytes.substr(i));
        columns += run;
        i += run;
        if (i == bytes.size()) return columns;
        const utf8_character next = first_character(bytes.substr(i));
        const std::optional<std::size_t> width = width_of(next);
        if (!width) return std::nullopt;
        columns += *width;
        i += next.size;
    }
}

std::string_view first_columns(std::string_view bytes, std::size_t columns) {
    std::size_t end = 0;
    while (end < bytes.size()) {
        const utf8_character next = first_character(bytes.substr(end));
        const std::size_t width = width_of(next).value_or(1);
        if (width > columns) break;
        columns -= width;
        end += next.size;
    }
    return bytes.substr(0, end);
}

bool is_hidden(char32_t code) {
    constexpr struct {
        char32_t first, last;
    } ranges[] = {
        {0x0000, 0x001F},    // control codes
        {0x007F, 0x009F},    // DEL, and the control codes of eight bits
        {0x061C, 0x061C},    // Arabic letter mark
        {0x180E, 0x180E},    // a separator without width
        {0x200B, 0x200F},    // without width, and marks of direction
        {0x2028, 0x202E},    // ends of lines, embedded and overridden directions
        {0x2060, 0x206F},    // without width, isolated directions
        {0xFEFF, 0xFEFF},    // without width
        {0xFFF9, 0xFFFB},    // annotations
        {0xE0000, 0xE007F},  // tags
    };
    return std::any_of(std::begin(ranges), std::end(ranges),
                       [&](const auto& r) { return code >= r.first && code <= r.last; });
}

void append_printable(std::string& to, std::string_view bytes) {
    for (std::size_t i = 0;;) {
        const std::size_t run = printable_ascii(bytes.substr(i));
        to.append(bytes, i, run);
        i += run;
        if (i == bytes.size()) return;
        const utf8_character next = first_character(bytes.substr(i));
        const std::string_view shown = bytes.substr(i, next.size);
        if (width_of(next)) {
            to += shown;
        } else if (next.is_valid) {
            append_escape(to, next.code);
        } else {
            for (const char byte : shown) append_escape(to, byte);
        }
        i += next.size;
    }
}

std::string printable(std::string_view bytes) {
    std::string shown;
    append_printable(shown, bytes);
    return shown;
}

std::string padded(std::string text, std::size_t width) {
    const std::size_t columns = display_width(text).value_or(text.size());
    text.append(width - std::min(width, columns), ' ');
    return text;
}

}  // namespace orvix::si_inspect
