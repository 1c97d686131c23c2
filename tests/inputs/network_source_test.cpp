// What comes out of datagrams; sent to this machine only.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <inputs/network_source.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "loopback.h"
#include "rtp_datagrams.h"

namespace orvix::test {
namespace {

using inputs::datagram_payloads;
using inputs::open_source;
using inputs::source;
using inputs::source_error;
using std::chrono::milliseconds;
using std::chrono::seconds;

/// `count` packets of 188 bytes, all of whose other bytes are `filling`.
bytes packets(std::size_t count, std::uint8_t filling) {
    bytes all(count * 188, filling);
    for (std::size_t i = 0; i < count; ++i) all[i * 188] = 0x47;
    return all;
}

class DatagramPayloads : public testing::Test {
protected:
    void push(const bytes& datagram) { from.push(datagram.data(), datagram.size(), out); }

    datagram_payloads from;
    bytes out;
};

TEST_F(DatagramPayloads, OfPlainDatagramsAreTheirBytes) {
    push(packets(7, 1));
    push(packets(1, 2));
    EXPECT_EQ(out, packets(7, 1) + packets(1, 2));
    EXPECT_EQ(from.rtp().packets, 0u);
}

TEST_F(DatagramPayloads, OfPlainDatagramsThatBeginWithinAPacketAreTheirBytes) {
    const bytes stream = packets(20, 0x80);  // as the version of RTP looks
    for (std::size_t at = 0; at < stream.size(); at += 100) {
        const auto begin = stream.begin() + static_cast<std::ptrdiff_t>(at);
        push(bytes(begin, begin + 100 <= stream.end() ? begin + 100 : stream.end()));
    }
    EXPECT_EQ(out, stream);
    EXPECT_EQ(from.malformed(), 0u);
}

TEST_F(DatagramPayloads, OfRtpComeInItsOrder) {
    push(rtp(7, packets(7, 1)));
    push(rtp(9, packets(7, 3)));
    push(rtp(8, packets(7, 2)));
    EXPECT_EQ(out, packets(7, 1) + packets(7, 2) + packets(7, 3));
    EXPECT_EQ(from.rtp().packets, 3u);
    EXPECT_EQ(from.rtp().reordered, 1u);
}

TEST_F(DatagramPayloads, OfRtpLeaveOutWhatIsNone) {
    push(rtp(7, packets(1, 1)));
    push({});
    push({0x80});
    push(bytes(11, 0x80));
    push(bytes(2000, 0xFF));
    push(rtp(8, packets(1, 2)));
    EXPECT_EQ(out, packets(1, 1) + packets(1, 2));
    EXPECT_EQ(from.datagrams(), 6u);
    EXPECT_EQ(from.malformed(), 4u);
    EXPECT_EQ(from.rtp().lost, 0u);
}

TEST_F(DatagramPayloads, FollowASenderThatTakesToTheOtherKind) {
    for (unsigned int n = 0; n < 3; ++n) push(packets(1, 1));
    for (unsigned int n = 0; n < 20; ++n) push(rtp(n, packets(1, 2)));
    EXPECT_EQ(from.rtp().packets, 21 - datagram_payloads::sure_after);

    for (unsigned int n = 0; n < 20; ++n) push(packets(1, 3));
    EXPECT_EQ(from.malformed(), datagram_payloads::sure_after - 1);
    EXPECT_EQ(bytes(out.end() - 188, out.end()), packets(1, 3));
}

TEST_F(DatagramPayloads, AreNotTakenForTheOtherKindForASingleDatagram) {
    push(rtp(0, packets(1, 1)));
    push(packets(1, 9));
    for (unsigned int n = 1; n < 20; ++n) {
        push(rtp(n, packets(1, 1)));
        if (n % 5 == 0) push(packets(1, 9));
    }
    EXPECT_EQ(from.rtp().packets, 20u);
    EXPECT_EQ(out.size(), 20u * 188);
}

/// One that reads from this machine what the test sends.
class NetworkSource : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        const bool is_v4 = std::string(GetParam()) == "IPv4";
        try {
            place =
                is_v4 ? own_loopback() + ":5004" : "[::1]:" + std::to_string(free_port_of_ipv6());
        } catch (const std::runtime_error&) {
            GTEST_SKIP() << "this machine has no IPv6";
        }
        from = open_source("udp://" + place);
        to = std::make_unique<datagram_sender>(place);
    }

    /// What comes until `size` bytes have, or nothing more does.
    bytes read(std::size_t size, std::size_t room = 100'000) {
        bytes all;
        bytes buffer(room);
        while (all.size() < size) {
            const std::size_t count =
                from->read(buffer.data(), buffer.size(), source::clock::now() + seconds(5),
                           source::no_descriptor);
            if (count == 0) break;
            all.insert(all.end(), buffer.begin(),
                       buffer.begin() + static_cast<std::ptrdiff_t>(count));
        }
        return all;
    }

