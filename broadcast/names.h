#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "short_text.h"

/// What values mean in ISDB-Tb: what stands beside the number that a table holds. A value without a
/// meaning of its own is "reserved".
namespace orvix::broadcast::names {

/// "service description, actual transport stream"
std::string_view table_id(std::uint32_t value);
/// "pat", "pmt", ... for the tables that the library decodes; empty for others.
std::string_view table_kind(std::uint32_t table_id);

std::string_view stream_type(std::uint32_t value);
/// What a viewer gets of a stream, which its component_tag may say better: "captions".
std::string_view stream_kind(std::uint8_t stream_type, std::optional<std::uint8_t> component_tag);
std::string_view component_tag(std::uint32_t value);
/// "video", "audio": by the lower four bits.
std::string_view stream_content(std::uint32_t value);
/// "1080i 16:9", "stereo": what it means depends on the component's stream_content.
short_text component_type(std::uint32_t stream_content, std::uint32_t value);
std::string_view service_type(std::uint32_t value);
std::string_view running_status(std::uint32_t value);

/// Both nibbles of a content descriptor's first byte: "news, report", "sports", "movie, other".
short_text genre(std::uint8_t content_nibble);
/// The upper nibble alone: "news"; empty where the group has no name.
std::string_view genre_group(std::uint8_t content_nibble);
/// Both nibbles, the lower one alone: "report"; empty where its group has no such list.
std::string_view genre_detail(std::uint8_t content_nibble);

/// In Brazil ("BRA") "12, violence, sex"; elsewhere "from 9 years".
short_text rating(std::string_view country_code, std::uint8_t value);
/// The age alone, in Brazil: "L", "10", ... "18", or "reserved".
std::string_view rating_age(std::uint8_t value);

/// "Ginga-NCL", with ", test" behind it where bit 15 is set.
short_text application_type(std::uint32_t value);
std::string_view application_control_code(std::uint32_t value);
std::string_view visibility(std::uint32_t value);
std::string_view protocol_id(std::uint32_t value);

/// "por": the letters of a code that is held as a number, first one highest. "reserved" where they
/// are not letters.
short_text language(std::uint32_t value);
/// "03:00": four BCD digits. "reserved" where they are not digits.
short_text bcd_time(std::uint32_t value);

}  // namespace orvix::broadcast::names
