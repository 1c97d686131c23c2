#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <without_log.h>

#include <cmath>
#include <sstream>

#include "../finding_streams.h"

namespace orvix::broadcast {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

class TableWatch : public without_log {};

/// PAT and PMTs as they have to come.
timed_stream with_programmes(double seconds) {
    timed_stream stream(seconds);
    stream.every(0.3, 0x0000, {pat()}, 0.001)
        .every(0.3, hd_pmt_pid, {hd_pmt()}, 0.003)
        .every(0.3, mobile_pmt_pid, {mobile_pmt()}, 0.005);
    return stream;
}

bytes schedule(std::uint8_t table_id, std::uint8_t section_number) {
    const eit_identifiers identifiers = {table_id,     hd_service,     multiplex_id,
                                         multiplex_id, section_number, 0x51};
    return eit_section(identifiers, event(section_number, utc_time(day, 0x100000), 0x010000, 0, 0),
                       {0, 1, section_number, 0xF8});
}

TEST_F(TableWatch, MeasuresAPatThatComesTooRarely) {
    timed_stream stream(3);
    stream.every(0.5, 0x0000, {pat()}, 0.001, 1.6).every(0.612, 0x0000, {pat()}, 2.113);
    const std::vector<finding> found = only("pat_rare", found_in(stream));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].count, 2u);
    EXPECT_NEAR(found[0].worst.value(), 0.612, 1e-3);
    EXPECT_EQ(found[0].limit, 0.5);
    EXPECT_NEAR(found[0].first.seconds.value(), 2.113, 2e-3);
    EXPECT_NEAR(found[0].last.seconds.value(), 2.725, 2e-3);
    EXPECT_EQ(found[0].says(), "PAT came 612 ms after the one before (at most 500 ms), 2 times");
}

TEST_F(TableWatch, FindsNothingWhereALimitIsMetExactly) {
    timed_stream stream(21);
    stream.every(0.5, 0x0000, {pat()}, 0.001)
        .every(0.5, hd_pmt_pid, {hd_pmt()}, 0.003)
        .every(0.5, mobile_pmt_pid, {mobile_pmt()}, 0.005)
        .every(10, 0x0010, {nit()}, 0.007)
        .every(2, 0x0011, {sdt()}, 0.009)
        .every(2, 0x0012, {eit()}, 0.011)
        .every(2, 0x0012, {eit(mobile_service)}, 0.013)
        .every(10, 0x0012, {schedule(0x50, 0)}, 0.015)
        .every(10, 0x0014, {tot()}, 0.017)
        .every(10, ait_pid, {ait()}, 0.019);
    for (const finding& f : found_in(stream)) {
        EXPECT_TRUE(f.kind < finding_kind::pat_rare || f.kind > finding_kind::table_missing)
            << f.says();
    }
}

TEST_F(TableWatch, JudgesThePmtOfEachService) {
    timed_stream stream(2);
    stream.every(0.3, 0x0000, {pat()}, 0.001)
        .every(0.812, hd_pmt_pid, {hd_pmt()}, 0.003)
        .every(0.3, mobile_pmt_pid, {mobile_pmt()}, 0.005);
    const std::vector<finding> found = only("pmt_rare", found_in(stream));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.service_id, hd_service);
    EXPECT_EQ(found[0].about.pid, hd_pmt_pid);
    EXPECT_EQ(found[0].says(),
              "PMT of service 0x5C20 came 812 ms after the one before (at most 500 ms), 2 times");
}

TEST_F(TableWatch, JudgesTheOtherTablesByTheirLimits) {
    timed_stream stream = with_programmes(70);
    stream.every(10.1, 0x0010, {nit()}, 0.007)
        .every(2.1, 0x0011, {sdt()}, 0.009)
        .every(2.2, 0x0012, {eit()}, 0.011)
        .every(31, 0x0014, {tdt()}, 0.017)
        .every(10.2, ait_pid, {ait()}, 0.019);
    const std::vector<finding> found = found_in(stream);
    EXPECT_THAT(says(only("nit_rare", found)),
                ElementsAre("NIT came 10.1 s after the one before (at most 10 s), 6 times"));
    EXPECT_THAT(says(only("sdt_rare", found)),
                ElementsAre("SDT came 2.1 s after the one before (at most 2 s), 33 times"));
    EXPECT_THAT(says(only("eit_rare", found)),
                ElementsAre("EIT present/following of service 0x5C20 (section 0) came 2.2 s after "
                            "the one before (at most 2 s), 31 times"));
    EXPECT_THAT(says(only("clock_rare", found)),
                ElementsAre("TOT or TDT came 31 s after the one before (at most 30 s), 2 "
                            "times"));
    EXPECT_THAT(says(only("ait_rare", found)),
                ElementsAre("AIT on PID 0x0140 came 10.2 s after the one before (at most 10 s), 6 "
                            "times"));
}

