#pragma once

#include <chrono>
#include <ctime>

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

/// "2026-11-21T20:30:00-03:00": the broadcast's clock as it stands, and its offset.
/// "undefined" for an undefined time.
short_text iso_time(std::time_t broadcast_clock, utc_offset offset);
/// "PT1H45M30S", "PT0S"; "undefined" for an undefined duration.
short_text iso_duration(std::time_t seconds);
/// "1:45:30"; "undefined" for an undefined duration.
short_text clock_duration(std::time_t seconds);
/// "-03:00".
short_text iso_offset(utc_offset offset);

}  // namespace orvix::broadcast
