#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace orvix::si_inspect {

/// How many columns of a terminal `bytes` take; nothing where they are not UTF-8 or hold what is
/// not a printable character (control codes, which would steer the terminal).
std::optional<std::size_t> display_width(std::string_view bytes);

inline bool is_plain_text(std::string_view bytes) { return display_width(bytes).has_value(); }

/// `bytes` where they are plain text; otherwise with '?' for every byte that is not printable
/// ASCII. For names of files and what else comes from outside.
std::string printable(std::string_view bytes);

/// `text` and the spaces that fill it up to `width` columns.
std::string padded(std::string text, std::size_t width);

}  // namespace orvix::si_inspect
