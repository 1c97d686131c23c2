#include "writers/calendar.h"

#include <array>

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

constexpr std::size_t date_size = std::string_view("2026-11-21").size();
constexpr std::size_t hour_size = std::string_view("20:30").size();
constexpr std::size_t time_size = std::string_view("20:30:00").size();
constexpr std::size_t time_begin = date_size + 1;

/// How far `dividend` is above a multiple of `divisor`, also below 0.
std::int64_t remainder(std::int64_t dividend, std::int64_t divisor) {
    return (dividend % divisor + divisor) % divisor;
}

/// "20:30:00", or less of it. Every time has one, also that which stands for none.
std::string time_of_day(std::int64_t clock, std::size_t size) {
    const short_text iso = iso_time(remainder(clock, seconds_per_day), brasilia);
    return std::string(iso.view().substr(time_begin, size));
}

}  // namespace

std::int64_t day_of(std::int64_t clock) {
    return (clock - remainder(clock, seconds_per_day)) / seconds_per_day;
}

std::string_view weekday_of(std::int64_t day) {
    constexpr std::array<std::string_view, 7> weekdays = {
        "Thursday", "Friday", "Saturday", "Sunday", "Monday", "Tuesday", "Wednesday"};  // 1970 on
    return weekdays.at(static_cast<std::size_t>(remainder(day, weekdays.size())));
}

std::string date_of(std::int64_t day) {
    return std::string(iso_time(day * seconds_per_day, brasilia).view().substr(0, date_size));
}

std::string hour_of(std::int64_t clock) { return time_of_day(clock, hour_size); }

std::string time_of(std::int64_t clock) { return time_of_day(clock, time_size); }

std::string date_and_time_of(std::int64_t clock) {
    return date_of(day_of(clock)) + ' ' + time_of(clock);
}

std::string iso_of(std::int64_t clock, utc_offset offset) {
    std::string iso = date_of(day_of(clock)) + 'T' + time_of(clock);
    return iso.append(iso_offset(offset));
}

}  // namespace orvix::si_inspect
