#include <broadcast/bit_rates.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stream_writer.h>

#include <string>
#include <vector>

namespace orvix::broadcast {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint16_t first = 0x5C20;
constexpr std::uint16_t second = 0x5C21;

told_service with_streams(std::uint16_t service_id, std::uint16_t pmt_pid,
                          const std::vector<std::uint16_t>& pids) {
    told_service told;
    told.service_id = service_id;
    told.program_map_pid = pmt_pid;
    told.streams.emplace();
    for (const std::uint16_t pid : pids) {
        service_stream stream;
        stream.elementary_pid = pid;
        stream.stream_type = 0x1B;
        told.streams->push_back(stream);
    }
    return told;
}

/// Two services, which share a stream.
told_services two_services() {
    told_services all;
    all.services.push_back(with_streams(first, 0x0110, {0x0111, 0x0120}));
    all.services.push_back(with_streams(second, 0x0210, {0x0211, 0x0120}));
    all.services.back().pcr_pid = 0x0212;
    return all;
}

stream_shares shares_of(const stream_writer& stream, const told_services& all) {
    section_feed::stream_counts counts;
    std::uint64_t index = 0;
    for (const bytes& packet : stream.packets()) {
        section_feed::packet p;
        p.bytes = packet.data();
        p.index = index++;
        counts.push(p);
    }
    return share_out(counts, all);
}

void add(stream_writer& stream, std::uint16_t pid, unsigned int packets) {
    for (unsigned int i = 0; i < packets; ++i) stream.packet(pid, false, {});
}

std::vector<std::string> in_words(const std::vector<pid_share>& pids) {
    std::vector<std::string> words;
    for (const pid_share& p : pids) {
        std::string line = std::to_string(p.pid) + ": " + std::to_string(p.packets) + ", " + p.what;
        for (const std::uint16_t service_id : p.service_ids) {
            line += ", of " + std::to_string(service_id);
        }
        words.push_back(line);
    }
    return words;
}

TEST(BitRates, SayWhatEachPidIsForTheBusiestFirst) {
    stream_writer stream;
    add(stream, 0x0000, 2);
    add(stream, 0x0110, 1);
    add(stream, 0x0111, 9);
    add(stream, 0x0120, 4);
    add(stream, 0x0212, 3);
    add(stream, 0x0999, 5);
    stream.null_packets(6);
    const stream_shares shares = shares_of(stream, two_services());
    EXPECT_EQ(shares.packets, 30u);
    EXPECT_THAT(in_words(shares.pids),
                ElementsAre("273: 9, H.264 video, of 23584", "8191: 6, null packets", "2457: 5, ",
                            "288: 4, H.264 video, of 23584, of 23585", "530: 3, PCR, of 23585",
                            "0: 2, PAT", "272: 1, PMT, of 23584"));
}

TEST(BitRates, AddUpToTheStreamByOwner) {
    stream_writer stream;
    add(stream, 0x0010, 2);
    add(stream, 0x0110, 1);
    add(stream, 0x0111, 9);
    add(stream, 0x0120, 4);
    add(stream, 0x0211, 3);
    add(stream, 0x0999, 5);
    stream.null_packets(6);
    std::vector<std::pair<pid_owner, std::uint64_t>> owners;
    const stream_shares shares = shares_of(stream, two_services());
    for (const owner_share& o : shares.owners) owners.emplace_back(o.owner, o.packets);
    using testing::Pair;
    EXPECT_THAT(owners,
                ElementsAre(Pair(pid_owner::one_service, 10), Pair(pid_owner::one_service, 3),
                            Pair(pid_owner::several_services, 4), Pair(pid_owner::all, 2),
                            Pair(pid_owner::nobody, 6), Pair(pid_owner::unknown, 5)));
    EXPECT_EQ(shares.owners[0].service_id, first);
    EXPECT_EQ(shares.owners[1].service_id, second);
    EXPECT_EQ(shares.owners[2].service_id, std::nullopt);
}

TEST(BitRates, CountAPidOnceThatAServiceNamesTwice) {
    told_services all;
    all.services.push_back(with_streams(first, 0x0110, {0x0111, 0x0111}));
    all.services.back().pcr_pid = 0x0111;
    stream_writer stream;
    add(stream, 0x0111, 2);
    EXPECT_THAT(in_words(shares_of(stream, all).pids),
                ElementsAre("273: 2, H.264 video, of 23584"));
}

TEST(BitRates, KnowNoOwnerWhereNoServiceIsTold) {
    stream_writer stream;
    add(stream, 0x0111, 2);
    const stream_shares shares = shares_of(stream, {});
    EXPECT_THAT(in_words(shares.pids), ElementsAre("273: 2, "));
    EXPECT_EQ(shares.pids[0].owner, pid_owner::unknown);
    EXPECT_THAT(shares_of({}, {}).owners, IsEmpty());
}

TEST(BitRates, AreThoseOfPacketsOf188Bytes) { EXPECT_DOUBLE_EQ(bits_per_second(1000, 2), 752'000); }

}  // namespace
}  // namespace orvix::broadcast
