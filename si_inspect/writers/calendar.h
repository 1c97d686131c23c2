#pragma once

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

}  // namespace orvix::si_inspect
