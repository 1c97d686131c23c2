#include "times.h"

#include <array>
#include <cstdio>
#include <cstdlib>

namespace orvix::broadcast {

namespace {

constexpr const char* undefined = "undefined";

struct clock_time {
    long long hours, minutes, seconds;
};

clock_time split(std::time_t seconds) { return {seconds / 3600, seconds / 60 % 60, seconds % 60}; }

}  // namespace

std::string iso_time(std::time_t broadcast_clock, utc_offset offset) {
    if (broadcast_clock == undefined_time) return undefined;
    // The value counts on the broadcast's clock: read as if it were UTC, it is what that clock
    // shows.
    std::tm shown = {};
    gmtime_r(&broadcast_clock, &shown);
    std::array<char, 32> text;
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &shown);
    return text.data() + iso_offset(offset);
}

std::string iso_duration(std::time_t seconds) {
    if (seconds == undefined_duration) return undefined;
    const clock_time t = split(seconds);
    std::string text = "PT";
    if (t.hours != 0) text += std::to_string(t.hours) + "H";
    if (t.minutes != 0) text += std::to_string(t.minutes) + "M";
    if (t.seconds != 0 || seconds == 0) text += std::to_string(t.seconds) + "S";
    return text;
}

std::string clock_duration(std::time_t seconds) {
    if (seconds == undefined_duration) return undefined;
    const clock_time t = split(seconds);
    std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), "%lld:%02lld:%02lld", t.hours, t.minutes, t.seconds);
    return text.data();
}

std::string iso_offset(utc_offset offset) {
    const long long minutes = std::llabs(offset.count());
    std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), "%c%02lld:%02lld", offset.count() < 0 ? '-' : '+',
                  minutes / 60, minutes % 60);
    return text.data();
}

}  // namespace orvix::broadcast
