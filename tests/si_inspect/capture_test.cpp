#include <broadcast/names.h>
#include <capture.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <writers/fields.h>

#include <algorithm>

#include "broadcast.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

/// Notes what it is handed: "pmt 0x0110".
class noting_writer : public writer {
public:
    void table(const place& where, const table_ref& table) override {
        const auto table_id = std::visit([](const auto* t) { return t->table_id; }, table);
        noted.push_back(std::string(names::table_kind(table_id)) + ' ' +
                        hex_number(where.pid.value_or(0xFFFF), 4));
    }
    void refused(const place& where, const refusal& what) override {
        noted.push_back("refused " + hex_number(where.pid.value_or(0xFFFF), 4) + ' ' +
                        to_string(what.why.why));
    }
    void finish(const totals* /*counts*/) override {}

    std::vector<std::string> noted;
};

void feed(capture& to, const std::uint8_t* data, std::size_t size) {
    std::copy_n(data, size, to.room(size));
    to.filled(size);
}

class Capture : public testing::Test {
protected:
    void SetUp() override { OrvixLog::reporting_level() = OrvixLog::NONE; }

    std::vector<std::string> shown(const stream_writer& stream) {
        noting_writer writer;
        tables_view view(how, writer, [](const place&, const refusal&) {});
        capture capture("", view, {how.check_crc});
        const bytes all = stream.stream();
        feed(capture, all.data(), all.size());
        capture.end();
        capture.count();
        counts = view.counts();
        return writer.noted;
    }

    options how;
    totals counts;
};

TEST_F(Capture, FollowsThePatToThePmtsAndThePmtsToTheApplications) {
    EXPECT_THAT(shown(all_tables()),
                ElementsAre("pat 0x0000", "pmt 0x0110", "pmt 0x1FC8", "nit 0x0010", "sdt 0x0011",
                            "eit 0x0012", "eit 0x0012", "tdt 0x0014", "tot 0x0014", "ait 0x0140"));
}

TEST_F(Capture, FindsEventsOnThePidsOfMobileAndFixedReception) {
    stream_writer stream;
    stream.section(0x0026, eit()).section(0x0027, eit()).section(0x0028, eit());
    EXPECT_THAT(shown(stream), ElementsAre("eit 0x0026", "eit 0x0027"));
}

TEST_F(Capture, FollowsTheNitToThePidThatThePatNames) {
    stream_writer stream;
    stream.section(0x0000, pat_section(multiplex, program(0, 0x0020))).section(0x0020, nit());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "nit 0x0020"));
}

TEST_F(Capture, DoesNotKnowAPmtBeforeThePatNamesIt) {
    stream_writer stream;
    stream.section(hd_pmt_pid, hd_pmt()).section(0x0000, pat()).section(hd_pmt_pid, hd_pmt());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "pmt 0x0110"));
}

TEST_F(Capture, LooksForApplicationsOnlyInStreamsOfPrivateSections) {
    stream_writer stream;
    stream.section(0x0000, pat())
        .section(hd_pmt_pid, pmt_section(hd_service, 0x0100, {}, elementary_stream(0x0B, ait_pid)))
        .section(ait_pid, ait());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "pmt 0x0110"));
}

TEST_F(Capture, TellsApplicationsFromOtherPrivateSectionsByTheirTableId) {
    stream_writer stream;
    stream.section(0x0000, pat())
        .section(hd_pmt_pid, hd_pmt())
        .section(ait_pid, long_section(0x80, 1, {1, 2, 3}))
        .section(ait_pid, ait());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "pmt 0x0110", "ait 0x0140"));
    EXPECT_EQ(counts.not_decoded, 1u);
    EXPECT_TRUE(counts.complete());
}

TEST_F(Capture, DoesNotShowRepeatsAgain) {
    stream_writer stream;
    stream.section(0x0011, sdt()).section(0x0011, sdt()).section(0x0011, sdt());
    EXPECT_THAT(shown(stream), ElementsAre("sdt 0x0011"));
    EXPECT_EQ(counts.tables["sdt"].sections, 3u);
    EXPECT_EQ(counts.tables["sdt"].shown, 1u);
}

TEST_F(Capture, ShowsRepeatsWhenAsked) {
    how.all = true;
    stream_writer stream;
    stream.section(0x0011, sdt()).section(0x0011, sdt());
    EXPECT_THAT(shown(stream), ElementsAre("sdt 0x0011", "sdt 0x0011"));
}

