#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <without_log.h>

#include "../finding_streams.h"

namespace orvix::broadcast {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

class ComponentChecks : public without_log {};

bytes pat_of_one() {
    return pat_section(multiplex_id, program(0, 0x0010) + program(hd_service, hd_pmt_pid));
}
timed_stream with_pmt(const bytes& streams, const bytes& program_descriptors = {}) {
    timed_stream stream(1);
    stream.every(0.2, 0x0000, {pat_of_one()});
    return stream.every(0.2, hd_pmt_pid,
                        {pmt_section(hd_service, 0x0100, program_descriptors, streams)}, 0.01);
}
timed_stream with_stream(std::uint8_t stream_type, std::uint8_t component_tag) {
    return with_pmt(
        elementary_stream(stream_type, 0x0111, describe_stream_identifier(component_tag)));
}

TEST_F(ComponentChecks, FindATagThatTwoStreamsHave) {
    const bytes first = elementary_stream(0x11, 0x0111, describe_stream_identifier(0x10));
    const auto found =
        only("component_tag_twice",
             found_in(with_pmt(first +
                               elementary_stream(0x11, 0x0112, describe_stream_identifier(0x10)))));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.service_id, hd_service);
    EXPECT_EQ(found[0].about.item, 0x10u);
    EXPECT_EQ(found[0].count, 1u);
    EXPECT_EQ(found[0].how_bad, severity::error);
    EXPECT_EQ(found[0].says(),
              "PID 0x0111 and PID 0x0112 of service 0x5C20 both have component_tag 0x10: receivers "
              "may take one for the other");

    const bytes by_component = describe_component(2, 3, 0x10, "por");
    EXPECT_EQ(
        says("component_tag_twice", with_pmt(first + elementary_stream(0x11, 0x0112, by_component)))
            .size(),
        1u);
    EXPECT_THAT(
        says("component_tag_twice",
             with_pmt(first + elementary_stream(0x11, 0x0112, describe_stream_identifier(0x11)))),
        IsEmpty());
}

TEST_F(ComponentChecks, TakeNoTagForNone) {
    EXPECT_THAT(says("component_tag_twice",
                     with_pmt(elementary_stream(0x11, 0x0111) + elementary_stream(0x11, 0x0112))),
                IsEmpty());
    EXPECT_THAT(says("component_tag_kind", with_pmt(elementary_stream(0x11, 0x0111))), IsEmpty())
        << "0 would be that of video";
}

TEST_F(ComponentChecks, TakeTagsOfTwoServicesForTheirOwn) {
    timed_stream stream(1);
    const bytes audio = describe_stream_identifier(0x10);
    stream.every(0.2, 0x0000, {pat()})
        .every(0.2, hd_pmt_pid,
               {pmt_section(hd_service, 0x0100, {}, elementary_stream(0x11, 0x0111, audio))}, 0.01)
        .every(0.2, mobile_pmt_pid,
               {pmt_section(mobile_service, 0x0100, {}, elementary_stream(0x11, 0x0112, audio))},
               0.01);
    EXPECT_THAT(says("component_tag_twice", stream), IsEmpty());
}

TEST_F(ComponentChecks, FindATagOfAnotherKind) {
    const auto found = only("component_tag_kind", found_in(with_stream(0x1B, 0x10)));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.pid, 0x0111);
    EXPECT_EQ(found[0].about.service_id, hd_service);
    EXPECT_EQ(found[0].about.item, 0x10u);
    EXPECT_EQ(found[0].says(),
              "PID 0x0111 of service 0x5C20 is H.264 video (stream_type 0x1B) with component_tag "
              "0x10: video has 0x00 to 0x0F, in 1-seg 0x81 and 0x82");
}

TEST_F(ComponentChecks, KnowTheTagsOfEachKind) {
    struct kind {
        std::uint8_t stream_type;
        bytes right;
        bytes wrong;
    };
    const kind kinds[] = {
        {0x02, {0x00, 0x0F, 0x81, 0x82}, {0x10, 0x80, 0x83}},
        {0x1B, {0x00, 0x0F, 0x81, 0x82}, {0x10, 0x30, 0x83}},
        {0x11, {0x10, 0x2F, 0x83, 0x86, 0x90, 0x91}, {0x00, 0x0F, 0x30, 0x82, 0x87, 0x8F, 0x92}},
        {0x06, {0x30, 0x3F, 0x87, 0x88}, {0x00, 0x2F, 0x40, 0x86, 0x89}},
        {0x0B, {0x40, 0x6F, 0x80, 0x89, 0x8B}, {0x3F, 0x70, 0x7F, 0x81, 0x88, 0x8C}},
        {0x0D, {0x40, 0x7F, 0x80, 0x89, 0x8B}, {0x3F, 0x81, 0x88, 0x8C}},
        {0x05, {0x00, 0x10, 0xFF}, {}},
    };
    for (const kind& k : kinds) {
        for (const std::uint8_t tag : k.right) {
            EXPECT_THAT(says("component_tag_kind", with_stream(k.stream_type, tag)), IsEmpty())
                << unsigned{k.stream_type} << ' ' << unsigned{tag};
        }
        for (const std::uint8_t tag : k.wrong) {
            EXPECT_EQ(says("component_tag_kind", with_stream(k.stream_type, tag)).size(), 1u)
                << unsigned{k.stream_type} << ' ' << unsigned{tag};
        }
    }
}

TEST_F(ComponentChecks, LookAtPmtsThatTheReceiverRefuses) {
    const bytes long_one = descriptor(0x05, bytes(250));
    const bytes twice = elementary_stream(0x11, 0x0111, describe_stream_identifier(0x10)) +
                        elementary_stream(0x11, 0x0112, describe_stream_identifier(0x10));
    const timed_stream stream = with_pmt(twice, long_one);
    EXPECT_EQ(says("refused", stream).size(), 1u);
    EXPECT_EQ(says("component_tag_twice", stream).size(), 1u);
}

TEST_F(ComponentChecks, SeeThatAPmtHasBeenMadeRight) {
    const auto pmt_with_audio = [](std::uint8_t tag, std::uint8_t version) {
        const bytes streams = elementary_stream(0x11, 0x0111, describe_stream_identifier(tag));
        return pmt_section(hd_service, 0x0100, {}, streams, {version});
    };
    timed_stream stream(14);
    stream.every(0.2, 0x0000, {pat_of_one()})
        .every(0.2, hd_pmt_pid, {pmt_with_audio(0x00, 0)}, 0.01, 2)
        .every(0.2, hd_pmt_pid, {pmt_with_audio(0x10, 1)}, 2);
    const auto found = only("component_tag_kind", found_in(stream));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_NEAR(found[0].last.seconds.value(), 2, 0.6);
    EXPECT_FALSE(found[0].in_force);
}

TEST_F(ComponentChecks, ForgetServicesThatAreGone) {
    timed_stream stream(14);
    stream.every(0.2, 0x0000, {pat_of_one()}, 0, 2)
        .every(0.2, 0x0000, {pat_section(multiplex_id, program(0, 0x0010), {1})}, 2)
        .every(0.2, hd_pmt_pid,
               {pmt_section(hd_service, 0x0100, {},
                            elementary_stream(0x11, 0x0111, describe_stream_identifier(0)))},
               0.01, 2);
    const auto found = only("component_tag_kind", found_in(stream));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_FALSE(found[0].in_force);
}

}  // namespace
}  // namespace orvix::broadcast
