#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "sink.h"

namespace orvix::si_inspect {

/// Markup, which stands in the program's own sources and nowhere else.
class markup {
public:
    constexpr std::string_view view() const { return literal_; }

private:
    friend constexpr markup operator""_html(const char* literal, std::size_t size);
    constexpr explicit markup(std::string_view literal) : literal_(literal) {}

    std::string_view literal_;
};

constexpr markup operator""_html(const char* literal, std::size_t size) {
    return markup(std::string_view(literal, size));
}

/// Appends words as HTML may have them, between tags and between quotes. As for a terminal, escapes
/// stand for what steers, reorders or hides.
void append_escaped(std::string& to, std::string_view words);

/// HTML on its way to a sink. Only a literal behind which `_html` stands is markup; whatever else
/// is put here is text, and escaped.
class html {
public:
    explicit html(sink& to) : to_(to) {}

    html& operator<<(markup own);
    html& operator<<(std::string_view words);
    template <typename Number, typename = std::enable_if_t<std::is_integral_v<Number>>>
    html& operator<<(Number number) {
        return *this << std::string_view(std::to_string(number));
    }
    /// Words whose line breaks stay.
    void lines(std::string_view words);
    /// What is not written yet.
    void flush();

private:
    static constexpr std::size_t write_bytes = 64 * 1024;

    sink& to_;
    std::string waiting_;
};

}  // namespace orvix::si_inspect
