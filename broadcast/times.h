#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string_view>

#include "short_text.h"

namespace orvix::broadcast {

/// How far the broadcast's clock is ahead of UTC.
using utc_offset = std::chrono::minutes;

/// The clock of TDT, TOT and EIT in Brazil, although the standards call the field UTC_time.
constexpr utc_offset brasilia = std::chrono::hours(-3);

/// What the library makes of a start time and of a duration that the broadcast leaves undefined
/// (all ones).
constexpr std::time_t undefined_time = -2138856031;
constexpr std::time_t undefined_duration = 604065;

/// Whether a time of the library has wrapped. It keeps 32 bits, which end on 2038-01-19T03:14:07;
/// the broadcast's days of 16 bits end on 2038-04-22. What is sent for the days between comes out
/// as a time of 1901-12-13 to 1902-03-17, when nothing was broadcast. A later time before 1970 is
/// one that the broadcast has sent so. (Days of before 1901-12-13 come out as times of 1994 to
/// 2038, which nothing tells apart from what they seem.)
bool is_wrapped(std::int64_t seconds);
/// The time that the broadcast has sent, counted from 1970 like `seconds` but without a wrap.
std::int64_t as_sent(std::int64_t seconds);

/// "2026-11-21T20:30:00-03:00": the broadcast's clock as it stands, and its offset.
/// "undefined" for an undefined time. Years from 0 to 9999.
short_text iso_time(std::int64_t broadcast_clock, utc_offset offset);
/// The begin of the day that is so many days behind that of a time.
std::int64_t date_after(std::int64_t broadcast_clock, int days);
/// "PT1H45M30S", "PT0S"; "undefined" for an undefined duration.
short_text iso_duration(std::time_t seconds);
/// "1:45:30"; "undefined" for an undefined duration.
short_text clock_duration(std::time_t seconds);
/// "-03:00", "+09:30"; none where the word is not like that, or too far from UTC.
std::optional<utc_offset> parse_offset(std::string_view word);
/// "-03:00".
short_text iso_offset(utc_offset offset);

}  // namespace orvix::broadcast
