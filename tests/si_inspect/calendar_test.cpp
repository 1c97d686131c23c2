#include "writers/calendar.h"

#include <broadcast/times.h>
#include <gtest/gtest.h>

namespace orvix::si_inspect {
namespace {

TEST(Calendar, TellsDaysAndHoursApart) {
    constexpr std::int64_t clock = 1795293000;  // 2026-11-21T20:30:00
    EXPECT_EQ(day_of(clock), 20778);
    EXPECT_EQ(weekday_of(20778), "Saturday");
    EXPECT_EQ(date_of(20778), "2026-11-21");
    EXPECT_EQ(hour_of(clock), "20:30");
    EXPECT_EQ(time_of(clock + 7), "20:30:07");
    EXPECT_EQ(date_and_time_of(clock + 7), "2026-11-21 20:30:07");
}

TEST(Calendar, GoesBackBeyond1970) {
    EXPECT_EQ(day_of(-1), -1);
    EXPECT_EQ(weekday_of(-1), "Wednesday");
    EXPECT_EQ(date_and_time_of(-1), "1969-12-31 23:59:59");
    EXPECT_EQ(day_of(-seconds_per_day), -1);
    EXPECT_EQ(day_of(-seconds_per_day - 1), -2);
}

TEST(Calendar, TakesTheValueOfAnUndefinedTimeForATime) {
    EXPECT_EQ(date_and_time_of(broadcast::undefined_time), "1902-03-23 17:19:29");
    EXPECT_EQ(iso_of(broadcast::undefined_time, broadcast::brasilia), "1902-03-23T17:19:29-03:00");
    EXPECT_EQ(hour_of(broadcast::undefined_time), "17:19");
}

}  // namespace
}  // namespace orvix::si_inspect
