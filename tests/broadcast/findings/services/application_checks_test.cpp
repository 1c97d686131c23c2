#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <without_log.h>

#include "../finding_streams.h"

namespace orvix::broadcast {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint8_t autostart = 1;

class ApplicationChecks : public without_log {};

bytes pat_of_one() {
    return pat_section(multiplex_id, program(0, 0x0010) + program(hd_service, hd_pmt_pid));
}
bytes describe_data_component(std::uint16_t id) {
    return descriptor(0xFD, section_writer().bits(16, id));
}
/// With an AIT and a carousel.
bytes pmt_with(const bytes& ait_descriptors, std::uint8_t carousel_tag = 0x40,
               const long_header& header = {}) {
    return pmt_section(
        hd_service, 0x0100, {},
        elementary_stream(0x05, ait_pid, ait_descriptors) +
            elementary_stream(0x0B, 0x0141, describe_stream_identifier(carousel_tag)),
        header);
}
bytes announcing_pmt() { return pmt_with(describe_data_component(0x00A3)); }

timed_stream broadcast_of(const bytes& pmt, double seconds) {
    timed_stream stream(seconds);
    stream.every(0.2, 0x0000, {pat_of_one()});
    return stream.every(0.2, hd_pmt_pid, {pmt}, 0.01);
}

bytes describe_labels(const bytes& labels) {
    return describe_application(application_profile(1, 1, 2, 3), 1, 3, 5, labels);
}
bytes ait_of(const bytes& own, const bytes& common = {}, std::uint8_t control_code = autostart,
             const long_header& header = {}) {
    return ait_section(0x0009, common, application(0x0A, 0x0017, control_code, own), header);
}
timed_stream with_ait(const bytes& ait, const bytes& pmt = announcing_pmt()) {
    timed_stream stream = broadcast_of(pmt, 1);
    return stream.every(0.2, ait_pid, {ait}, 0.1);
}

TEST_F(ApplicationChecks, MissAnAitThatIsAnnounced) {
    const auto found =
        only("application_announced_missing", found_in(broadcast_of(announcing_pmt(), 21.5)));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.pid, ait_pid);
    EXPECT_EQ(found[0].about.service_id, hd_service);
    EXPECT_EQ(found[0].count, 1u);
    EXPECT_EQ(found[0].what,
              "the PMT of service 0x5C20 announces an AIT on PID 0x0140, but none has come in 20.5 "
              "s: receivers find no applications");
    EXPECT_THAT(says("application_announced_missing", broadcast_of(announcing_pmt(), 19.5)),
                IsEmpty());
}

TEST_F(ApplicationChecks, KnowWhatAnnouncesAnAit) {
    const auto announced = [](const bytes& descriptors) {
        return says("application_announced_missing", broadcast_of(pmt_with(descriptors), 22));
    };
    EXPECT_EQ(announced(descriptor(0x6F, {})).size(), 1u);
    EXPECT_THAT(announced({}), IsEmpty()) << "other private sections may be meant";
    EXPECT_THAT(announced(describe_data_component(0x00A0)), IsEmpty());
}

TEST_F(ApplicationChecks, FindThatAnAitComes) {
    timed_stream stream = broadcast_of(announcing_pmt(), 22);
    stream.every(9, ait_pid, {ait_section(0x0009, {}, {})}, 8);
    EXPECT_THAT(says("application_announced_missing", stream), IsEmpty());
}

TEST_F(ApplicationChecks, MissATransport) {
    const auto found = only("application_unreachable", found_in(with_ait(ait_of({}))));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.pid, ait_pid);
    EXPECT_EQ(found[0].about.service_id, hd_service);
    EXPECT_EQ(found[0].about.item, 0x0A0017u);
    EXPECT_EQ(found[0].how_bad, severity::error);
    EXPECT_EQ(found[0].says(),
              "application 0x0017 (organisation_id 0x0000000A) of service 0x5C20 has no transport "
              "protocol descriptor: receivers cannot load it");
    EXPECT_THAT(
        says("application_unreachable", with_ait(ait_of(describe_object_carousel(7, 0x40)))),
        IsEmpty());
    EXPECT_THAT(says("application_unreachable", with_ait(ait_of(describe_ip_transport(7, 0, {})))),
                IsEmpty());
}

