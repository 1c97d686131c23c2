#pragma once

#include <si_parser/eit.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "readings/span.h"
#include "times.h"

namespace orvix::broadcast {

/// What a viewer's programme guide knows of an event.
struct programme {
    std::uint32_t event_id = 0;
    std::time_t start = undefined_time;  ///< on the broadcast's clock
    std::time_t duration = undefined_duration;
    std::string language;  ///< ISO 639-2, of name and text
    std::string name;
    std::string text;      ///< of the short event
    std::string extended;  ///< of the extended event, which the receiver skips; in lines
    std::vector<std::uint8_t> content_nibbles;  ///< as `names::genre` takes them
    std::optional<std::uint8_t> rating;         ///< Brazil's

    /// Whether the start is a defined one.
    bool is_timed() const;
    /// Whether it lasts for a defined time, and not for none at all.
    bool has_end() const;
    /// Where it ends, and where it has no end, its start.
    std::time_t end() const { return has_end() ? start + duration : start; }
    /// The bytes of memory that it takes, containers included.
    std::size_t size() const;
};

/// `descriptors` are the event's, as sent.
programme make_programme(const si_parser::eit& section, const si_parser::eit::event& event,
                         span descriptors);

/// What the newer account of an event leaves out, the older one supplies.
void supply(programme& newer, const programme& older);

/// Nothing that can be seen: only spaces, the one that does not break included, DEL and soft
/// hyphens.
bool is_blank(const std::string& text);

/// The country whose ratings and clock the guide takes.
constexpr const char* brazil = "BRA";

}  // namespace orvix::broadcast