TEST_F(TableWatch, GivesTheScheduleBeyondTheFirstDayThriceAsLong) {
    timed_stream slow = with_programmes(65);
    slow.every(10.5, 0x0012, {schedule(0x50, 0)}, 0.015)
        .every(30.5, 0x0012, {schedule(0x51, 0)}, 0.017);
    EXPECT_THAT(says("eit_schedule_rare", slow),
                ElementsAre("EIT schedule of service 0x5C20 (section 0) came 10.5 s after the one "
                            "before (at most 10 s), 6 times",
                            "EIT schedule beyond the first day of service 0x5C20 (table_id 0x51, "
                            "section 0) came 30.5 s after the one before (at most 30 s), 2 "
                            "times"));
    timed_stream in_time = with_programmes(65);
    in_time.every(10, 0x0012, {schedule(0x50, 0)}, 0.015)
        .every(30, 0x0012, {schedule(0x51, 0)}, 0.017);
    EXPECT_THAT(says("eit_schedule_rare", in_time), IsEmpty());
}

TEST_F(TableWatch, JudgesTheEitOnlyOfServicesThatAnnounceIt) {
    const auto announced = [](unsigned int flags) {
        bytes section = sdt_section(multiplex_id, multiplex_id, service(hd_service, 4, 0));
        section[13] = static_cast<std::uint8_t>(0xFC | flags);  // schedule, present/following
        repair_crc(section);
        return section;
    };
    for (const unsigned int flags : {0u, 1u}) {
        timed_stream stream = with_programmes(10);
        stream.every(1, 0x0011, {announced(flags)}, 0.009).every(3, 0x0012, {eit()}, 0.011);
        EXPECT_EQ(says("eit_rare", stream).size(), flags) << flags;
    }
}

TEST_F(TableWatch, TakesAnotherLimit) {
    timed_stream stream(3);
    stream.every(0.6, 0x0000, {pat()}, 0.001);
    finding_limits limits;
    limits.set(finding_kind::pat_rare, 0.6);
    EXPECT_THAT(says(only("pat_rare", found_in(stream, limits))), IsEmpty());
    limits.set(finding_kind::pat_rare, 0.55);
    EXPECT_EQ(only("pat_rare", found_in(stream, limits)).at(0).limit, 0.55);
}

TEST_F(TableWatch, MissesATableThatComesNoMore) {
    timed_stream stream(4);
    stream.every(0.3, 0x0000, {pat()}, 0.001, 1).every(1, 0x0011, {sdt()}, 0.009);
    const std::vector<finding> found = only("pat_rare", found_in(stream));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].count, 1u);
    EXPECT_TRUE(found[0].in_force);
    EXPECT_EQ(found[0].says(), "PAT has not come for 3.07 s (at most 500 ms)");
    EXPECT_THAT(says("sdt_rare", stream), IsEmpty());
}

TEST_F(TableWatch, CountsAnIntervalOnceThatWasMissedBeforeItEnded) {
    timed_stream stream(4);
    stream.every(0.3, 0x0000, {pat()}, 0.001, 1).every(0.3, 0x0000, {pat()}, 3.001);
    EXPECT_THAT(says("pat_rare", stream),
                ElementsAre("PAT came 2.1 s after the one before (at most 500 ms)"));
}

TEST_F(TableWatch, MissesTablesThatNeverCome) {
    timed_stream stream = with_programmes(61);
    stream.once(0.007, ait_pid, ait());
    EXPECT_THAT(says("table_missing", stream),
                ElementsAre("the NIT has not come in 20.1 s (every 10 s)",
                            "the SDT has not come in 4.13 s (every 2 s)",
                            "the TOT or TDT has not come in 60.1 s (every 30 s)"));
}

TEST_F(TableWatch, DoesNotMissWhatIsNotDueTwice) {
    timed_stream stream = with_programmes(3.9);
    EXPECT_THAT(says("table_missing", stream), IsEmpty());
}

TEST_F(TableWatch, MissesThePmtOfAServiceInThePat) {
    timed_stream stream(3);
    stream.every(0.3, 0x0000, {pat()}, 0.001).every(0.3, hd_pmt_pid, {hd_pmt()}, 0.003);
    const std::vector<finding> found = only("table_missing", found_in(stream));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.service_id, mobile_service);
}

TEST_F(TableWatch, DoesNotMissThePmtThatTheReceiverRefuses) {
    bytes streams;
    for (std::uint16_t pid = 0x0300; pid < 0x0340; ++pid) {
        streams = streams + elementary_stream(0x06, pid);
    }
    timed_stream stream(3);
    stream.every(0.3, 0x0000, {pat_section(multiplex_id, program(hd_service, hd_pmt_pid))}, 0.001)
        .every(0.3, hd_pmt_pid, {pmt_section(hd_service, 0x0100, {}, streams)}, 0.003);
    EXPECT_THAT(says("table_missing", stream), IsEmpty());
}

