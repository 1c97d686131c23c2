#pragma once

#include <si_parser/eit.h>

#include <cstdint>
#include <optional>
#include <string>

namespace orvix::broadcast {

/// Of the event's short event descriptors the first one; null where it has none.
const si_parser::short_event_descriptor* short_event_of(const si_parser::eit::event& event);

/// When it starts, as sent; none where that is undefined.
std::optional<std::int64_t> start_of(const si_parser::eit::event& event);
/// None where it has no start or no duration, or lasts for none at all.
std::optional<std::int64_t> end_of(const si_parser::eit::event& event);

/// "event 0x0A01 \"Jornal\""
std::string event_words(const si_parser::eit::event& event);

}  // namespace orvix::broadcast
