#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <without_log.h>

#include "../finding_streams.h"

namespace orvix::broadcast {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr std::uint8_t announces_schedule = 2;
constexpr std::uint8_t announces_present = 1;

class EventAnnouncements : public without_log {};

bytes pat_of_one() {
    return pat_section(multiplex_id, program(0, 0x0010) + program(hd_service, hd_pmt_pid));
}
/// `flags`: the EIT flags, bits 1 and 0. The bits that the receiver reads say the opposite.
bytes sdt_with(std::uint8_t flags, const long_header& header = {}) {
    const bytes service = section_writer()
                              .bits(16, hd_service)
                              .bits(2, ~flags & 3)
                              .bits(4, 0xF)
                              .bits(2, flags)
                              .bits(4, 8)  // running, not scrambled
                              .bits(12, 0);
    return sdt_section(multiplex_id, multiplex_id, service, header);
}
bytes eit_of(std::uint8_t table_id, bool has_event = true, std::uint16_t service_id = hd_service) {
    const bytes events = event(1, utc_time(day, 0x194500), 0x014530, 4, 0);
    return eit_section({table_id, service_id, multiplex_id, multiplex_id, 0, table_id},
                       has_event ? events : bytes());
}

timed_stream broadcast_of(const bytes& sdt, double seconds) {
    timed_stream stream(seconds);
    stream.every(0.2, 0x0000, {pat_of_one()}).every(0.5, 0x0011, {sdt});
    return stream;
}

TEST_F(EventAnnouncements, MissPresentAndFollowingEvents) {
    const auto found =
        only("eit_announced_missing", found_in(broadcast_of(sdt_with(announces_present), 4.5)));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.service_id, hd_service);
    EXPECT_EQ(found[0].about.item, 0u);
    EXPECT_EQ(found[0].count, 1u);
    EXPECT_TRUE(found[0].in_force);
    EXPECT_THAT(found[0].says(),
                StartsWith("the SDT announces an EIT present/following of service 0x5C20 "
                           "(EIT_present_following_flag 1), but none has come in 4."));
    EXPECT_THAT(says("eit_announced_missing", broadcast_of(sdt_with(announces_present), 3.9)),
                IsEmpty());
    EXPECT_THAT(says("eit_announced_missing", broadcast_of(sdt_with(0), 4.5)), IsEmpty());
}

TEST_F(EventAnnouncements, MissASchedule) {
    const auto found =
        only("eit_announced_missing", found_in(broadcast_of(sdt_with(announces_schedule), 21)));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.item, 1u);
    EXPECT_THAT(
        found[0].says(),
        StartsWith(
            "the SDT announces an EIT schedule of service 0x5C20 (EIT_schedule_flag 1), but none "
            "has come in 20."));
    EXPECT_THAT(says("eit_announced_missing", broadcast_of(sdt_with(announces_schedule), 19)),
                IsEmpty());
}

TEST_F(EventAnnouncements, AreKeptByEventsOfTheSameServiceAndKind) {
    const auto with = [](const bytes& eit) {
        timed_stream stream = broadcast_of(sdt_with(announces_present), 5);
        return says("eit_announced_missing", stream.every(1, 0x0012, {eit}, 0.1));
    };
    EXPECT_THAT(with(eit_of(0x4E)), IsEmpty());
    EXPECT_THAT(with(eit_of(0x4E, false)), IsEmpty()) << "one without events has come, too";
    EXPECT_EQ(with(eit_of(0x50)).size(), 1u);
    EXPECT_EQ(with(eit_of(0x4F)).size(), 1u) << "of another transport stream";
    EXPECT_EQ(with(eit_of(0x4E, true, mobile_service)).size(), 1u);
}

