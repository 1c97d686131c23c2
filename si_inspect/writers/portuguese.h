#pragma once

#include <cstdint>
#include <string_view>

/// What `names` says of genres, in the language of those who watch.
namespace orvix::si_inspect::portuguese {

/// The upper nibble alone: "jornalismo"; empty where the group has no name or is "other".
std::string_view genre_group(std::uint8_t content_nibble);
/// Both nibbles, the lower one alone: "reportagem"; empty where it has no name of its own.
std::string_view genre_detail(std::uint8_t content_nibble);

}  // namespace orvix::si_inspect::portuguese
