#include "sent_time.h"

#include <cstdio>

extern "C" {
#include <bitstream/dvb/si.h>
}

namespace orvix::broadcast {

namespace {

constexpr std::uint64_t undefined = 0xFFFFFFFFFF;
constexpr std::int64_t seconds_per_day = 86400;

unsigned int mjd_of(std::uint64_t sent) { return static_cast<unsigned int>(sent >> 24 & 0xFFFF); }
std::uint32_t bcd_of(std::uint64_t sent) { return static_cast<std::uint32_t>(sent & 0xFFFFFF); }

struct time_of_day {
    int seconds = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
};

time_of_day time_of_day_of(std::uint64_t sent) {
    time_of_day t;
    dvb_time_decode_bcd(bcd_of(sent), &t.seconds, &t.hour, &t.minute, &t.second);
    return t;
}

/// On the broadcast's clock, in as many bits as it takes.
std::int64_t seconds_since_1970(std::uint64_t sent) {
    constexpr std::int64_t mjd_of_1970_01_01 = 40587;
    return (mjd_of(sent) - mjd_of_1970_01_01) * seconds_per_day + time_of_day_of(sent).seconds;
}

/// "2038-02-01 12:00:00"
std::string date_and_time(std::uint64_t sent) {
    int years_since_1900 = 0;
    int month = 0;
    int day = 0;
    dvb_mjd_get(static_cast<std::uint16_t>(mjd_of(sent)), &years_since_1900, &month, &day);
    const time_of_day t = time_of_day_of(sent);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", 1900 + years_since_1900,
                  month, day, t.hour, t.minute, t.second);
    return text;
}

}  // namespace

std::optional<difference> time_difference(field_place at, std::uint64_t sent,
                                          std::time_t received) {
    if (sent == undefined) return std::nullopt;
    const std::int64_t seconds = seconds_since_1970(sent);
    if (seconds == received) return std::nullopt;
    difference wrapped;
    wrapped.at = at;
    wrapped.broadcast = value::number{seconds, 0, date_and_time(sent)};
    wrapped.why = "the receiver's clock wraps on 2038-01-19: sent was " + date_and_time(sent);
    return wrapped;
}

}  // namespace orvix::broadcast