TEST_F(TableWatch, ForgetsServicesThatLeaveThePat) {
    timed_stream stream(6);
    stream.every(0.3, 0x0000, {pat()}, 0.001, 2)
        .every(0.3, 0x0000, {pat_section(multiplex_id, program(hd_service, hd_pmt_pid), {1})},
               2.001)
        .every(0.3, hd_pmt_pid, {hd_pmt()}, 0.003, 2)
        .every(0.3, hd_pmt_pid, {hd_pmt()}, 2.003)
        .every(0.3, mobile_pmt_pid, {mobile_pmt()}, 0.005, 2);
    EXPECT_THAT(says("table_missing", stream),
                ElementsAre("the SDT has not come in 4.13 s (every 2 s)"));
    const std::vector<finding> rare = only("pmt_rare", found_in(stream));
    for (const finding& f : rare) EXPECT_EQ(f.about.service_id, mobile_service) << f.says();
}

TEST_F(TableWatch, ForgetsSectionsThatATableHasNoLonger) {
    const bytes events = event(1, utc_time(day, 0x100000), 0x010000, 0, 0);
    const auto section = [&](std::uint8_t version, std::uint8_t number, std::uint8_t last) {
        return eit_section({0x4E, hd_service, multiplex_id, multiplex_id, last, 0x4E}, events,
                           {version, 1, number, last});
    };
    timed_stream stream = with_programmes(12);
    stream.every(1, 0x0012, {section(0, 0, 1)}, 0.011, 3)
        .every(1, 0x0012, {section(0, 1, 1)}, 0.013, 3)
        .every(1, 0x0012, {section(1, 0, 0)}, 3.011);
    EXPECT_THAT(says("eit_rare", stream), IsEmpty());
}

TEST_F(TableWatch, NotesASectionThatComesAgainTooSoon) {
    timed_stream stream(1);
    stream.every(0.3, 0x0000, {pat()}, 0.001).once(0.321, 0x0000, pat()).once(0.626, 0x0000, pat());
    EXPECT_THAT(says("section_too_soon", stream),
                ElementsAre("PAT came again after 20 ms (at least 25 ms)"));
    timed_stream changed(1);
    changed.once(0.1, 0x0000, pat()).once(0.105, 0x0000, pat({1}));
    EXPECT_THAT(says("section_too_soon", changed), IsEmpty());
}

TEST_F(TableWatch, TellsEachInterval) {
    std::vector<std::string> told;
    findings::settings how;
    how.on_interval = [&told](const table_interval& interval) {
        std::ostringstream words;
        words << rule_of(interval.limit).name << ' ' << interval.pid << ' '
              << std::lround(interval.seconds * 1000) << " of "
              << std::lround(interval.limit_seconds * 1000);
        told.push_back(words.str());
    };
    findings all(std::move(how));
    multiplex from("", all, {});
    timed_stream stream(1);
    stream.once(0.101, 0x0000, pat()).once(0.401, 0x0000, pat()).once(0.901, 0x0000, pat());
    const bytes read = stream.write().stream();
    std::copy(read.begin(), read.end(), from.room(read.size()));
    from.filled(read.size());
    EXPECT_THAT(told, ElementsAre("pat_rare 0 300 of 500", "pat_rare 0 500 of 500"));
}

TEST_F(TableWatch, SaysNothingWithoutAClock) {
    timed_stream stream(5);
    stream.once(0.001, 0x0000, pat()).once(4, 0x0000, pat()).without_pcrs();
    EXPECT_THAT(says(only("pat_rare", found_in(stream))), IsEmpty());
    EXPECT_THAT(says(only("table_missing", found_in(stream))), IsEmpty());
}

TEST_F(TableWatch, FindsTheSameHoweverTheInputIsCut) {
    timed_stream stream(5);
    stream.every(0.7, 0x0000, {pat()}, 0.001)
        .every(0.3, hd_pmt_pid, {hd_pmt()}, 0.003, 2)
        .every(2.5, 0x0011, {sdt()}, 0.009);
    const stream_writer written = stream.write();
    const auto whole = found_in(written);
    for (const std::size_t piece : {1u, 7u, 188u, 1000u, 70'000u}) {
        const auto cut = found_in(written, {}, piece);
        ASSERT_EQ(says(cut), says(whole)) << piece;
        for (std::size_t i = 0; i < whole.size(); ++i) {
            EXPECT_EQ(cut[i].first.number, whole[i].first.number);
            EXPECT_EQ(cut[i].last.number, whole[i].last.number);
            EXPECT_EQ(cut[i].worst, whole[i].worst);
        }
    }
}

}  // namespace
}  // namespace orvix::broadcast
