// The payloads of RTP, in whatever order they come.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <inputs/rtp_order.h>

#include <cstdint>
#include <initializer_list>
#include <optional>

#include "rtp_datagrams.h"

namespace orvix::test {
namespace {

using inputs::parse_rtp;
using inputs::rtp_order;
using inputs::rtp_packet;
using testing::ElementsAre;

/// The payload of a datagram as the reader has it; none where it is refused.
std::optional<bytes> payload_of(const bytes& datagram) {
    const bytes exact(datagram.begin(), datagram.end());  // nothing readable behind it
    const auto found = parse_rtp(exact.data(), exact.size());
    if (!found) return std::nullopt;
    return bytes(found->payload, found->payload + found->size);
}

TEST(Rtp, HasItsPayloadBehindSourcesAndExtension) {
    const bytes payload = {0x47, 1, 2, 3};
    EXPECT_EQ(payload_of(rtp(7, payload)), payload);

    bytes two_sources = rtp(7, bytes(8, 0xCC) + payload);
    two_sources[0] = 0x82;
    EXPECT_EQ(payload_of(two_sources), payload);

    bytes extended = rtp(7, bytes({0xBE, 0xDE, 0, 1, 9, 9, 9, 9}) + payload);
    extended[0] = 0x90;
    EXPECT_EQ(payload_of(extended), payload);

    bytes padded = rtp(7, payload + bytes({0, 0, 3}));
    padded[0] = 0xA0;
    EXPECT_EQ(payload_of(padded), payload);
}

TEST(Rtp, KnowsItsNumberAndItsSender) {
    const bytes datagram = rtp(0xABCD, {0x47}, 0x01020304);
    const auto found = parse_rtp(datagram.data(), datagram.size());
    ASSERT_TRUE(found);
    EXPECT_EQ(found->sequence_number, 0xABCD);
    EXPECT_EQ(found->ssrc, 0x01020304u);
}

TEST(Rtp, ThatIsCutAnywhereIsRefusedOrHasAShorterPayload) {
    bytes whole = rtp(7, bytes(4, 0xCC) + bytes({0xBE, 0xDE, 0, 1, 9, 9, 9, 9}) + bytes(4, 0x47));
    whole[0] = 0x91;
    constexpr std::size_t header = 12 + 4 + 8;
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        const auto payload =
            payload_of(bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
        ASSERT_EQ(payload.has_value(), size >= header) << size;
        if (!payload) continue;
        EXPECT_EQ(payload->size(), size - header);
    }
}

TEST(Rtp, OfAnotherVersionOrWithImpossiblePaddingIsRefused) {
    for (const int version : {0x00, 0x40, 0xC0}) {
        bytes datagram = rtp(7, {0x47});
        datagram[0] = static_cast<std::uint8_t>(version);
        EXPECT_FALSE(payload_of(datagram)) << version;
    }
    for (const int padding : {0, 3, 255}) {
        bytes datagram = rtp(7, {0x47, static_cast<std::uint8_t>(padding)});
        datagram[0] = 0xA0;  // with padding
        EXPECT_FALSE(payload_of(datagram)) << padding;
    }
}

/// Payloads of one byte each, which says which datagram it was.
class RtpOrder : public testing::Test {
protected:
    void push(std::size_t sequence_number, std::uint8_t payload, std::uint32_t ssrc = 1) {
        rtp_packet packet;
        packet.sequence_number = static_cast<std::uint16_t>(sequence_number);
        packet.ssrc = ssrc;
        packet.payload = &payload;
        packet.size = 1;
        order.push(packet, out);
    }
    /// Each payload is its number.
    void push_all(std::initializer_list<unsigned int> numbers) {
        for (const unsigned int n : numbers) push(n, static_cast<std::uint8_t>(n));
    }

