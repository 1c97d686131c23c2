#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <without_log.h>

#include "../finding_streams.h"

namespace orvix::broadcast {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint16_t video_pid = 0x0111;
constexpr std::uint16_t strange_pid = 0x0333;

class PidWatch : public without_log {};

bytes pat_of_one() {
    return pat_section(multiplex_id, program(0, 0x0010) + program(hd_service, hd_pmt_pid));
}

bytes pmt_of_one(const bytes& program_descriptors = {}, const bytes& more_streams = {}) {
    return pmt_section(hd_service, timed_stream::clock_pid, program_descriptors,
                       elementary_stream(0x1B, video_pid) + more_streams);
}

timed_stream with_one_service(double seconds, const bytes& pmt = pmt_of_one()) {
    timed_stream stream(seconds);
    stream.every(0.3, 0x0000, {pat_of_one()}, 0.001).every(0.3, hd_pmt_pid, {pmt}, 0.003);
    return stream;
}

TEST_F(PidWatch, MissesAPidThatAPmtNames) {
    timed_stream stream = with_one_service(9);
    stream.elementary(video_pid, 0.1, 0, 3);
    const std::vector<finding> found = only("pid_missing", found_in(stream));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.pid, video_pid);
    EXPECT_EQ(found[0].count, 1u);
    EXPECT_TRUE(found[0].in_force);
    EXPECT_NEAR(found[0].worst.value(), 6, 0.3);
    EXPECT_EQ(found[0].limit, 5);
    EXPECT_EQ(found[0].what.substr(0, 31), "nothing came on PID 0x0111 for ");
}

TEST_F(PidWatch, MissesAPidThatNeverSends) {
    EXPECT_EQ(says("pid_missing", with_one_service(6)).size(), 1u);
    EXPECT_THAT(says("pid_missing", with_one_service(5)), IsEmpty());
}

TEST_F(PidWatch, MeasuresTheSilenceThatHasEnded) {
    timed_stream stream = with_one_service(25);
    stream.elementary(video_pid, 0.1, 0, 3).elementary(video_pid, 0.1, 10);
    const std::vector<finding> found = only("pid_missing", found_in(stream));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_FALSE(found[0].in_force);
    EXPECT_NEAR(found[0].worst.value(), 7, 0.3);
}

TEST_F(PidWatch, HearsAPidThatSendsEverySoOften) {
    timed_stream stream = with_one_service(20);
    stream.elementary(video_pid, 4.9);
    EXPECT_THAT(says("pid_missing", stream), IsEmpty());
}

TEST_F(PidWatch, MissesAPcrPid) {
    const bytes pmt =
        pmt_section(hd_service, 0x0222, {}, elementary_stream(0x1B, timed_stream::clock_pid));
    EXPECT_THAT(says("pid_missing", with_one_service(6, pmt)).size(), 1u);
    const bytes without_clock =
        pmt_section(hd_service, 0x1FFF, {}, elementary_stream(0x1B, timed_stream::clock_pid));
    EXPECT_THAT(says("pid_missing", with_one_service(6, without_clock)), IsEmpty());
}

TEST_F(PidWatch, MissesNothingThatAPmtNamesNoLonger) {
    const bytes later = pmt_section(hd_service, timed_stream::clock_pid, {}, {}, {1});
    timed_stream stream(20);
    stream.every(0.3, 0x0000, {pat_of_one()}, 0.001)
        .every(0.3, hd_pmt_pid, {pmt_of_one()}, 0.003, 4)
        .every(0.3, hd_pmt_pid, {later}, 4.003);
    EXPECT_THAT(says("pid_missing", stream), IsEmpty());
}

TEST_F(PidWatch, TellsOfAPidThatNoTableNames) {
    timed_stream stream = with_one_service(3);
    stream.elementary(video_pid).elementary(strange_pid);
    const std::vector<finding> found = only("pid_unreferenced", found_in(stream));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.pid, strange_pid);
    EXPECT_EQ(found[0].says(), "PID 0x0333 sends packets, but no table names it");
}

TEST_F(PidWatch, LeavesAloneAPidThatSendsForHalfASecond) {
    timed_stream stream = with_one_service(3);
    stream.elementary(video_pid).elementary(strange_pid, 0.1, 1, 1.51);
    EXPECT_THAT(says("pid_unreferenced", stream), IsEmpty());
}

TEST_F(PidWatch, KnowsThePidsOfPmtsOfTheNetworkAndOfConditionalAccess) {
    const auto conditional_access = [](std::uint16_t pid) {
        return descriptor(0x09, {0x00, 0x01, static_cast<std::uint8_t>(0xE0 | pid >> 8),
                                 static_cast<std::uint8_t>(pid & 0xFF)});
    };
    const bytes pmt = pmt_of_one(conditional_access(0x0401),
                                 elementary_stream(0x11, 0x0112, conditional_access(0x0402)));
    const bytes cat = long_section(0x01, 0xFFFF, conditional_access(0x0403));
    timed_stream stream = with_one_service(3, pmt);
    stream.every(1, 0x0001, {cat}, 0.005).elementary(video_pid).elementary(0x0112);
    for (const int pid : {0x0401, 0x0402, 0x0403, 0x002F, 0x1FC8, 0x1FF0}) {
        stream.elementary(static_cast<std::uint16_t>(pid));
    }
    EXPECT_THAT(says("pid_unreferenced", stream), IsEmpty());
    stream.elementary(0x0404);
    EXPECT_EQ(says("pid_unreferenced", stream).size(), 1u);
}

TEST_F(PidWatch, WaitsForAllPmts) {
    timed_stream stream(3);
    stream.every(0.3, 0x0000, {pat()}, 0.001)
        .every(0.3, hd_pmt_pid, {pmt_of_one()}, 0.003)
        .elementary(strange_pid);
    EXPECT_THAT(says("pid_unreferenced", stream), IsEmpty());
    stream.every(0.3, mobile_pmt_pid, {mobile_pmt()}, 0.005);
    EXPECT_EQ(says("pid_unreferenced", stream).size(), 1u);
}

TEST_F(PidWatch, ReadsThePmtThatTheReceiverRefuses) {
    bytes streams;
    for (std::uint16_t pid = 0x0300; pid < 0x0340; ++pid) {
        streams = streams + elementary_stream(0x06, pid);
    }
    timed_stream stream =
        with_one_service(3, pmt_section(hd_service, timed_stream::clock_pid, {}, streams));
    stream.elementary(strange_pid);
    EXPECT_THAT(says("pid_unreferenced", stream), IsEmpty());
    stream.elementary(0x0340);
    EXPECT_EQ(says("pid_unreferenced", stream).size(), 1u);
}

}  // namespace
}  // namespace orvix::broadcast
