#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <without_log.h>

#include "../finding_streams.h"

namespace orvix::broadcast {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint16_t video_pid = 0x0111;

class StreamFaults : public without_log {};

adaptation_field pcr(double seconds, bool announced = false) {
    adaptation_field adaptation;
    adaptation.pcr = static_cast<std::uint64_t>(std::llround(seconds * 27e6));
    adaptation.discontinuity_indicator = announced;
    return adaptation;
}

/// PCRs of the clock PID at these times, ten packets before each.
stream_writer pcrs(const std::vector<double>& seconds, bool announced_last = false) {
    stream_writer stream;
    for (const double& at : seconds) {
        stream.null_packets(9);
        const bool announced = announced_last && &at == &seconds.back();
        stream.packet_without_payload(timed_stream::clock_pid, pcr(at, announced));
    }
    return stream;
}

TEST_F(StreamFaults, CountContinuityErrorsOfEachPidAlsoWithoutTables) {
    stream_writer stream;
    stream.section(0x0000, pat()).packet(video_pid, false, {});
    stream.skip_counter(video_pid).packet(video_pid, false, {});
    stream.skip_counter(video_pid).packet(video_pid, false, {}).null_packets(5);
    const std::vector<finding> found = only("continuity", found_in(stream));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.pid, video_pid);
    EXPECT_EQ(found[0].count, 2u);
    EXPECT_EQ(found[0].first.number, 2u);
    EXPECT_EQ(found[0].last.number, 3u);
    EXPECT_EQ(found[0].says(),
              "PID 0x0111: packets were lost, doubled or out of order (continuity_counter), 2 "
              "times");
}

TEST_F(StreamFaults, AreNoneWhereCountersGoOn) {
    stream_writer stream;
    for (int i = 0; i < 20; ++i) stream.packet(video_pid, false, {});
    stream.duplicate_packet().null_packets(5);
    EXPECT_THAT(says(found_in(stream)), IsEmpty());
}

TEST_F(StreamFaults, TellOfPacketsThatAreMarkedAsDamaged) {
    stream_writer stream;
    stream.null_packets(5).packet(video_pid, false, {});
    set_transport_error_indicator(stream.last_packet());
    stream.null_packets(5);
    EXPECT_THAT(says("transport_error", stream),
                ElementsAre("PID 0x0111: the receiving side marked a packet as damaged "
                            "(transport_error_indicator)"));
}

TEST_F(StreamFaults, TellOfAWrongCrc) {
    bytes wrong = sdt();
    wrong.back() ^= 1;
    stream_writer stream;
    stream.section(0x0011, sdt()).section(0x0011, wrong).null_packets(5);
    EXPECT_THAT(
        says("crc", stream),
        ElementsAre("a section of the SDT on PID 0x0011 has a wrong CRC_32: receivers drop it"));
}

TEST_F(StreamFaults, TellOfATableThatIsScrambled) {
    stream_writer stream;
    stream.packet(video_pid, false, {});  // which may be
    set_transport_scrambling_control(stream.last_packet(), 2);
    stream.section(0x0011, sdt());
    EXPECT_THAT(says("scrambled_table", stream), IsEmpty());
    set_transport_scrambling_control(stream.last_packet(), 2);
    stream.null_packets(5);
    EXPECT_THAT(says("scrambled_table", stream),
                ElementsAre("PID 0x0011 carries tables, but a packet of it is scrambled"));
}

TEST_F(StreamFaults, TellOfASectionThatAnotherOneCutsOff) {
    bytes payload = {0};
    const bytes section = eit();
    payload.insert(payload.end(), section.begin(), section.begin() + 60);
    stream_writer stream;
    stream.packet(0x0012, true, payload + bytes(123, 0x00));
    stream.section(0x0012, eit()).null_packets(5);
    EXPECT_THAT(says("section_unfinished", stream), IsEmpty());  // it was whole, and stuffing after

    bytes long_one = eit_section({0x4E, hd_service, multiplex_id, multiplex_id, 1, 0x4E},
                                 event(1, utc_time(day, 0), 0x010000, 0, 0,
                                       describe_short_event("por", "x", std::string(180, 'x'))));
    stream_writer cut;
    cut.packet(0x0012, true, bytes{0} + bytes(long_one.begin(), long_one.begin() + 183));
    cut.section(0x0012, eit()).null_packets(5);
    EXPECT_THAT(says("section_unfinished", cut),
                ElementsAre("PID 0x0012: a section was begun and not ended before the next one "
                            "began"));
}