TEST_F(EventAnnouncements, AreNoMatterForServicesThatAreNotInThePat) {
    timed_stream stream(6);
    stream.every(0.2, 0x0000, {pat_section(multiplex_id, program(0, 0x0010))})
        .every(0.5, 0x0011, {sdt_with(announces_present)});
    EXPECT_THAT(says("eit_announced_missing", stream), IsEmpty());
}

TEST_F(EventAnnouncements, AreKeptWhenTheEventsComeLate) {
    timed_stream stream = broadcast_of(sdt_with(announces_present), 20);
    stream.every(1, 0x0012, {eit_of(0x4E)}, 6);
    const auto found = only("eit_announced_missing", found_in(stream));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_NEAR(found[0].first.seconds.value(), 4, 0.6);
    EXPECT_NEAR(found[0].last.seconds.value(), 6, 0.6);
    EXPECT_FALSE(found[0].in_force);
}

TEST_F(EventAnnouncements, AreJudgedWithoutAClockWhenTheSdtHasComeThreeTimes) {
    const auto after = [](int times, std::uint8_t flags) {
        stream_writer stream;
        stream.section(0x0000, pat_of_one());
        for (int i = 0; i < times; ++i) stream.section(0x0011, sdt_with(flags));
        return says("eit_announced_missing", stream);
    };
    EXPECT_THAT(after(2, announces_present), IsEmpty());
    EXPECT_THAT(after(3, announces_present),
                ElementsAre("the SDT announces an EIT present/following of service 0x5C20 "
                            "(EIT_present_following_flag 1), but none has come"));
    EXPECT_THAT(after(3, announces_schedule), IsEmpty()) << "which takes longer";
}

TEST_F(EventAnnouncements, LackEventsThatCome) {
    const auto with = [](std::uint8_t flags, const bytes& eit) {
        timed_stream stream = broadcast_of(sdt_with(flags), 3);
        return only("eit_unannounced", found_in(stream.every(1, 0x0012, {eit}, 0.1)));
    };
    const auto found = with(announces_schedule, eit_of(0x4E));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.service_id, hd_service);
    EXPECT_EQ(found[0].about.item, 0u);
    EXPECT_EQ(found[0].says(),
              "an EIT present/following of service 0x5C20 comes, but the SDT does not announce it "
              "(EIT_present_following_flag 0): receivers may pass it over");
    EXPECT_THAT(
        says(with(announces_present, eit_of(0x5F))),
        ElementsAre("an EIT schedule of service 0x5C20 comes, but the SDT does not announce "
                    "it (EIT_schedule_flag 0): receivers may pass it over"));
    EXPECT_THAT(with(announces_present, eit_of(0x4E)), IsEmpty());
    EXPECT_THAT(with(announces_schedule, eit_of(0x50)), IsEmpty());
    EXPECT_THAT(with(0, eit_of(0x4E, false)), IsEmpty()) << "no events, nothing to announce";
}

TEST_F(EventAnnouncements, LackEventsUntilTheyEnd) {
    timed_stream stream = broadcast_of(sdt_with(0), 20);
    stream.every(0.5, 0x0012, {eit_of(0x4E)}, 0.1, 2);
    const auto found = only("eit_unannounced", found_in(stream));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_NEAR(found[0].last.seconds.value(), 6, 0.6);
    EXPECT_FALSE(found[0].in_force);
}

TEST_F(EventAnnouncements, AreGivenTimeToEnd) {
    const auto events_until = [](double end) {
        timed_stream stream(10);
        stream.every(0.2, 0x0000, {pat_of_one()})
            .every(0.5, 0x0011, {sdt_with(announces_present)}, 0, 3)
            .every(0.5, 0x0011, {sdt_with(0, {1})}, 3);
        return says("eit_unannounced", stream.every(0.5, 0x0012, {eit_of(0x4E)}, 0.1, end));
    };
    EXPECT_THAT(events_until(4.9), IsEmpty());
    EXPECT_EQ(events_until(6).size(), 1u);
}

}  // namespace
}  // namespace orvix::broadcast
