#include "times.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdlib>

namespace orvix::broadcast {

namespace {

constexpr const char* undefined = "undefined";
constexpr std::int64_t seconds_per_day = 86'400;

/// `value` is not negative. Zeros stand in front where it has fewer digits.
void append_number(short_text& to, std::int64_t value, std::size_t least_digits = 1) {
    std::array<char, 20> digits;
    const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    const auto count = static_cast<std::size_t>(end - digits.data());
    for (std::size_t i = count; i < least_digits; ++i) to.append('0');
    to.append({digits.data(), count});
}

struct clock_time {
    std::int64_t hours, minutes, seconds;
};

clock_time split(std::int64_t seconds) { return {seconds / 3600, seconds / 60 % 60, seconds % 60}; }

struct date {
    std::int64_t year, month, day;
};

/// Of the Gregorian calendar. A year begins in March here, so that its odd day is its last one.
date date_of(std::int64_t days_since_1970) {
    constexpr std::int64_t days_from_march_of_year_0 = 719'468;
    constexpr std::int64_t days_of_400_years = 146'097;
    const std::int64_t days = days_since_1970 + days_from_march_of_year_0;  // years from 0 on only
    const std::int64_t day = days % days_of_400_years;
    const std::int64_t year = (day - day / 1460 + day / 36524 - day / 146096) / 365;
    const std::int64_t day_of_year = day - (365 * year + year / 4 - year / 100);
    const std::int64_t month = (5 * day_of_year + 2) / 153;  // 0 is March
    const bool is_next_year = month >= 10;
    return {days / days_of_400_years * 400 + year + (is_next_year ? 1 : 0),
            is_next_year ? month - 9 : month + 3, day_of_year - (153 * month + 2) / 5 + 1};
}

/// Since 1970.
std::int64_t days_of(std::int64_t broadcast_clock) {
    const bool is_whole = broadcast_clock >= 0 || broadcast_clock % seconds_per_day == 0;
    return broadcast_clock / seconds_per_day - (is_whole ? 0 : 1);
}

}  // namespace

bool is_wrapped(std::int64_t seconds) {
    constexpr std::int64_t last = -2'139'373'697;  // 2038-04-22T23:59:59, wrapped
    return seconds <= last;
}

std::int64_t as_sent(std::int64_t seconds) {
    constexpr std::int64_t wrap = std::int64_t(1) << 32;
    return is_wrapped(seconds) ? seconds + wrap : seconds;
}

short_text iso_time(std::int64_t broadcast_clock, utc_offset offset) {
    if (broadcast_clock == undefined_time) return undefined;
    // The value counts on the broadcast's clock: read as if it were UTC, it is what that clock
    // shows.
    const std::int64_t days = days_of(broadcast_clock);
    const date d = date_of(days);
    const clock_time t = split(broadcast_clock - days * seconds_per_day);

    short_text text;
    append_number(text, d.year, 4);
    append_number(text.append('-'), d.month, 2);
    append_number(text.append('-'), d.day, 2);
    append_number(text.append('T'), t.hours, 2);
    append_number(text.append(':'), t.minutes, 2);
    append_number(text.append(':'), t.seconds, 2);
    return text.append(iso_offset(offset));
}

std::int64_t date_after(std::int64_t broadcast_clock, int days) {
    return (days_of(broadcast_clock) + days) * seconds_per_day;
}

short_text iso_duration(std::time_t seconds) {
    if (seconds == undefined_duration) return undefined;
    const clock_time t = split(seconds);
    short_text text = "PT";
    const auto append_part = [&](std::int64_t value, char unit) {
        append_number(text, value);
        text.append(unit);
    };
    if (t.hours != 0) append_part(t.hours, 'H');
    if (t.minutes != 0) append_part(t.minutes, 'M');
    if (t.seconds != 0 || seconds == 0) append_part(t.seconds, 'S');
    return text;
}

short_text clock_duration(std::time_t seconds) {
    if (seconds == undefined_duration) return undefined;
    const clock_time t = split(seconds);
    short_text text;
    append_number(text, t.hours);
    append_number(text.append(':'), t.minutes, 2);
    append_number(text.append(':'), t.seconds, 2);
    return text;
}

std::optional<utc_offset> parse_offset(std::string_view word) {
    constexpr std::string_view form = "+00:00";
    if (word.size() != form.size() || (word[0] != '+' && word[0] != '-')) return std::nullopt;
    for (std::size_t i = 1; i < form.size(); ++i) {
        const bool is_digit = word[i] >= '0' && word[i] <= '9';
        if (form[i] == '0' ? !is_digit : word[i] != form[i]) return std::nullopt;
    }
    const auto two_digits = [&](std::size_t i) {
        return (word[i] - '0') * 10 + (word[i + 1] - '0');
    };
    const int hours = two_digits(1);
    const int minutes = two_digits(4);
    constexpr int largest_hours = 14;
    if (hours > largest_hours || minutes >= 60) return std::nullopt;
    return utc_offset((word[0] == '-' ? -1 : 1) * (hours * 60 + minutes));
}

short_text iso_offset(utc_offset offset) {
    const std::int64_t minutes = std::llabs(offset.count());
    short_text text = offset.count() < 0 ? "-" : "+";
    append_number(text, minutes / 60, 2);
    append_number(text.append(':'), minutes % 60, 2);
    return text;
}

}  // namespace orvix::broadcast