    rtp_order order;
    bytes out;
};

TEST_F(RtpOrder, OfWhatComesInOrderIsThat) {
    push_all({65534, 65535, 0, 1});
    EXPECT_THAT(out, ElementsAre(254, 255, 0, 1));
    EXPECT_EQ(order.counts().packets, 4u);
    EXPECT_EQ(order.counts().lost, 0u);
    EXPECT_EQ(order.counts().reordered, 0u);
    EXPECT_EQ(order.counts().restarts, 0u);
}

TEST_F(RtpOrder, PutsReorderedOnesBackAcrossTheWrap) {
    push_all({65533, 0, 65535, 65534, 1});
    EXPECT_THAT(out, ElementsAre(253, 254, 255, 0, 1));
    EXPECT_EQ(order.counts().reordered, 2u);
    EXPECT_EQ(order.counts().lost, 0u);
}

TEST_F(RtpOrder, WaitsForWhatIsMissingOnlySoLong) {
    push_all({10});
    for (std::size_t n = 13; n < 13 + rtp_order::most_held; ++n) push(n, 0);
    EXPECT_THAT(out, ElementsAre(10));
    EXPECT_EQ(order.counts().lost, 0u);

    push(13 + rtp_order::most_held, 0);
    EXPECT_EQ(out.size(), 2 + rtp_order::most_held);
    EXPECT_EQ(order.counts().lost, 2u);
    EXPECT_FALSE(order.holds_any());
}

TEST_F(RtpOrder, DropsAndCountsRepeats) {
    push_all({1, 2, 2, 1, 4, 4, 3, 5});
    EXPECT_THAT(out, ElementsAre(1, 2, 3, 4, 5));
    EXPECT_EQ(order.counts().duplicates, 3u);
    EXPECT_EQ(order.counts().reordered, 1u);
}

TEST_F(RtpOrder, DropsWhatComesAfterItWasGivenUp) {
    push_all({1, 3});
    order.give_up(out);
    push_all({2, 4});
    EXPECT_THAT(out, ElementsAre(1, 3, 4));
    EXPECT_EQ(order.counts().lost, 1u);
    EXPECT_EQ(order.counts().late, 1u);
    EXPECT_EQ(order.counts().reordered, 1u);
    EXPECT_EQ(order.counts().duplicates, 0u);
}

TEST_F(RtpOrder, CountsALongLossAsThat) {
    push_all({0});
    for (std::size_t n = 2'000; n <= 2'000 + rtp_order::most_held; ++n) push(n, 9);
    EXPECT_EQ(order.counts().lost, 1'999u);
    EXPECT_EQ(order.counts().restarts, 0u);
}

TEST_F(RtpOrder, IsNotDisturbedByAStrayDatagram) {
    push_all({1, 2});
    push(40'000, 99);
    push(3, 98, 77);
    push_all({3, 4});
    EXPECT_THAT(out, ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(order.counts().restarts, 0u);
    EXPECT_EQ(order.counts().lost, 0u);
}

TEST_F(RtpOrder, FollowsASenderThatRestartsAndLosesNothingOfIt) {
    push_all({1, 2, 4});
    push(40'000, 50);
    push(40'001, 51);
    push(40'002, 52);
    EXPECT_THAT(out, ElementsAre(1, 2, 4, 50, 51, 52));
    EXPECT_EQ(order.counts().restarts, 1u);
    EXPECT_EQ(order.counts().lost, 1u);  // 3, of the numbers before
}

TEST_F(RtpOrder, FollowsANewSender) {
    push_all({1, 2});
    push(2, 60, 5);
    push(3, 61, 5);
    push(4, 62, 5);
    EXPECT_THAT(out, ElementsAre(1, 2, 60, 61, 62));
    EXPECT_EQ(order.counts().restarts, 1u);
    EXPECT_EQ(order.counts().duplicates, 0u);
}

TEST_F(RtpOrder, StaysWithOneOfTwoSendersThatTakeTurns) {
    for (unsigned int n = 0; n < 50; ++n) {
        push(n, static_cast<std::uint8_t>(n), 1);
        push(n, 200, 2);
    }
    EXPECT_EQ(out.size(), 50u);
    EXPECT_THAT(out, testing::Each(testing::Lt(200)));
    EXPECT_EQ(order.counts().restarts, 0u);
}

}  // namespace
}  // namespace orvix::test
