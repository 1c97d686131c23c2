#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orvix::broadcast {

/// What `bytes`, which are not empty, begin with: a character of UTF-8, or as many bytes as have to
/// be taken for a damaged one.
struct utf8_character {
    char32_t code = 0;
    std::size_t size = 1;
    bool is_valid = false;
};
utf8_character first_character(std::string_view bytes);

bool is_utf8(std::string_view bytes);

/// Characters of ISO/IEC 8859-15, the alphabet of most texts that are not UTF-8, as UTF-8.
std::string from_iso_8859_15(std::string_view bytes);

}  // namespace orvix::broadcast
