#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace orvix::si_inspect {

/// How many columns of a terminal `bytes` take; nothing where they are not printable as they are.
std::optional<std::size_t> display_width(std::string_view bytes);

/// As much of printable `bytes` as fits into `columns`, in whole characters.
std::string_view first_columns(std::string_view bytes, std::size_t columns);

/// Whether a character stays out of what people read: control codes steer a terminal, others
/// reorder the characters around them or hide.
bool is_hidden(char32_t code);

/// Appends `bytes` as a terminal may have them: instead of what is hidden or not printable,
/// "\u202E", and "\xE3" for a byte that is not UTF-8. All that comes from outside goes this way.
void append_printable(std::string& to, std::string_view bytes);
std::string printable(std::string_view bytes);

/// `text` and the spaces that fill it up to `width` columns.
std::string padded(std::string text, std::size_t width);

}  // namespace orvix::si_inspect
