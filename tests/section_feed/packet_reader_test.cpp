#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <section_feed/packet_reader.h>
#include <section_writer.h>
#include <stream_writer.h>

#include <algorithm>
#include <limits>
#include <new>
#include <optional>
#include <random>

namespace orvix::section_feed {
namespace {

using test::bytes;
using test::join_packets;
using test::packet_bytes;
using test::stream_writer;
using test::operator+;
using testing::ElementsAreArray;
using testing::IsEmpty;

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

// --- 0x47 that are no sync bytes ---

constexpr std::uint16_t pids_of_a_station[] = {0x0000, 0x0012, 0x0111, 0x0111,
                                               0x0111, 0x0112, 0x1FC8, test::null_pid};

class noise {
public:
    explicit noise(std::uint32_t seed) : random_(seed) {}
    std::uint32_t operator()() { return static_cast<std::uint32_t>(random_()); }

private:
    std::mt19937 random_;
};

/// Packets of a few PIDs whose payloads hold 0x47 in every way that `random` draws; at up to
/// `most_columns` places of all packets with what could be the rest of a header.
std::vector<bytes> packets_rich_in_sync_bytes(noise& random, std::size_t count,
                                              unsigned int most_columns = 3) {
    const unsigned int density = random() % 5;  // quarters
    std::vector<std::size_t> columns(random() % (most_columns + 1));
    for (std::size_t& column : columns) column = random() % 180;
    const bytes false_header = {sync_byte, static_cast<std::uint8_t>(random() % 32),
                                static_cast<std::uint8_t>(random()),
                                static_cast<std::uint8_t>(random() % 64)};
    stream_writer stream;
    for (std::size_t i = 0; i < count; ++i) {
        bytes payload(random() % 8 == 0 ? 100 : 184);
        for (std::uint8_t& byte : payload) {
            byte = random() % 4 < density ? sync_byte : static_cast<std::uint8_t>(random());
        }
        for (const std::size_t column : columns) {
            if (column + false_header.size() <= payload.size()) {
                std::copy(false_header.begin(), false_header.end(), &payload[column]);
            }
        }
        const std::uint16_t pid = pids_of_a_station[random() % std::size(pids_of_a_station)];
        std::optional<test::adaptation_field> adaptation;
        if (payload.size() == 100) adaptation = test::adaptation_field{false, {}, 82};
        stream.packet(pid, false, payload, adaptation);
    }
    return stream.packets();
}

/// Time codes before the packets, or error correction behind them, as rich.
bytes join_with_sync_bytes(noise& random, const std::vector<bytes>& packets,
                           std::size_t packet_size) {
    const unsigned int kind = random() % 4;
    std::uint32_t time_code = 0x47000000 | (random() & (kind == 0 ? 0 : 0xFFFFFF));
    bytes stream;
    for (const bytes& packet : packets) {
        if (packet_size == 192) {
            if (kind >= 2) time_code += kind == 2 ? random() % 3000 : random();
            if (random() % 2 == 0) time_code = (time_code & 0xFFFFFF) | 0x47000000;
            const bytes written = test::section_writer().bits(32, time_code);
            stream = std::move(stream) + written;
        }
        stream = std::move(stream) + packet;
        for (std::size_t i = packet_bytes; packet_size == 204 && i < packet_size; ++i) {
            const bool same = kind == 0 || (kind == 1 && i % 4 == 0);
            stream.push_back(same ? sync_byte : static_cast<std::uint8_t>(random()));
        }
    }
    return stream;
}

TEST_P(PacketReaderOfSize, LosesNothingHoweverMany0x47StandElsewhere) {
    for (unsigned int seed = 1; seed <= 300; ++seed) {
        noise random(seed);
        const auto packets = packets_rich_in_sync_bytes(random, 40);
        const bytes stream = join_with_sync_bytes(random, packets, size());
        const reading result = read(stream);
        ASSERT_EQ(result.packets, packets) << "seed " << seed;
        ASSERT_EQ(result.packet_size, size()) << "seed " << seed;
        ASSERT_EQ(result.skipped_bytes, 0u) << "seed " << seed;
        ASSERT_EQ(result.sync_losses, 0u) << "seed " << seed;
        ASSERT_TRUE(read_in_pieces(stream, 1 + random() % 500) == result) << "seed " << seed;
    }
}

TEST_P(PacketReaderOfSize, LosesOnlyTheFirstOfThemWhenItStartsInTheMiddle) {
    for (unsigned int seed = 1; seed <= 300; ++seed) {
        noise random(seed);
        const auto packets = packets_rich_in_sync_bytes(random, 40);
        const bytes stream = join_with_sync_bytes(random, packets, size());
        const std::size_t missing = sync_of(0) + 1 + random() % (size() - sync_of(0) - 1);
        ASSERT_EQ(read(cut(stream, 0, missing)).packets, without(packets, 0)) << "seed " << seed;
    }
}

TEST_P(PacketReaderOfSize, LosesFewOfThemToACut) {
    for (unsigned int seed = 1; seed <= 300; ++seed) {
        noise random(seed);
        const auto packets = packets_rich_in_sync_bytes(random, 100, 0);
        const bytes stream = join_with_sync_bytes(random, packets, size());
        const std::size_t kept = 1 + random() % 150;
        const bytes torn = cut(stream, sync_of(30) + kept, 1 + random() % (188 - kept));
        const reading result = read(torn);
        EXPECT_TRUE(read_in_pieces(torn, 1 + random() % 500) == result) << "seed " << seed;
        // Any byte may be 0x47 where the next packet would begin: then that one is lost as well.
        constexpr std::size_t behind = 60;
        ASSERT_GT(result.packets.size(), behind);
        EXPECT_TRUE(
            std::equal(packets.rbegin(), packets.rbegin() + behind, result.packets.rbegin()))
            << "seed " << seed;
    }
}

TEST(PacketReader, TellsPacketsFromTimeCodesThatLookLikeThem) {
    for (const std::uint32_t first : {0x47000000u, 0x47010010u, 0x47474747u, 0x47010030u}) {
        for (const std::uint32_t step : {0u, 1u, 0x100u, 300u}) {
            const auto packets = numbered_packets(100);
            bytes stream;
            for (std::size_t i = 0; i < packets.size(); ++i) {
                const bytes time_code =
                    test::section_writer().bits(32, first + step * static_cast<std::uint32_t>(i));
                stream = std::move(stream) + time_code + packets[i];
            }
            const reading result = read(stream);
            EXPECT_EQ(result.packets, packets) << first << ", " << step;
            EXPECT_EQ(result.packet_size, 192u);
            EXPECT_EQ(result.skipped_bytes, 0u);
            EXPECT_TRUE(read_in_pieces(stream, 100) == result) << first << ", " << step;
        }
    }
}

// --- What is damaged ---

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
    constexpr std::size_t for_the_lock = 7;
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

TEST(PacketReader, TakesSyncBytesAloneForNoPackets) {
    const bytes stream(100 * packet_bytes, sync_byte);
    const reading result = read(stream);
    EXPECT_THAT(result.packets, IsEmpty());
    EXPECT_EQ(result.skipped_bytes, stream.size());
    EXPECT_TRUE(read_in_pieces(stream, 100) == result);
}

TEST(PacketReader, FindsThePacketsBehindARunThatHasNoHeaders) {
    const auto packets = numbered_packets(40);
    const bytes run(40 * packet_bytes + 77, sync_byte);
    const reading result = read(run + join_packets(packets));
    EXPECT_EQ(result.packets, packets);
    EXPECT_EQ(result.skipped_bytes, run.size());
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

TEST(PacketReader, ThrowsBadAllocForMoreBytesThanMemoryCanHoldAndGoesOn) {
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
    // Doubled, some of these are none; the second is 2 GiB where addresses have 32 bits.
    std::vector<std::size_t> sizes = {most, most / 2 + 1, most - 188 * 10, most - 1};
#ifndef UNDER_A_SANITIZER  // which ends the program instead
    if (sizeof(std::size_t) > 4) sizes.push_back(most / 4 + 1);
#endif
    const auto packets = numbered_packets(80);
    const bytes stream = join_packets(packets);
    const std::size_t half = stream.size() / 2;
    packet_reader reader;
    reading result;
    for (const std::size_t size : sizes) EXPECT_THROW(reader.room(size), std::bad_alloc);
    reader.push(stream.data(), half);
    take_packets(reader, result);
    for (const std::size_t size : sizes) {
        EXPECT_THROW(reader.room(size), std::bad_alloc);
        EXPECT_THROW(reader.push(stream.data(), size), std::bad_alloc);
    }
    reader.push(stream.data() + half, stream.size() - half);
    EXPECT_EQ(finished(reader, result).packets, packets);
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