TEST_F(StreamFaults, LeaveAloneWhatTheEndCutsOff) {
    bytes long_one = eit_section({0x4E, hd_service, multiplex_id, multiplex_id, 1, 0x4E},
                                 event(1, utc_time(day, 0), 0x010000, 0, 0,
                                       describe_short_event("por", "x", std::string(180, 'x'))));
    stream_writer cut;
    cut.null_packets(5).packet(0x0012, true,
                               bytes{0} + bytes(long_one.begin(), long_one.begin() + 183));
    EXPECT_THAT(says("section_unfinished", cut), IsEmpty());
}

TEST_F(StreamFaults, TellOfBytesBetweenPacketsAndOfSyncThatWasLost) {
    stream_writer stream;
    stream.null_packets(20);
    bytes damaged = stream.stream();
    damaged.insert(damaged.begin() + 188 * 10, 1000, 0x00);
    findings all;
    multiplex from("", all, {});
    std::copy(damaged.begin(), damaged.end(), from.room(damaged.size()));
    from.filled(damaged.size());
    from.end();
    all.end();
    EXPECT_THAT(
        says(only("sync_lost", all.told())),
        ElementsAre("the sync bytes were lost: what came until they were found again is not "
                    "received"));
    EXPECT_THAT(says(only("bytes_skipped", all.told())),
                ElementsAre("1000 bytes that belong to no packet before packet 10"));
}

TEST_F(StreamFaults, AreNoneInACaptureThatIsCutWithinPackets) {
    stream_writer stream;
    stream.null_packets(20);
    bytes cut = stream.stream();
    cut.erase(cut.begin(), cut.begin() + 100);
    cut.resize(cut.size() - 50);
    findings all;
    multiplex from("", all, {});
    std::copy(cut.begin(), cut.end(), from.room(cut.size()));
    from.filled(cut.size());
    from.end();
    all.end();
    EXPECT_THAT(says(all.told()), IsEmpty());
}

TEST_F(StreamFaults, MeasurePcrsThatAreTooFarApart) {
    const std::vector<finding> found =
        only("pcr_rare", found_in(pcrs({0, 0.1, 0.2, 0.32, 0.42, 0.55, 0.65})));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].count, 2u);
    EXPECT_NEAR(found[0].worst.value(), 0.13, 1e-6);
    EXPECT_EQ(found[0].limit, 0.1);
    EXPECT_EQ(found[0].says(), "PCRs on PID 0x0100 came 130 ms apart (at most 100 ms), 2 times");
    EXPECT_THAT(says("pcr_rare", pcrs({0, 0.1, 0.2, 0.3, 0.4})), IsEmpty());
}

TEST_F(StreamFaults, MissPcrsThatComeNoMore) {
    stream_writer stream = pcrs({0, 0.1, 0.2});
    stream.null_packets(300);
    const std::vector<finding> found = only("pcr_rare", found_in(stream));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].count, 1u);
    EXPECT_GT(found[0].worst.value(), 1);
    EXPECT_TRUE(found[0].in_force);
}

TEST_F(StreamFaults, TellOfAPcrThatJumpsUnannounced) {
    EXPECT_THAT(says("pcr_jump", pcrs({0, 0.1, 0.2, 0.3, 5.4, 5.5})),
                ElementsAre("the PCR on PID 0x0100 jumped by 5 s without an announcement (at most "
                            "100 ms)"));
    EXPECT_THAT(says("pcr_jump", pcrs({9, 9.1, 9.2, 9.3, 2.4, 2.5})),
                ElementsAre("the PCR on PID 0x0100 jumped by 7 s without an announcement (at most "
                            "100 ms)"));
    EXPECT_THAT(says("pcr_jump", pcrs({0, 0.1, 0.2, 0.3, 5.4}, true)), IsEmpty());
    EXPECT_THAT(says("pcr_jump", pcrs({0, 0.1, 0.2, 0.3, 0.5})), IsEmpty());
}

}  // namespace
}  // namespace orvix::broadcast