    std::string place;
    std::unique_ptr<source> from;
    std::unique_ptr<datagram_sender> to;
};

INSTANTIATE_TEST_SUITE_P(Of, NetworkSource, testing::Values("IPv4", "IPv6"),
                         [](const auto& tested) { return std::string(tested.param); });

TEST_P(NetworkSource, GivesTheBytesOfDatagrams) {
    for (std::uint8_t n = 0; n < 100; ++n) ASSERT_TRUE(to->send(packets(7, n)));
    const bytes got = read(100 * 7 * 188);
    ASSERT_EQ(got.size(), 100u * 7 * 188);
    EXPECT_EQ(bytes(got.end() - 188, got.end()), packets(1, 99));
    EXPECT_EQ(from->network()->datagrams, 100u);
    EXPECT_FALSE(from->has_ended());
    EXPECT_FALSE(from->size());
}

TEST_P(NetworkSource, GivesTheLargestDatagramPieceByPiece) {
    const bytes largest = packets(348, 5);  // 65,424 bytes
    ASSERT_TRUE(to->send(largest));
    ASSERT_TRUE(to->send({}));
    ASSERT_TRUE(to->send({0x47}));
    EXPECT_EQ(read(largest.size() + 1, 1'000), largest + bytes({0x47}));
    EXPECT_EQ(from->network()->datagrams, 3u);
    EXPECT_EQ(from->network()->malformed, 1u);
}

TEST_P(NetworkSource, CountsWhatRtpHasLost) {
    ASSERT_TRUE(to->send(rtp(1, packets(7, 1))));
    ASSERT_TRUE(to->send(rtp(3, packets(7, 3))));
    // What is missing is given up although nothing comes behind it.
    EXPECT_EQ(read(2 * 7 * 188), packets(7, 1) + packets(7, 3));
    EXPECT_EQ(from->network()->rtp.lost, 1u);
}

TEST_P(NetworkSource, ReturnsNothingAtItsTime) {
    bytes buffer(1'000);
    const auto until = source::clock::now() + milliseconds(30);
    EXPECT_EQ(from->read(buffer.data(), buffer.size(), until, source::no_descriptor), 0u);
    EXPECT_GE(source::clock::now(), until);
}

TEST_P(NetworkSource, ReturnsNothingWhenItIsWoken) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "", 1), 1);
    ASSERT_TRUE(to->send(packets(1, 1)));
    bytes buffer(1'000);
    EXPECT_EQ(from->read(buffer.data(), buffer.size(), source::clock::time_point::max(), ends[0]),
              0u);
    close(ends[0]);
    close(ends[1]);
}

TEST_P(NetworkSource, CountsWhatFoundTheBufferFull) {
    const std::size_t sent = 2 * from->network()->buffer_bytes / 1'000;
    for (std::size_t i = 0; i < sent; ++i) ASSERT_TRUE(to->send(packets(7, 1)));
    std::uint64_t got = 0;
    bytes buffer(100'000);
    const auto take_all = [&] {
        for (;;) {
            const auto soon = source::clock::now() + milliseconds(50);
            const std::size_t count =
                from->read(buffer.data(), buffer.size(), soon, source::no_descriptor);
            if (count == 0) return;
            got += count;
        }
    };
    take_all();
    // The system tells it with the next datagram.
    ASSERT_TRUE(to->send(packets(7, 1)));
    take_all();
    EXPECT_GT(from->network()->overflowed, 0u);
    EXPECT_EQ(from->network()->overflowed + from->network()->datagrams, sent + 1);
    EXPECT_EQ(got, from->network()->datagrams * 7 * 188);
}

TEST_P(NetworkSource, SaysWhenItsBufferIsSmallerThanAskedFor) {
    const bool is_smaller = from->network()->buffer_bytes < 4 * 1024 * 1024;
    EXPECT_EQ(from->notice().empty(), !is_smaller) << from->notice();
    if (is_smaller) {
        EXPECT_THAT(from->notice(), testing::HasSubstr("KiB instead of 4096 KiB"));
    }
}

TEST_P(NetworkSource, HasItsPlaceAlone) {
    try {
        open_source("udp://" + place);
        FAIL();
    } catch (const source_error& e) {
        EXPECT_STREQ(e.what(), "bind: Address already in use");
    }
}

TEST(OpenSource, SaysWhyThereIsNoSuchPlace) {
    const auto why = [](const std::string& word) -> std::string {
        try {
            open_source(word);
            return "";
        } catch (const source_error& e) {
            return e.what();
        }
    };
    EXPECT_EQ(why("udp://239.255.7.7:5004?interface=none-such"), "no interface 'none-such'");
    // An address for documents, which is no machine's.
    EXPECT_EQ(why("udp://192.0.2.1:5004"), "bind: Cannot assign requested address");
    EXPECT_EQ(why("/no/such/file"), "No such file or directory");
}

}  // namespace
}  // namespace orvix::test
