#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <section_feed/stream_counts.h>
#include <stream_writer.h>

namespace orvix::section_feed {
namespace {

using test::adaptation_field;
using test::bytes;
using test::null_pid;
using test::set_continuity_counter;
using test::set_transport_error_indicator;
using test::set_transport_scrambling_control;
using test::stream_writer;
using testing::Each;
using testing::ElementsAre;

constexpr std::uint16_t pid = 0x0123;
constexpr packet_fault none = packet_fault::none;
constexpr packet_fault continuity = packet_fault::continuity;
constexpr packet_fault transport_error = packet_fault::transport_error;

adaptation_field announcing() {
    adaptation_field adaptation;
    adaptation.discontinuity_indicator = true;
    return adaptation;
}

/// Counts the packets of a stream, and keeps what was said of each.
struct counted {
    explicit counted(const stream_writer& stream) {
        for (const bytes& packet : stream.packets()) {
            const bytes exactly(packet);
            faults.push_back(counts.push({exactly.data(), faults.size()}));
        }
    }
    stream_counts counts;
    std::vector<packet_fault> faults;
};

/// `packets` packets with payload.
stream_writer stream_of(std::size_t packets) {
    stream_writer stream;
    for (std::size_t i = 0; i < packets; ++i) stream.packet(pid, false, {});
    return stream;
}

TEST(StreamCounts, CountsPacketsOfEveryPid) {
    stream_writer stream;
    for (unsigned int each = 0; each <= 0x1FFF; ++each) {
        stream.packet(static_cast<std::uint16_t>(each), false, {});
    }
    stream.packet(0x1FFE, false, {}).packet(0x0000, true, {});
    const counted result(stream);
    EXPECT_THAT(result.faults, Each(none));
    for (unsigned int each = 0; each <= 0x1FFF; ++each) {
        const bool twice = each == 0 || each == 0x1FFE;
        EXPECT_EQ(result.counts.of(static_cast<std::uint16_t>(each)).packets, twice ? 2u : 1u);
    }
}

TEST(StreamCounts, FollowsTheCounterAroundItsWrapFromWhereverItBegins) {
    for (unsigned int first = 0; first < 16; ++first) {
        stream_writer stream;
        stream.skip_counter(pid, first);
        for (int i = 0; i < 40; ++i) stream.packet(pid, false, {});
        EXPECT_THAT(counted(stream).faults, Each(none)) << first;
    }
}

TEST(StreamCounts, CountsAJumpOnceAndGoesOnFromTheNewValue) {
    for (unsigned int lost = 1; lost <= 14; ++lost) {
        stream_writer stream = stream_of(3);
        stream.skip_counter(pid, lost);
        for (int i = 0; i < 20; ++i) stream.packet(pid, false, {});
        const counted result(stream);
        EXPECT_EQ(result.counts.of(pid).continuity_errors, 1u) << lost;
        EXPECT_EQ(result.faults[3], continuity) << lost;
    }
}

TEST(StreamCounts, AllowsOneRepetitionOfAPacketAndNoSecond) {
    stream_writer stream = stream_of(2);
    stream.duplicate_packet().packet(pid, false, {});
    stream.duplicate_packet().duplicate_packet().packet(pid, false, {}).duplicate_packet();
    EXPECT_THAT(counted(stream).faults,
                ElementsAre(none, none, none, none, none, continuity, none, none));
}

TEST(StreamCounts, AllowsTheRepetitionOfTheFirstPacket) {
    EXPECT_THAT(counted(stream_of(1).duplicate_packet().packet(pid, false, {})).faults, Each(none));
}

TEST(StreamCounts, TakesACounterThatGoesBackByOneForAJump) {
    stream_writer stream = stream_of(3);
    stream.skip_counter(pid, 14).packet(pid, false, {}).packet(pid, false, {});
    EXPECT_THAT(counted(stream).faults, ElementsAre(none, none, none, continuity, none));
}

TEST(StreamCounts, DoesNotCountPacketsWithoutPayload) {
    stream_writer stream = stream_of(1);
    stream.packet_without_payload(pid).packet_without_payload(pid).packet(pid, false, {});
    stream.packet_without_payload(pid);
    set_continuity_counter(stream.last_packet(), 9);  // says nothing
    stream.packet(pid, false, {});
    stream.packet_without_payload(pid).duplicate_packet().duplicate_packet();
    stream.last_packet()[3] &= 0xCF;  // neither adaptation field nor payload
    stream.packet(pid, false, {});
    const counted result(stream);
    EXPECT_THAT(result.faults, Each(none));
    EXPECT_EQ(result.counts.of(pid).packets, 10u);
}

TEST(StreamCounts, CountsThePacketLostAroundOneWithoutPayload) {
    stream_writer stream = stream_of(1);
    stream.skip_counter(pid, 1).packet_without_payload(pid).packet(pid, false, {});
    EXPECT_THAT(counted(stream).faults, ElementsAre(none, none, continuity));
}

TEST(StreamCounts, CountsPacketsWithAnAdaptationFieldAndPayload) {
    stream_writer stream = stream_of(1);
    stream.packet(pid, false, {}, adaptation_field());
    stream.skip_counter(pid, 1).packet(pid, false, {}, adaptation_field());
    EXPECT_THAT(counted(stream).faults, ElementsAre(none, none, continuity));
}

TEST(StreamCounts, AllowsAnAnnouncedJumpAndGoesOnFromThere) {
    stream_writer stream = stream_of(2);
    stream.skip_counter(pid, 7).packet(pid, false, {}, announcing()).packet(pid, false, {});
    stream.skip_counter(pid, 7).packet(pid, false, {});
    EXPECT_THAT(counted(stream).faults, ElementsAre(none, none, none, none, continuity));
}

TEST(StreamCounts, TakesTheCounterFromAPacketWithoutPayloadThatAnnouncesAJump) {
    stream_writer stream = stream_of(2);
    stream.skip_counter(pid, 7).packet_without_payload(pid, announcing()).packet(pid, false, {});
    EXPECT_THAT(counted(stream).faults, Each(none));
}

TEST(StreamCounts, BeginsWithAPacketThatHasAPayload) {
    stream_writer stream;
    stream.packet_without_payload(pid, announcing()).packet_without_payload(pid);
    stream.skip_counter(pid, 4).packet(pid, false, {}).packet(pid, false, {});
    EXPECT_THAT(counted(stream).faults, Each(none));
}

TEST(StreamCounts, TakesAnEmptyAdaptationFieldForNoAnnouncement) {
    stream_writer stream = stream_of(2);
    stream.skip_counter(pid, 3).packet(pid, false, bytes{0, 0x80});
    stream.last_packet()[3] |= 0x20;  // adaptation_field_length 0; what follows is payload
    EXPECT_THAT(counted(stream).faults, ElementsAre(none, none, continuity));
}

TEST(StreamCounts, TreatsAPacketWithATransportErrorAsIfItHadNeverCome) {
    stream_writer stream = stream_of(4);
    set_transport_error_indicator(stream.packets()[0]);
    set_continuity_counter(stream.packets()[0], 9);
    set_transport_error_indicator(stream.packets()[2]);
    set_continuity_counter(stream.packets()[2], 9);
    stream.packet(pid, false, {});
    const counted result(stream);
    EXPECT_THAT(result.faults,
                ElementsAre(transport_error, none, transport_error, continuity, none));
    EXPECT_EQ(result.counts.of(pid).packets, 5u);
    EXPECT_EQ(result.counts.of(pid).transport_errors, 2u);
    EXPECT_EQ(result.counts.of(pid).continuity_errors, 1u);
}

TEST(StreamCounts, CountsScrambledPacketsAndTheirCounters) {
    stream_writer stream = stream_of(6);
    stream.skip_counter(pid, 1).packet(pid, false, {});
    for (const unsigned int at : {1u, 2u, 6u}) {
        set_transport_scrambling_control(stream.packets()[at], at % 3 + 1);
    }
    const counted result(stream);
    EXPECT_THAT(result.faults, ElementsAre(none, none, none, none, none, none, continuity));
    EXPECT_EQ(result.counts.of(pid).scrambled, 3u);
    EXPECT_EQ(result.counts.of(pid).transport_errors, 0u);
}

TEST(StreamCounts, AsksNullPacketsForNoCounter) {
    stream_writer stream;
    stream.null_packets(3).skip_counter(null_pid, 5).null_packets(3).duplicate_packet();
    stream.duplicate_packet().null_packets(1);
    set_transport_error_indicator(stream.last_packet());
    const counted result(stream);
    EXPECT_EQ(result.counts.of(null_pid).packets, 9u);
    EXPECT_EQ(result.counts.of(null_pid).continuity_errors, 0u);
    EXPECT_EQ(result.counts.of(null_pid).transport_errors, 1u);
}

TEST(StreamCounts, KeepsCountersOfPidsApart) {
    stream_writer stream;
    stream.skip_counter(0x0456, 9);
    for (int i = 0; i < 20; ++i) {
        stream.packet(pid, false, {}).packet(0x0456, false, {}).packet(0x0456, false, {});
    }
    EXPECT_THAT(counted(stream).faults, Each(none));
}

}  // namespace
}  // namespace orvix::section_feed
