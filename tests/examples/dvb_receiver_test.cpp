#include <gmock/gmock.h>
#include <receiver.h>
#include <recorded_demux.h>
#include <stream_writer.h>

#include <sstream>
#include <string>

#include "isdb_sections.h"

namespace orvix::test {
namespace {

using receiver::recorded_demux;
using receiver::table_loop;
using testing::HasSubstr;

constexpr std::uint16_t pat_pid = 0x0000;
constexpr std::uint16_t sdt_pid = 0x0011;
constexpr std::uint16_t tot_pid = 0x0014;
constexpr std::uint16_t pmt_pid = 0x0110;
constexpr std::uint16_t other_pmt_pid = 0x0120;

long_header version(std::uint8_t number) { return {number, 1, 0, 0}; }

bytes named_service(std::uint16_t service_id, const std::string& name) {
    return service(service_id, 4, 0, describe_service(0x01, "", name));
}
bytes services(const std::string& name, const long_header& header = {}) {
    return sdt_section(0x0720, 0x0720, named_service(1, name), header);
}
bytes streams(std::uint16_t pid, std::uint8_t version_number = 0) {
    return pmt_section(1, pid, {}, elementary_stream(0x1B, pid), version(version_number));
}

/// Plays the stream to its end and keeps what the loop says.
struct played {
    explicit played(const stream_writer& broadcast, std::size_t packets_per_poll = 1)
        : device(broadcast.stream(), packets_per_poll) {
        table_loop tables(device, out);
        while (tables.step(0)) {
        }
        open_filters = device.filters();
    }

    recorded_demux device;
    std::ostringstream out;
    std::size_t open_filters = 0;
};

TEST(DvbReceiver, IsHandedEachVersionOfATableOnce) {
    stream_writer broadcast;
    for (int i = 0; i != 10; ++i) broadcast.section(sdt_pid, services("one", version(4)));
    for (int i = 0; i != 10; ++i) broadcast.section(sdt_pid, services("two", version(5)));
    const played play(broadcast);
    EXPECT_EQ(play.out.str(), "service 1: one\nservice 1: two\n");
    EXPECT_EQ(play.device.sections(), 2u);
}

TEST(DvbReceiver, IsHandedEverySectionOfATableBeforeItAsksForAnotherVersion) {
    stream_writer broadcast;
    for (int i = 0; i != 3; ++i) {
        broadcast.section(sdt_pid, services("first", {0, 1, 0, 1}))
            .section(sdt_pid, services("second", {0, 1, 1, 1}));
    }
    const played play(broadcast);
    EXPECT_EQ(play.out.str(), "service 1: first\nservice 1: second\n");
    EXPECT_EQ(play.device.sections(), 2u);
}

TEST(DvbReceiver, IsHandedEveryTimeOffsetTable) {
    stream_writer broadcast;
    for (int i = 0; i != 2; ++i) {
        const bytes offset = local_time_offset("BRA", 0, 1, 0, utc_time(0, 0), 0);
        broadcast.section(
            tot_pid, tot_section(utc_time(0xEFB5, 0x203000), describe_local_time_offsets(offset)));
    }
    EXPECT_EQ(played(broadcast).out.str(),
              "clock: 2026-11-21 20:30:00\nclock: 2026-11-21 20:30:00\n");
}

TEST(DvbReceiver, FollowsThePmtsThatTheLastPatNames) {
    stream_writer broadcast;
    broadcast.section(pat_pid, pat_section(1, program(1, pmt_pid), version(0)))
        .section(other_pmt_pid, streams(0x200))  // not named yet
        .section(pmt_pid, streams(0x201))
        .section(pat_pid, pat_section(1, program(1, other_pmt_pid), version(1)))
        .section(pmt_pid, streams(0x202, 1))  // not named any more
        .section(other_pmt_pid, streams(0x203));
    const played play(broadcast);
    EXPECT_EQ(play.out.str(),
              "programme 1: PMT on PID 272\nprogramme 1: video on PID 513\n"
              "programme 1: PMT on PID 288\nprogramme 1: video on PID 515\n");
    EXPECT_EQ(play.open_filters, 4u);  // PAT, SDT, TOT, one PMT
    EXPECT_EQ(play.device.filters(), 0u);
}

TEST(DvbReceiver, GoesOnAfterSectionsWereLost) {
    // The first burst holds more than a filter's buffer; its last section is lost with the others.
    constexpr std::size_t burst = 200;
    const bytes last = services("last", {1, 1, 0, 0});
    stream_writer broadcast;
    for (int i = 0; i != 90; ++i) {
        broadcast.section(sdt_pid, services(std::string(200, 'a'), {0, 1, 0, 9}));
    }
    broadcast.section(sdt_pid, last).null_packets(burst);
    EXPECT_EQ(played(broadcast, burst).out.str(), "PID 17: sections were lost\n");

    broadcast.section(sdt_pid, last);
    EXPECT_EQ(played(broadcast, burst).out.str(), "PID 17: sections were lost\nservice 1: last\n");
}

TEST(DvbReceiver, SaysOnceWhatTheGateRefuses) {
    bytes many_streams;
    for (std::uint16_t i = 0; i != 60; ++i) many_streams = many_streams + elementary_stream(2, i);
    stream_writer broadcast;
    broadcast.section(pat_pid, pat_section(1, program(1, pmt_pid)));
    for (int i = 0; i != 3; ++i) {
        broadcast.section(pmt_pid, pmt_section(1, 0x200, {}, many_streams));
    }
    const std::string said = played(broadcast).out.str();
    EXPECT_THAT(said, HasSubstr("PID 272: PMT: "));
    EXPECT_EQ(said.find("PID 272: "), said.rfind("PID 272: "));
}

TEST(DvbReceiver, IsNotHandedASectionWithAWrongCrc) {
    bytes damaged = services("damaged");
    damaged[12] ^= 1;
    stream_writer broadcast;
    broadcast.section(sdt_pid, damaged);
    const played play(broadcast);
    EXPECT_EQ(play.out.str(), "");
    EXPECT_EQ(play.device.sections(), 0u);
}

}  // namespace
}  // namespace orvix::test
