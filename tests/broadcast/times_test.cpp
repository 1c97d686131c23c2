#include <broadcast/times.h>
#include <gtest/gtest.h>

#include <array>

namespace orvix::broadcast {
namespace {

using std::chrono::minutes;

TEST(Times, ShowTheBroadcastsClockAndItsOffset) {
    EXPECT_EQ(iso_time(1795293000, brasilia), "2026-11-21T20:30:00-03:00");
    EXPECT_EQ(iso_time(1795293000, minutes(330)), "2026-11-21T20:30:00+05:30");
    EXPECT_EQ(iso_time(0, minutes(0)), "1970-01-01T00:00:00+00:00");
}

TEST(Times, AgreeWithTheCLibrarysCalendarOnEveryDayOf32Bits) {
    constexpr std::time_t day = 86'400;
    constexpr std::time_t first = -2'147'483'648;
    constexpr std::time_t last = 2'156'111'265;  // beyond the 16 bits of the broadcast's days
    for (std::time_t seconds = first; seconds <= last; seconds += day - 1) {
        if (seconds == undefined_time) continue;
        std::tm shown = {};
        gmtime_r(&seconds, &shown);
        std::array<char, 32> text;
        std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S+00:00", &shown);
        ASSERT_EQ(iso_time(seconds, minutes(0)), text.data()) << seconds;
    }
}

TEST(Times, BeforeTheEpochAreShownAsTheLibraryWrapsThem) {
    EXPECT_EQ(iso_time(-1, brasilia), "1969-12-31T23:59:59-03:00");
}

TEST(Times, WrapFromTheEndOf32BitsToTheEndOfTheBroadcastsDays) {
    EXPECT_FALSE(is_wrapped(2'147'483'647));
    EXPECT_TRUE(is_wrapped(-2'147'483'648));
    EXPECT_EQ(iso_time(as_sent(-2'147'483'648), minutes(0)), "2038-01-19T03:14:08+00:00");
    EXPECT_TRUE(is_wrapped(-2'139'373'697));
    EXPECT_EQ(iso_time(as_sent(-2'139'373'697), minutes(0)), "2038-04-22T23:59:59+00:00");
    EXPECT_FALSE(is_wrapped(-2'139'373'696));
    EXPECT_EQ(as_sent(-2'139'373'696), -2'139'373'696);
    EXPECT_FALSE(is_wrapped(undefined_time));
    EXPECT_FALSE(is_wrapped(-1));
    EXPECT_EQ(as_sent(1'795'293'000), 1'795'293'000);
}

TEST(Times, UndefinedOnesAreCalledSo) {
    EXPECT_EQ(iso_time(undefined_time, brasilia), "undefined");
    EXPECT_EQ(iso_duration(undefined_duration), "undefined");
    EXPECT_EQ(clock_duration(undefined_duration), "undefined");
}

TEST(Times, DurationsLeaveOutWhatIsZero) {
    EXPECT_EQ(iso_duration(6330), "PT1H45M30S");
    EXPECT_EQ(iso_duration(3600), "PT1H");
    EXPECT_EQ(iso_duration(60), "PT1M");
    EXPECT_EQ(iso_duration(0), "PT0S");
}

TEST(Times, DurationsOnAClockKeepTheirZeros) {
    EXPECT_EQ(clock_duration(6330), "1:45:30");
    EXPECT_EQ(clock_duration(0), "0:00:00");
    EXPECT_EQ(clock_duration(100 * 3600 + 61), "100:01:01");
}

TEST(Times, OffsetsHaveHoursAndMinutes) {
    EXPECT_EQ(iso_offset(minutes(-210)), "-03:30");
    EXPECT_EQ(iso_offset(minutes(0)), "+00:00");
}

TEST(Times, OffsetsAreReadAsTheyAreWritten) {
    EXPECT_EQ(parse_offset("-03:30"), minutes(-210));
    EXPECT_EQ(parse_offset("+14:59"), minutes(14 * 60 + 59));
    EXPECT_EQ(parse_offset("-00:00"), minutes(0));
    for (const char* const wrong : {"", "3", "03:00", "+3:00", "+03:00 ", "+0300", "+03-00",
                                    "+15:00", "-03:60", "-0a:00", "+03:0x", "+-3:00"}) {
        EXPECT_EQ(parse_offset(wrong), std::nullopt) << wrong;
    }
}

}  // namespace
}  // namespace orvix::broadcast
