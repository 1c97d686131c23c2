#pragma once

#include <broadcast/times.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace orvix::si_inspect {

// Days and hours of the broadcast's clock as it stands, in seconds since 1970.

constexpr std::int64_t seconds_per_day = 86'400;

/// Since 1970.
std::int64_t day_of(std::int64_t clock);
/// "Saturday"
std::string_view weekday_of(std::int64_t day);
/// "2026-11-21"
std::string date_of(std::int64_t day);
/// "20:30"
std::string hour_of(std::int64_t clock);
/// "20:30:00"
std::string time_of(std::int64_t clock);
/// "2026-11-21 20:30:00"
std::string date_and_time_of(std::int64_t clock);
/// "2026-11-21T20:30:00-03:00", also where `broadcast::iso_time` says that it is undefined.
std::string iso_of(std::int64_t clock, broadcast::utc_offset offset);

}  // namespace orvix::si_inspect
