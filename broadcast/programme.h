#pragma once

#include <si_parser/eit.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "times.h"

namespace orvix::broadcast {

/// What a viewer's programme guide knows of an event.
struct programme {
    std::uint32_t event_id = 0;
    std::time_t start = undefined_time;  ///< on the broadcast's clock
    std::time_t duration = undefined_duration;
    std::string language;  ///< ISO 639-2, of name and text
    std::string name;
    std::string text;
    std::vector<std::uint8_t> content_nibbles;  ///< as `names::genre` takes them
    std::optional<std::uint8_t> rating;         ///< Brazil's

    /// Whether both times are defined ones.
    bool is_timed() const;
    /// The bytes of memory that it takes, containers included.
    std::size_t size() const;
};

programme make_programme(const si_parser::eit& section, const si_parser::eit::event& event);

/// What the newer account of an event leaves out, the older one supplies.
void supply(programme& newer, const programme& older);

/// Nothing but spaces, the one that does not break included.
bool is_blank(const std::string& text);

/// The country whose ratings and clock the guide takes.
constexpr const char* brazil = "BRA";

}  // namespace orvix::broadcast