TEST_F(ApplicationChecks, MissTheStreamOfACarousel) {
    const std::string missing =
        "application 0x0017 (organisation_id 0x0000000A) of service 0x5C20 is to come in the "
        "carousel of component_tag 0x41, which no stream of the service's PMT has: receivers "
        "cannot load it";
    EXPECT_THAT(
        says("application_unreachable", with_ait(ait_of(describe_object_carousel(7, 0x41)))),
        ElementsAre(missing));
    EXPECT_THAT(says("application_unreachable", with_ait(ait_of(describe_data_carousel(7, 0x41)))),
                ElementsAre(missing));
    const bytes elsewhere = remote_connection(multiplex_id, multiplex_id, mobile_service);
    EXPECT_THAT(says("application_unreachable",
                     with_ait(ait_of(describe_object_carousel(7, 0x41, elsewhere)))),
                IsEmpty());
}

TEST_F(ApplicationChecks, TakeTransportsThatAllApplicationsShareByTheirLabels) {
    const bytes common = describe_object_carousel(7, 0x40) + describe_object_carousel(8, 0x41);
    const auto unreachable = [&](const bytes& own) {
        return says("application_unreachable", with_ait(ait_of(own, common)));
    };
    EXPECT_THAT(unreachable(describe_labels({7})), IsEmpty());
    EXPECT_EQ(unreachable(describe_labels({8})).size(), 1u);
    EXPECT_EQ(unreachable(describe_labels({9})).size(), 1u);
    EXPECT_EQ(unreachable({}).size(), 1u) << "whichever it takes";
    EXPECT_THAT(
        says("application_unreachable", with_ait(ait_of({}, describe_object_carousel(7, 0x40)))),
        IsEmpty());
}

TEST_F(ApplicationChecks, LeaveOutApplicationsThatAreNotStarted) {
    for (const std::uint8_t control_code : bytes{3, 4, 6}) {
        EXPECT_THAT(says("application_unreachable", with_ait(ait_of({}, {}, control_code))),
                    IsEmpty())
            << unsigned{control_code};
    }
    EXPECT_EQ(says("application_unreachable", with_ait(ait_of({}, {}, 2))).size(), 1u);
}

TEST_F(ApplicationChecks, LookAtAllApplicationsOfABroadcast) {
    // The receiver sees only those that begin before their loop's length counts from the AIT's
    // start: common descriptors hide the others.
    const bytes common = descriptor(0x05, bytes(40));
    EXPECT_EQ(says("application_unreachable", with_ait(ait_of({}, common))).size(), 1u);
}

TEST_F(ApplicationChecks, GiveTheAitTimeToFollowThePmt) {
    const auto ait_after = [](double seconds) {
        timed_stream stream(40);
        const bytes announcement = describe_data_component(0x00A3);
        stream.every(0.2, 0x0000, {pat_of_one()})
            .every(0.2, hd_pmt_pid, {pmt_with(announcement, 0x40)}, 0.01, 3)
            .every(0.2, hd_pmt_pid, {pmt_with(announcement, 0x41, {1})}, 3)
            .every(1, ait_pid, {ait_of(describe_object_carousel(7, 0x40))}, 0.1, 3 + seconds)
            .every(1, ait_pid, {ait_of(describe_object_carousel(7, 0x41), {}, autostart, {1})},
                   3 + seconds);
        return says("application_unreachable", stream);
    };
    EXPECT_THAT(ait_after(9), IsEmpty());
    EXPECT_EQ(ait_after(12).size(), 1u);
}

TEST_F(ApplicationChecks, KnowAnAitAgainThatHadBeenForgotten) {
    timed_stream stream(25);
    const bytes without = pmt_section(hd_service, 0x0100, {}, elementary_stream(0x1B, 0x0111), {1});
    const bytes again = pmt_with(describe_data_component(0x00A3), 0x41, {2});
    stream.every(0.2, 0x0000, {pat_of_one()})
        .every(0.2, hd_pmt_pid, {announcing_pmt()}, 0.01, 1)
        .every(0.2, hd_pmt_pid, {without}, 1, 13)
        .every(0.2, hd_pmt_pid, {again}, 13)
        .every(0.2, ait_pid, {ait_of(describe_object_carousel(7, 0x40))}, 0.1);
    EXPECT_EQ(says("application_unreachable", stream).size(), 1u);
}

}  // namespace
}  // namespace orvix::broadcast
