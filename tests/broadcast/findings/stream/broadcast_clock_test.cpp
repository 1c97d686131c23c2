#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <without_log.h>

#include "../finding_streams.h"

namespace orvix::broadcast {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

class BroadcastClock : public without_log {};

bytes tdt_at(std::uint32_t hhmmss) { return tdt_section(utc_time(day, hhmmss)); }

stream_writer one_tdt(std::uint16_t mjd) {
    stream_writer stream;
    stream.section(0x0014, tdt_section(utc_time(mjd, 0x120000))).null_packets(5);
    return stream;
}

TEST_F(BroadcastClock, IsWrongBeforeBrazilHadDigitalTelevision) {
    EXPECT_THAT(says("clock_wrong", one_tdt(54100)),
                ElementsAre("the TDT says that it is 2006-12-31T12:00:00-03:00"));
    EXPECT_THAT(says("clock_wrong", one_tdt(54101)), IsEmpty());
}

TEST_F(BroadcastClock, IsWrongBehindTheEndOf32BitsWhichReceiversWrap) {
    EXPECT_THAT(says("clock_wrong", one_tdt(65441)), IsEmpty());  // 2038-01-18
    EXPECT_THAT(says("receiver_clock_2038", one_tdt(65441)), IsEmpty());
    EXPECT_THAT(says("clock_wrong", one_tdt(65442)),
                ElementsAre("the TDT says that it is 2038-01-19T12:00:00-03:00"));
    EXPECT_THAT(
        says("receiver_clock_2038", one_tdt(65442)),
        ElementsAre("the TDT says 2038-01-19T12:00:00-03:00, which the receiver takes for a "
                    "time of 1901 or 1902"));
}

TEST_F(BroadcastClock, IsComparedWithThatOfTheStream) {
    timed_stream right(66);
    right.once(1, 0x0014, tdt_at(0x203000)).once(31, 0x0014, tdt_at(0x203032));
    EXPECT_THAT(says("clock_wrong", right), IsEmpty());

    timed_stream fast(66);
    fast.once(1, 0x0014, tdt_at(0x203000))
        .once(31, 0x0014, tdt_at(0x203032))
        .once(61, 0x0014, tdt_at(0x203103));
    const std::vector<finding> found = only("clock_wrong", found_in(fast));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_NEAR(found[0].worst.value(), 3, 0.01);
    EXPECT_EQ(found[0].limit, 2);
    EXPECT_EQ(found[0].says(),
              "the TDT went on by 63 s while the stream's clock did by 60 s (at most 2 s apart "
              "in a minute)");
}

TEST_F(BroadcastClock, IsNotComparedAcrossAHole) {
    stream_writer cut = timed_stream(70)
                            .once(1, 0x0014, tdt_at(0x203000))
                            .once(61, 0x0014, tdt_at(0x203100))
                            .write();
    EXPECT_THAT(says("clock_wrong", cut), IsEmpty());
    cut.packets().erase(cut.packets().begin() + 10'000, cut.packets().begin() + 50'000);
    EXPECT_THAT(says("clock_wrong", cut), IsEmpty());
}

TEST_F(BroadcastClock, DatesWhatIsFoundAfterIt) {
    timed_stream stream(4);
    stream.every(0.3, 0x0000, {pat()}, 0.001, 0.5)
        .once(1.5, 0x0014, tdt_at(0x203000))
        .once(2, 0x0000, pat())
        .once(3, 0x0000, pat());
    const std::vector<finding> found = only("pat_rare", found_in(stream));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_FALSE(found[0].first.time);
    const std::time_t half_past_eight = (std::time_t{day} - 40587) * 86400 + 73800;
    EXPECT_EQ(found[0].last.time, half_past_eight + 2);
}

}  // namespace
}  // namespace orvix::broadcast
