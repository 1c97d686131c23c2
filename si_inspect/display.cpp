#include "display.h"

#include <algorithm>
#include <clocale>
#include <cwchar>

namespace orvix::si_inspect {

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

bool is_printable_ascii(char c) { return c >= ' ' && c <= '~'; }

}  // namespace

std::optional<std::size_t> display_width(std::string_view bytes) {
    if (std::all_of(bytes.begin(), bytes.end(), is_printable_ascii)) return bytes.size();

    const utf8_characters guard;
    std::size_t columns = 0;
    mbstate_t state = {};
    while (!bytes.empty()) {
        wchar_t character = 0;
        const std::size_t size = mbrtowc(&character, bytes.data(), bytes.size(), &state);
        const bool decoded = size != 0 && size <= bytes.size();
        const int width = decoded ? wcwidth(character) : -1;
        if (width < 0) return std::nullopt;
        columns += static_cast<std::size_t>(width);
        bytes.remove_prefix(size);
    }
    return columns;
}

std::string printable(std::string_view bytes) {
    std::string shown(bytes);
    if (is_plain_text(bytes)) return shown;
    for (char& c : shown) {
        if (!is_printable_ascii(c)) c = '?';
    }
    return shown;
}

std::string padded(std::string text, std::size_t width) {
    const std::size_t columns = display_width(text).value_or(text.size());
    text.append(width - std::min(width, columns), ' ');
    return text;
}

}  // namespace orvix::si_inspect
