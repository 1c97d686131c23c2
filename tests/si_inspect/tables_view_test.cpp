#include <broadcast/multiplex.h>
#include <broadcast/names.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <small_broadcast.h>
#include <tables_view.h>
#include <writers/fields.h>

#include <algorithm>

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

/// Notes what it is handed: "pmt 0x0110".
class noting_writer : public writer {
public:
    void table(const sighting& seen) override {
        noted.push_back(std::string(names::table_kind(seen.bytes[0])) + ' ' +
                        hex_number(seen.where.pid.value_or(0xFFFF), 4));
    }
    void refused(const place& where, const refusal& what) override {
        noted.push_back("refused " + hex_number(where.pid.value_or(0xFFFF), 4) + ' ' +
                        to_string(what.why.why));
    }
    void finish(const totals* /*counts*/) override {}

    std::vector<std::string> noted;
};

void feed(multiplex& to, const std::uint8_t* data, std::size_t size) {
    std::copy_n(data, size, to.room(size));
    to.filled(size);
}

class TablesView : public testing::Test {
protected:
    void SetUp() override { OrvixLog::reporting_level() = OrvixLog::NONE; }

    std::vector<std::string> shown(const stream_writer& stream) {
        noting_writer writer;
        tables_view view(how, writer, [](const place&, const refusal&) {});
        multiplex from("", view, {{how.check_crc, how.all}, how.pids});
        const bytes all = stream.stream();
        feed(from, all.data(), all.size());
        from.end();
        view.counts().add(from);
        counts = view.counts();
        return writer.noted;
    }

    options how;
    totals counts;
};

TEST_F(TablesView, DoesNotShowRepeatsAgain) {
    stream_writer stream;
    stream.section(0x0011, sdt()).section(0x0011, sdt()).section(0x0011, sdt());
    EXPECT_THAT(shown(stream), ElementsAre("sdt 0x0011"));
    EXPECT_EQ(counts.tables["sdt"].sections, 3u);
    EXPECT_EQ(counts.tables["sdt"].shown, 1u);
}

TEST_F(TablesView, ShowsRepeatsWhenAsked) {
    how.all = true;
    stream_writer stream;
    stream.section(0x0011, sdt()).section(0x0011, sdt());
    EXPECT_THAT(shown(stream), ElementsAre("sdt 0x0011", "sdt 0x0011"));
}

TEST_F(TablesView, ShowsEveryTime) {
    stream_writer stream;
    stream.section(0x0014, tdt())
        .section(0x0014, tdt())
        .section(0x0014, tot())
        .section(0x0014, tot());
    EXPECT_EQ(shown(stream).size(), 4u);
}

TEST_F(TablesView, ShowsNothingOfASectionThatTheLibraryPassesOver) {
    bytes without_syntax = sdt();
    without_syntax[1] = static_cast<std::uint8_t>(without_syntax[1] & 0x7F);
    repair_crc(without_syntax);
    stream_writer stream;
    stream.section(0x0011, sdt()).section(0x0011, without_syntax);
    EXPECT_THAT(shown(stream), ElementsAre("sdt 0x0011"));
    EXPECT_EQ(counts.passed_over, 1u);
}

TEST_F(TablesView, ShowsEachDifferentRefusalOnceAndCountsAll) {
    bytes damaged = sdt();
    damaged[20] ^= 1;
    stream_writer stream;
    stream.section(0x0011, damaged).section(0x0011, damaged).section(0x0011, sdt());
    EXPECT_THAT(shown(stream), ElementsAre("refused 0x0011 crc_mismatch", "sdt 0x0011"));
    EXPECT_EQ(counts.refused[0x0011][section_feed::verdict::crc_mismatch], 2u);
    EXPECT_FALSE(counts.complete());
}

TEST_F(TablesView, TakesAWrongCrcWhenAsked) {
    how.check_crc = false;
    bytes damaged = sdt();
    damaged.back() ^= 1;
    stream_writer stream;
    stream.section(0x0011, damaged);
    EXPECT_THAT(shown(stream), ElementsAre("sdt 0x0011"));
}

TEST_F(TablesView, ShowsOnlyTheTablesThatAreAskedFor) {
    how.tables = {"pmt", "tot"};
    EXPECT_THAT(shown(all_tables()), ElementsAre("pmt 0x0110", "pmt 0x1FC8", "tot 0x0014"));
}

TEST_F(TablesView, ShowsOnlyThePidsThatAreAskedFor) {
    how.pids = {0x0014, mobile_pmt_pid};
    EXPECT_THAT(shown(all_tables()), ElementsAre("pmt 0x1FC8", "tdt 0x0014", "tot 0x0014"));
}

TEST_F(TablesView, LeavesOutWhatConcernsOtherServicesOnly) {
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

TEST_F(TablesView, StopsAfterAsManySectionsAsAreAskedFor) {
    how.limit = 2;
    EXPECT_THAT(shown(all_tables()), ElementsAre("pat 0x0000", "pmt 0x0110"));
    EXPECT_EQ(counts.packets, 2u);
}

TEST_F(TablesView, CountsPacketsPidsLossesAndSkippedBytes) {
    stream_writer stream;
    stream.section(0x0011, sdt()).skip_counter(0x0011).section(0x0011, sdt()).null_packets(8);
    bytes all = bytes(100, 0xAA) + stream.stream();
    noting_writer writer;
    tables_view view(how, writer, [](const place&, const refusal&) {});
    multiplex from("", view, {});
    for (const std::uint8_t& byte : all) feed(from, &byte, 1);
    from.end();
    view.counts().add(from);
    EXPECT_EQ(view.counts().packets, 10u);
    EXPECT_EQ(view.counts().pids.count(), 2u);
    EXPECT_EQ(view.counts().skipped_bytes, 100u);
    EXPECT_EQ(view.counts().dropped[0x0011][section_feed::drop_reason::discontinuity], 1u);
}

}  // namespace
}  // namespace orvix::si_inspect
