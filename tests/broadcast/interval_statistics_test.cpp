#include <broadcast/interval_statistics.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <without_log.h>

#include <string>
#include <vector>

#include "findings/finding_streams.h"

namespace orvix::broadcast {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

class IntervalStatistics : public without_log {};

std::vector<interval_summary> intervals_of(const timed_stream& stream) {
    interval_statistics intervals;
    findings all({{}, {}, [&](const table_interval& ended) { intervals.take(ended); }});
    multiplex from("", all, {});
    const bytes read = stream.write().stream();
    std::copy(read.begin(), read.end(), from.room(read.size()));
    from.filled(read.size());
    from.end();
    return intervals.told();
}

TEST_F(IntervalStatistics, HaveTheShortestTheLongestAndTheMean) {
    timed_stream stream(2);
    for (const double at : {0.101, 0.301, 0.902, 1.005}) stream.once(at, 0x0000, pat());
    const std::vector<interval_summary> all = intervals_of(stream);
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(table_name(all[0]), "PAT");
    EXPECT_EQ(all[0].count, 3u);
    EXPECT_NEAR(all[0].least, 0.103, 2e-3);
    EXPECT_NEAR(all[0].greatest, 0.601, 2e-3);
    EXPECT_NEAR(all[0].mean(), 0.904 / 3, 2e-3);
    EXPECT_EQ(all[0].limit_seconds, 0.5);
    EXPECT_EQ(all[0].late, 1u);
}

TEST_F(IntervalStatistics, AreOfEachTableOfEachService) {
    timed_stream stream(5);
    stream.every(0.3, 0x0000, {pat()}, 0.001)
        .every(0.4, hd_pmt_pid, {hd_pmt()}, 0.003)
        .every(0.2, mobile_pmt_pid, {mobile_pmt()}, 0.005)
        .every(1.5, 0x0012, {eit()}, 0.007)
        .every(2, 0x0014, {tdt(), tot()}, 0.009);
    std::vector<std::string> told;
    for (const interval_summary& of : intervals_of(stream)) {
        told.push_back(table_name(of) + ' ' + std::to_string(of.service_id.value_or(0)) + ' ' +
                       std::to_string(of.pid) + ' ' + std::to_string(of.count));
    }
    EXPECT_THAT(told, ElementsAre("PAT 0 0 16", "PMT 23584 272 12", "PMT 23608 8136 24",
                                  "EIT present/following 23584 18 3", "TOT or TDT 0 20 2"));
}

bytes schedule(std::uint8_t section_number) {
    return eit_section({0x50, hd_service, multiplex_id, multiplex_id, section_number, 0x50},
                       event(section_number, utc_time(day, 0x100000), 0x010000, 0, 0),
                       {0, 1, section_number, 0xF8});
}

TEST_F(IntervalStatistics, KeepTheFirstDayOfAScheduleApart) {
    timed_stream stream(5);
    stream.every(0.3, 0x0000, {pat()}, 0.001)
        .every(1, 0x0012, {schedule(0)}, 0.003)
        .every(2, 0x0012, {schedule(64)}, 0.005);
    std::vector<std::string> told;
    for (const interval_summary& of : intervals_of(stream)) {
        told.push_back(table_name(of) + ' ' + std::to_string(of.count));
    }
    EXPECT_THAT(told, ElementsAre("PAT 16", "EIT schedule 0x50, first day 4",
                                  "EIT schedule 0x50, later days 2"));
}

TEST_F(IntervalStatistics, CountASectionOnTheLimitAsInTime) {
    timed_stream stream(3);
    stream.every(0.5, 0x0000, {pat()}, 0.001);
    const std::vector<interval_summary> all = intervals_of(stream);
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].late, 0u);
}

TEST_F(IntervalStatistics, AreNoneWithoutAClock) {
    timed_stream stream(3);
    stream.every(0.5, 0x0000, {pat()}, 0.001).without_pcrs();
    EXPECT_THAT(intervals_of(stream), IsEmpty());
}

TEST_F(IntervalStatistics, KeepNoMoreTablesThanTheirLimit) {
    interval_statistics intervals;
    const std::size_t most = intervals.limit().most;
    for (std::size_t i = 0; i < most + 3; ++i) {
        table_interval ended;
        ended.service_id = static_cast<std::uint16_t>(i);
        intervals.take(ended);
    }
    EXPECT_EQ(intervals.told().size(), most);
    EXPECT_EQ(intervals.limit().left_out, 3u);
}

}  // namespace
}  // namespace orvix::broadcast
