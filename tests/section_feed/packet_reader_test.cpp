#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <section_feed/packet_reader.h>
#include <section_writer.h>
#include <stream_writer.h>

#include <algorithm>
#include <random>

namespace orvix::section_feed {
namespace {

using test::bytes;
using test::join_packets;
using test::packet_bytes;
using test::stream_writer;
using test::operator+;
using testing::Each;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::uint8_t sync_byte = 0x47;

/// What a reader made of a stream.
struct reading {
    std::vector<bytes> packets;
    unsigned int packet_size = 0;
    std::uint64_t skipped_bytes = 0;
    std::uint64_t sync_losses = 0;

    bool operator==(const reading& other) const {
        return packets == other.packets && packet_size == other.packet_size &&
               skipped_bytes == other.skipped_bytes && sync_losses == other.sync_losses;
    }
};

void take_packets(packet_reader& reader, reading& result) {
    packet p;
    while (reader.next(p)) {
        EXPECT_EQ(p.index, result.packets.size());
        result.packets.emplace_back(p.bytes, p.bytes + packet_bytes);
    }
    EXPECT_EQ(reader.packets(), result.packets.size());
}

reading finished(packet_reader& reader, reading result) {
    reader.finish();
    take_packets(reader, result);
    result.packet_size = reader.packet_size();
    result.skipped_bytes = reader.skipped_bytes();
    result.sync_losses = reader.sync_losses();
    return result;
}

reading read_in_pieces(const bytes& stream, std::size_t piece) {
    packet_reader reader;
    reading result;
    for (std::size_t at = 0; at < stream.size(); at += piece) {
        const std::size_t count = std::min(piece, stream.size() - at);
        const bytes exactly(stream.data() + at, stream.data() + at + count);
        reader.push(exactly.data(), exactly.size());
        take_packets(reader, result);
    }
    return finished(reader, result);
}

/// Fills less than the room that it asks for, as a pipe does.
reading read_in_place(const bytes& stream, std::size_t piece) {
    packet_reader reader;
    reading result;
    for (std::size_t at = 0; at < stream.size(); at += piece) {
        const std::size_t count = std::min(piece, stream.size() - at);
        std::copy_n(stream.data() + at, count, reader.room(2 * piece));
        reader.filled(count);
        take_packets(reader, result);
    }
    reader.room(piece);
    return finished(reader, result);
}

reading read(const bytes& stream) {
    return read_in_pieces(stream, std::max<std::size_t>(1, stream.size()));
}

/// Packets that can be told apart, with no 0x47 but the sync bytes.
std::vector<bytes> numbered_packets(std::size_t count) {
    stream_writer stream;
    for (std::size_t i = 0; i < count; ++i) {
        const auto number = static_cast<std::uint8_t>(0x80 + i);
        stream.packet(0x100, false, bytes(184, number));
    }
    return stream.packets();
}

std::vector<bytes> without(std::vector<bytes> packets, std::size_t dropped) {
    packets.erase(packets.begin() + static_cast<std::ptrdiff_t>(dropped));
    return packets;
}

/// `stream` without `count` bytes from `from` on.
bytes cut(bytes stream, std::size_t from, std::size_t count) {
    const auto first = stream.begin() + static_cast<std::ptrdiff_t>(from);
    stream.erase(first, first + static_cast<std::ptrdiff_t>(count));
    return stream;
}

bytes insert(bytes stream, std::size_t at, const bytes& more) {
    stream.insert(stream.begin() + static_cast<std::ptrdiff_t>(at), more.begin(), more.end());
    return stream;
}

bytes random_bytes(std::size_t count, unsigned int seed) {
    std::mt19937 random(seed);
    bytes result(count);
    for (std::uint8_t& byte : result) byte = static_cast<std::uint8_t>(random());
    return result;
}

class PacketReaderOfSize : public testing::TestWithParam<std::size_t> {
protected:
    std::size_t size() const { return GetParam(); }
    /// Where the sync byte of a packet stands in an undamaged stream.
    std::size_t sync_of(std::size_t packet) const {
        return packet * size() + (size() == 192 ? 4 : 0);
    }
};

INSTANTIATE_TEST_SUITE_P(PacketSizes, PacketReaderOfSize, testing::Values(188, 192, 204),
                         testing::PrintToStringParamName());

TEST_P(PacketReaderOfSize, HandsOutEveryPacketOfAWholeStream) {
    const auto packets = numbered_packets(100);
    const reading result = read(join_packets(packets, size()));
    EXPECT_EQ(result.packets, packets);
    EXPECT_EQ(result.packet_size, size());
    EXPECT_EQ(result.skipped_bytes, 0u);
    EXPECT_EQ(result.sync_losses, 0u);
}

TEST_P(PacketReaderOfSize, ReadsStreamsOfAFewPackets) {
    for (std::size_t count = 1; count <= 8; ++count) {
        const auto packets = numbered_packets(count);
        const reading result = read(join_packets(packets, size()));
        EXPECT_EQ(result.packets, packets) << count;
        EXPECT_EQ(result.packet_size, size()) << count;
        EXPECT_EQ(result.skipped_bytes, 0u) << count;
    }
}

TEST_P(PacketReaderOfSize, GivesTheSameForPushesOfAnySize) {
    const auto packets = numbered_packets(60);
    bytes stream = join_packets(packets, size());
    stream[sync_of(50)] = 0;                                        // a flipped sync byte
    stream = insert(stream, sync_of(40), random_bytes(5000, 1));    // garbage between
    stream = cut(stream, sync_of(30) + 100, 50);                    // a cut packet
    stream = cut(stream, sync_of(20) + 150, 300);                   // a cut over two
    stream = insert(random_bytes(3000, 2), 3000, stream);           // garbage before
    stream = insert(stream, stream.size(), random_bytes(1000, 3));  // and behind
    const reading expected = read(stream);
    EXPECT_GT(expected.packets.size(), 50u);
    EXPECT_GT(expected.sync_losses, 3u);
    for (const std::size_t piece : {1u, 2u, 3u, 7u, 187u, 188u, 189u, 204u, 1000u, 4096u}) {
        EXPECT_TRUE(read_in_pieces(stream, piece) == expected) << "in pieces of " << piece;
        EXPECT_TRUE(read_in_place(stream, piece) == expected) << "in place, of " << piece;
    }
}

TEST_P(PacketReaderOfSize, LosesOnePacketWhenOneSyncByteIsFlipped) {
    const auto packets = numbered_packets(30);
    for (const std::size_t flipped : {5u, 15u, 28u, 29u}) {
        bytes stream = join_packets(packets, size());
        stream[sync_of(flipped)] ^= 0x10;
        const reading result = read(stream);
        EXPECT_EQ(result.packets, without(packets, flipped)) << flipped;
        EXPECT_EQ(result.sync_losses, 1u) << flipped;
        EXPECT_EQ(result.skipped_bytes, size()) << flipped;
    }
}

TEST_P(PacketReaderOfSize, LosesTwoPacketsWhenTwoSyncBytesInARowAreFlipped) {
    const auto packets = numbered_packets(30);
    for (const std::size_t first : {10u, 26u}) {
        bytes stream = join_packets(packets, size());
        stream[sync_of(first)] = 0;
        stream[sync_of(first + 1)] = 0;
        const reading result = read(stream);
        EXPECT_EQ(result.packets, without(without(packets, first), first)) << first;
        EXPECT_EQ(result.sync_losses, 1u) << first;
        EXPECT_EQ(result.skipped_bytes, 2 * size()) << first;
    }
}

TEST_P(PacketReaderOfSize, LosesOnePacketToAFlipWhenAll0x47StandInTheSamePlace) {
    stream_writer writer;
    for (int i = 0; i < 30; ++i) writer.packet(0x100, false, bytes(50, sync_byte));
    const auto& packets = writer.packets();
    bytes stream = join_packets(packets, size());
    stream[sync_of(15)] = 0;
    EXPECT_EQ(read(stream).packets, without(packets, 15));
}

TEST_P(PacketReaderOfSize, LosesOnlyTheCutPacketWhereverItIsCut) {
    const auto packets = numbered_packets(30);
    for (std::size_t kept = 0; kept < packet_bytes; ++kept) {
        for (const std::size_t lost : {std::size_t{1}, packet_bytes - kept}) {
            const bytes stream = cut(join_packets(packets, size()), sync_of(15) + kept, lost);
            EXPECT_EQ(read(stream).packets, without(packets, 15))
                << kept << " bytes kept, " << lost << " lost";
        }
    }
}

TEST_P(PacketReaderOfSize, KeepsAWholePacketBetweenTwoCutOnes) {
    const auto packets = numbered_packets(30);
    for (const std::size_t first : {1u, 31u, 100u, 180u}) {
        for (const std::size_t second : {2u, 20u, 100u, 186u}) {
            bytes stream = join_packets(packets, size());
            stream = cut(stream, sync_of(17) + 188 - second, second);
            stream = cut(stream, sync_of(15) + 188 - first, first);
            EXPECT_EQ(read(stream).packets, without(without(packets, 17), 15))
                << first << " and " << second << " bytes lost";
        }
    }
}

TEST_P(PacketReaderOfSize, KeepsThePacketsAroundInsertedBytes) {
    const auto packets = numbered_packets(30);
    const std::size_t unit = 15 * size();
    for (const std::size_t count : {1u, 4u, 16u, 100u, 187u, 188u, 376u, 400u, 1000u, 100000u}) {
        const bytes stream = insert(join_packets(packets, size()), unit, bytes(count, 0x55));
        const reading result = read(stream);
        EXPECT_EQ(result.packets, packets) << count;
        EXPECT_EQ(result.skipped_bytes, count) << count;
        EXPECT_EQ(result.sync_losses, 1u) << count;
    }
}

TEST_P(PacketReaderOfSize, SkipsGarbageBeforeAndBehind) {
    const auto packets = numbered_packets(30);
    const bytes before = random_bytes(10000, 4);
    const bytes behind = random_bytes(10000, 5);
    const reading result = read(before + join_packets(packets, size()) + behind);
    EXPECT_EQ(result.packets, packets);
    EXPECT_EQ(result.skipped_bytes, before.size() + behind.size());
    EXPECT_EQ(result.sync_losses, 1u);
}

TEST_P(PacketReaderOfSize, StartsInTheMiddleOfAPacket) {
    const auto packets = numbered_packets(30);
    for (std::size_t missing = 1; missing < size(); ++missing) {
        const bytes stream = cut(join_packets(packets, size()), 0, missing);
        const reading result = read(stream);
        // A packet of 192 bytes needs nothing of its time code.
        const bool first_is_whole = missing <= sync_of(0);
        EXPECT_EQ(result.packets, first_is_whole ? packets : without(packets, 0)) << missing;
        EXPECT_EQ(result.packet_size, size()) << missing;
    }
}

TEST_P(PacketReaderOfSize, SkipsThePacketThatTheEndCuts) {
    for (const std::size_t count : {3u, 30u}) {
        const auto packets = numbered_packets(count);
        const bytes whole = join_packets(packets, size());
        const std::size_t last = sync_of(count - 1);
        for (std::size_t kept = 1; kept < packet_bytes; ++kept) {
            const bytes stream(whole.data(), whole.data() + last + kept);
            const reading result = read(stream);
            EXPECT_EQ(result.packets, without(packets, count - 1)) << kept;
            EXPECT_EQ(result.skipped_bytes, kept) << kept;
            EXPECT_EQ(result.sync_losses, 0u) << kept;
        }
    }
}

TEST_P(PacketReaderOfSize, CountsEveryByteAsPacketOrSkipped) {
    const auto packets = numbered_packets(60);
    bytes stream = join_packets(packets, size());
    stream[sync_of(50)] = 0;
    stream = insert(stream, 40 * size(), random_bytes(5000, 6));
    stream = cut(stream, sync_of(30) + 100, 50);
    stream = random_bytes(777, 7) + stream + random_bytes(99, 8);
    const reading result = read(stream);
    EXPECT_EQ(result.packets.size(), 58u);
    EXPECT_EQ(result.packets.size() * size() + result.skipped_bytes, stream.size());
}

TEST_P(PacketReaderOfSize, HandsAPacketOutOnceTheNextOneBegins) {
    constexpr std::size_t for_the_lock = 5;
    const auto packets = numbered_packets(30);
    const bytes stream = join_packets(packets, size());
    packet_reader reader;
    packet p;
    std::size_t taken = 0;
    for (std::size_t at = 0; at < stream.size(); ++at) {
        reader.push(&stream[at], 1);
        while (reader.next(p)) ++taken;
        const std::size_t begun = at < sync_of(0) ? 0 : (at - sync_of(0)) / size() + 1;
        if (begun > for_the_lock) {
            ASSERT_EQ(taken, begun - 1) << "byte " << at;
        }
    }
    EXPECT_EQ(taken, 29u);
}

TEST(PacketReader, SkipsATimeCodeThatNoPacketFollows) {
    const auto packets = numbered_packets(10);
    const reading result = read(join_packets(packets, 192) + bytes(4, 0));
    EXPECT_EQ(result.packets, packets);
    EXPECT_EQ(result.skipped_bytes, 4u);
    EXPECT_EQ(result.sync_losses, 0u);
}

TEST(PacketReader, LearnsANewPacketSizeOnTheWay) {
    const auto first = numbered_packets(20);
    const auto second = numbered_packets(25);
    const reading result = read(join_packets(first, 188) + join_packets(second, 204));
    std::vector<bytes> both = first;
    both.insert(both.end(), second.begin(), second.end());
    EXPECT_EQ(result.packets, both);
    EXPECT_EQ(result.packet_size, 204u);
    EXPECT_EQ(result.sync_losses, 1u);
}

TEST(PacketReader, HandsOutALonePacketOnlyIfItIsAllThereIs) {
    const bytes lone = numbered_packets(1)[0];
    EXPECT_THAT(read(lone).packets, ElementsAreArray({lone}));
    EXPECT_THAT(read(lone + bytes{0}).packets, IsEmpty());
    EXPECT_THAT(read(bytes{0} + lone).packets, IsEmpty());
    EXPECT_THAT(read(cut(lone, 187, 1)).packets, IsEmpty());
}

TEST(PacketReader, SkipsAShortRunOfPacketsThatDoesNotStartTheStream) {
    const bytes garbage(100, 0);
    const reading behind_garbage = read(garbage + join_packets(numbered_packets(3)));
    EXPECT_THAT(behind_garbage.packets, IsEmpty());
    EXPECT_EQ(behind_garbage.skipped_bytes, 100u + 3 * packet_bytes);

    const auto packets = numbered_packets(10);
    const reading of_another_size = read(join_packets(packets) + join_packets(packets, 192));
    EXPECT_EQ(of_another_size.packets.size(), 20u);
    const bytes few = join_packets(numbered_packets(3), 192);
    EXPECT_EQ(read(join_packets(packets) + few).packets, packets);
}

TEST(PacketReader, FindsNoPacketInAText) {
    std::string text = "Good text ";
    while (text.size() < 10000) text += "grows when Great words of Growing length are Given. ";
    const reading result = read(test::raw(text));
    EXPECT_THAT(result.packets, IsEmpty());
    EXPECT_EQ(result.packet_size, 0u);
    EXPECT_EQ(result.skipped_bytes, text.size());
    EXPECT_EQ(result.sync_losses, 0u);
}

TEST(PacketReader, FindsNoPacketInRandomBytes) {
    const reading result = read(random_bytes(1000000, 9));
    EXPECT_THAT(result.packets, IsEmpty());
    EXPECT_EQ(result.skipped_bytes, 1000000u);
}

TEST(PacketReader, FindsNothingInNothing) {
    const reading result = read({});
    EXPECT_THAT(result.packets, IsEmpty());
    EXPECT_EQ(result.packet_size, 0u);
    EXPECT_EQ(result.skipped_bytes, 0u);
}

TEST(PacketReader, TakesSyncBytesAloneForPackets) {
    const reading result = read(bytes(10 * packet_bytes, sync_byte));
    EXPECT_THAT(result.packets, SizeIs(10));
    EXPECT_THAT(result.packets, Each(bytes(packet_bytes, sync_byte)));
    EXPECT_EQ(result.skipped_bytes, 0u);
}

TEST(PacketReader, SkipsRunsThatAlmostLock) {
    bytes stream;
    for (int i = 0; i < 500; ++i) {
        stream = std::move(stream) + bytes(4 * packet_bytes, sync_byte) + bytes(1000, 0);
    }
    const reading result = read(stream);
    EXPECT_THAT(result.packets, IsEmpty());
    EXPECT_EQ(result.skipped_bytes, stream.size());
    EXPECT_TRUE(read_in_pieces(stream, 1) == result);
}

TEST(PacketReader, KeepsPacketsThatWereNotTakenBetweenPushes) {
    const auto packets = numbered_packets(100);
    packet_reader reader;
    for (const bytes& packet : packets) reader.push(packet.data(), packet.size());
    reader.finish();
    reading result;
    take_packets(reader, result);
    EXPECT_EQ(result.packets, packets);
}

TEST(PacketReader, SaysFalseForGoodAfterTheEnd) {
    packet_reader reader;
    const bytes stream = join_packets(numbered_packets(6));
    reader.push(stream.data(), stream.size());
    reader.finish();
    packet p;
    for (int i = 0; i < 6; ++i) EXPECT_TRUE(reader.next(p));
    EXPECT_FALSE(reader.next(p));
    EXPECT_FALSE(reader.next(p));
    EXPECT_EQ(reader.packets(), 6u);
    EXPECT_EQ(reader.skipped_bytes(), 0u);
}

}  // namespace
}  // namespace orvix::section_feed