TEST_F(Capture, ShowsEveryNewVersionAlsoOneThatComesBack) {
    const long_header next = {1, 1, 0, 0};
    stream_writer stream;
    stream.section(0x0011, sdt()).section(0x0011, sdt(next)).section(0x0011, sdt());
    EXPECT_EQ(shown(stream).size(), 3u);
}

TEST_F(Capture, ShowsContentThatChangesWithoutANewVersion) {
    stream_writer stream;
    stream.section(0x0011, sdt_section(multiplex, multiplex, service(hd_service, 4, 0)))
        .section(0x0011, sdt_section(multiplex, multiplex, service(hd_service, 1, 0)));
    EXPECT_EQ(shown(stream).size(), 2u);
}

TEST_F(Capture, TakesSectionsOfDifferentServicesNumbersAndStreamsForDifferentOnes) {
    const auto other_stream = [](std::uint16_t transport_stream_id) {
        return eit_section({0x4F, hd_service, transport_stream_id, multiplex, 0, 0x4F}, {});
    };
    stream_writer once;
    once.section(0x0012, eit())
        .section(0x0012, eit(mobile_service))
        .section(0x0012, eit(hd_service, {0, 1, 1, 1}))
        .section(0x0012, other_stream(1))
        .section(0x0012, other_stream(2));
    stream_writer twice = once;
    for (const bytes& packet : once.packets()) twice.packets().push_back(packet);
    for (std::size_t i = 0; i < twice.packets().size(); ++i) {
        set_continuity_counter(twice.packets()[i], static_cast<unsigned int>(i % 16));
    }
    EXPECT_EQ(shown(twice).size(), 5u) << "each once, however they alternate";
}

TEST_F(Capture, ShowsEveryTime) {
    stream_writer stream;
    stream.section(0x0014, tdt())
        .section(0x0014, tdt())
        .section(0x0014, tot())
        .section(0x0014, tot());
    EXPECT_EQ(shown(stream).size(), 4u);
}

TEST_F(Capture, GivesUpThePmtsThatANewPatDoesNotName) {
    const bytes without_hd = pat_section(multiplex, program(mobile_service, mobile_pmt_pid), {1});
    stream_writer stream;
    stream.section(0x0000, pat()).section(hd_pmt_pid, hd_pmt()).section(0x0000, without_hd);
    stream.section(hd_pmt_pid, hd_pmt({9})).section(ait_pid, ait());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "pmt 0x0110", "pat 0x0000"));
}

TEST_F(Capture, FollowsTheApplicationsOfAProgrammeThatComesBack) {
    const bytes without_hd = pat_section(multiplex, program(mobile_service, mobile_pmt_pid), {1});
    stream_writer stream;
    stream.section(0x0000, pat())
        .section(hd_pmt_pid, hd_pmt())
        .section(0x0000, without_hd)
        .section(0x0000, pat({2}))
        .section(hd_pmt_pid, hd_pmt())
        .section(ait_pid, ait());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "pmt 0x0110", "pat 0x0000", "pat 0x0000",
                                           "pmt 0x0110", "ait 0x0140"));
}

TEST_F(Capture, KeepsThePmtsOfAPatOverSeveralSectionsUntilAllOfANewVersionAreThere) {
    const auto half = [](std::uint8_t version, std::uint8_t number) {
        return pat_section(
            multiplex,
            number == 0 ? program(hd_service, hd_pmt_pid) : program(mobile_service, mobile_pmt_pid),
            {version, 1, number, 1});
    };
    stream_writer stream;
    stream.section(0x0000, half(0, 0)).section(0x0000, half(0, 1));
    stream.section(0x0000, half(1, 0)).section(mobile_pmt_pid, mobile_pmt());
    stream.section(0x0000, half(1, 1)).section(hd_pmt_pid, hd_pmt());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "pat 0x0000", "pat 0x0000", "pmt 0x1FC8",
                                           "pat 0x0000", "pmt 0x0110"));
}

TEST_F(Capture, ShowsAPatThatIsNotYetValidButDoesNotFollowIt) {
    stream_writer stream;
    stream.section(0x0000, pat({3, 0})).section(hd_pmt_pid, hd_pmt());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000"));
}

TEST_F(Capture, IgnoresAPatOnThePidOfAPmt) {
    stream_writer stream;
    stream.section(0x0000, pat_section(multiplex, program(hd_service, hd_pmt_pid)))
        .section(hd_pmt_pid, pat_section(multiplex, program(1, 0x0300), {1}))
        .section(0x0300, hd_pmt());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "pat 0x0110"));
}

TEST_F(Capture, ShowsNothingOfASectionThatTheLibraryPassesOver) {
    bytes without_syntax = sdt();
    without_syntax[1] = static_cast<std::uint8_t>(without_syntax[1] & 0x7F);
    repair_crc(without_syntax);
    stream_writer stream;
    stream.section(0x0011, sdt()).section(0x0011, without_syntax);
    EXPECT_THAT(shown(stream), ElementsAre("sdt 0x0011"));
    EXPECT_EQ(counts.passed_over, 1u);
}

TEST_F(Capture, ShowsEachDifferentRefusalOnceAndCountsAll) {
    bytes damaged = sdt();
    damaged[20] ^= 1;
    stream_writer stream;
    stream.section(0x0011, damaged).section(0x0011, damaged).section(0x0011, sdt());
    EXPECT_THAT(shown(stream), ElementsAre("refused 0x0011 crc_mismatch", "sdt 0x0011"));
    EXPECT_EQ(counts.refused[0x0011][section_feed::verdict::crc_mismatch], 2u);
    EXPECT_FALSE(counts.complete());
}

TEST_F(Capture, TakesAWrongCrcWhenAsked) {
    how.check_crc = false;
    bytes damaged = sdt();
    damaged.back() ^= 1;
    stream_writer stream;
    stream.section(0x0011, damaged);
    EXPECT_THAT(shown(stream), ElementsAre("sdt 0x0011"));
}

TEST_F(Capture, ShowsOnlyTheTablesThatAreAskedFor) {
    how.tables = {"pmt", "tot"};
    EXPECT_THAT(shown(all_tables()), ElementsAre("pmt 0x0110", "pmt 0x1FC8", "tot 0x0014"));
}

TEST_F(Capture, ShowsOnlyThePidsThatAreAskedFor) {
    how.pids = {0x0014, mobile_pmt_pid};
    EXPECT_THAT(shown(all_tables()), ElementsAre("pmt 0x1FC8", "tdt 0x0014", "tot 0x0014"));
}

TEST_F(Capture, LeavesOutWhatConcernsOtherServicesOnly) {
    how.services = {mobile_service};
    EXPECT_THAT(shown(all_tables()),
                ElementsAre("pat 0x0000", "pmt 0x1FC8", "nit 0x0010", "sdt 0x0011", "eit 0x0012",
                            "tdt 0x0014", "tot 0x0014"));
    how.services = {hd_service};
    how.tables = {"ait", "pmt"};
    EXPECT_THAT(shown(all_tables()), ElementsAre("pmt 0x0110", "ait 0x0140"));
    how.services = {0x1234};
    how.tables = {"pat", "sdt", "pmt", "eit", "ait"};
    EXPECT_THAT(shown(all_tables()), IsEmpty());
}

TEST_F(Capture, StopsAfterAsManySectionsAsAreAskedFor) {
    how.limit = 2;
    EXPECT_THAT(shown(all_tables()), ElementsAre("pat 0x0000", "pmt 0x0110"));
    EXPECT_EQ(counts.packets, 2u);
}

TEST_F(Capture, CountsPacketsPidsLossesAndSkippedBytes) {
    stream_writer stream;
    stream.section(0x0011, sdt()).skip_counter(0x0011).section(0x0011, sdt()).null_packets(8);
    bytes all = bytes(100, 0xAA) + stream.stream();
    noting_writer writer;
    tables_view view(how, writer, [](const place&, const refusal&) {});
    capture capture("", view, {});
    for (const std::uint8_t& byte : all) feed(capture, &byte, 1);
    capture.end();
    capture.count();
    EXPECT_EQ(view.counts().packets, 10u);
    EXPECT_EQ(view.counts().pids.count(), 2u);
    EXPECT_EQ(view.counts().skipped_bytes, 100u);
    EXPECT_EQ(view.counts().dropped[0x0011][section_feed::drop_reason::discontinuity], 1u);
}

}  // namespace
}  // namespace orvix::si_inspect
