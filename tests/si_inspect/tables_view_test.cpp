#include <broadcast/multiplex.h>
#include <broadcast/names.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <small_broadcast.h>
#include <views/tables_view.h>
#include <without_log.h>
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

class TablesView : public without_log {
protected:
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

/// A TOT at hh:mm:ss of one day, in BCD.
bytes tot_at(std::uint32_t hhmmss, const bytes& descriptors = {}) {
    return tot_section(utc_time(day, hhmmss), descriptors);
}

TEST_F(TablesView, ShowsATimeThatIsTheFirstAndNotItsPassing) {
    stream_writer stream;
    stream.section(0x0014, tot_at(0x120000))
        .section(0x0014, tot_at(0x120005))
        .section(0x0014, tdt_section(utc_time(day, 0x120006)))
        .section(0x0014, tot_at(0x120010));
    EXPECT_THAT(shown(stream), ElementsAre("tot 0x0014", "tdt 0x0014"));
    EXPECT_EQ(counts.tables["tot"].sections, 3u);
    how.all = true;
    EXPECT_EQ(shown(stream).size(), 4u);
}

TEST_F(TablesView, ShowsATimeWhoseTableSaysSomethingElse) {
    const bytes offset = describe_local_time_offsets(
        local_time_offset("BRA", 2, 1, 0x0100, utc_time(day, 0), 0x0000));
    stream_writer stream;
    stream.section(0x0014, tot_at(0x120000))
        .section(0x0014, tot_at(0x120005, offset))
        .section(0x0014, tot_at(0x120010, offset));
    EXPECT_EQ(shown(stream).size(), 2u);
}

TEST_F(TablesView, ShowsATimeThatJumps) {
    const auto second_of = [this](std::uint32_t hhmmss) {
        stream_writer stream;
        stream.section(0x0014, tot_at(0x120000)).section(0x0014, tot_at(hhmmss));
        return shown(stream).size() == 2;
    };
    EXPECT_FALSE(second_of(0x120000));
    EXPECT_TRUE(second_of(0x115959)) << "back";
    EXPECT_FALSE(second_of(0x120100)) << "a minute without PCRs";
    EXPECT_TRUE(second_of(0x120101));
}

/// Two TOTs that many milliseconds of the stream's own clock apart.
stream_writer two_times(std::uint32_t hhmmss, std::uint64_t milliseconds) {
    constexpr std::uint64_t ticks_per_millisecond = 27'000;
    stream_writer stream;
    const auto reference = [&](std::uint64_t at) {
        adaptation_field field;
        field.pcr = at * ticks_per_millisecond;
        stream.packet_without_payload(0x0100, field);
    };
    reference(0);
    reference(20);
    stream.section(0x0014, tot_at(0x120000));
    for (std::uint64_t at = 40; at <= milliseconds; at += 20) reference(at);
    stream.section(0x0014, tot_at(hhmmss));
    reference(milliseconds + 20);
    return stream;
}

TEST_F(TablesView, TellsAJumpByTheStreamsOwnClock) {
    EXPECT_EQ(shown(two_times(0x120010, 10'000)).size(), 1u);
    EXPECT_EQ(shown(two_times(0x120011, 10'000)).size(), 1u);
    EXPECT_EQ(shown(two_times(0x120013, 10'000)).size(), 2u) << "three seconds ahead";
    EXPECT_EQ(shown(two_times(0x120007, 10'000)).size(), 2u) << "three seconds behind";
    EXPECT_EQ(shown(two_times(0x120200, 120'000)).size(), 1u) << "seldom, but in time";
}

TEST_F(TablesView, ShowsNothingOfASectionThatTheLibraryPassesOver) {
    bytes without_syntax = sdt();
    without_syntax[1] = static_cast<std::uint8_t>(without_syntax[1] & 0x7F);
    repair_crc(without_syntax);
    stream_writer stream;
    stream.section(0x0011, sdt()).section(0x0011, without_syntax).section(0x0011, without_syntax);
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
    how.all = true;
    EXPECT_EQ(shown(stream).size(), 3u) << "each refusal when repeats are asked for";
}

TEST_F(TablesView, ShowsApplicationsOfNoServiceInParticularForEveryService) {
    how.pids = {0x0300, ait_pid};
    how.services = {mobile_service};
    stream_writer stream;
    stream.section(0x0000, pat()).section(hd_pmt_pid, hd_pmt());
    stream.section(ait_pid, ait()).section(0x0300, ait());
    EXPECT_THAT(shown(stream), ElementsAre("ait 0x0300"));
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

TEST_F(TablesView, CountsErrorsInPacketsThatNobodyFollows) {
    stream_writer stream;
    stream.packet(0x0111, false, {}).packet(0x0111, false, {}).skip_counter(0x0111);
    stream.packet(0x0111, false, {}).packet(0x0112, false, {});
    set_transport_error_indicator(stream.last_packet());
    shown(stream);
    EXPECT_THAT(counts.continuity_errors, ElementsAre(std::make_pair(0x0111, 1u)));
    EXPECT_THAT(counts.transport_errors, ElementsAre(std::make_pair(0x0112, 1u)));
    EXPECT_FALSE(counts.complete());
}

TEST_F(TablesView, TakesScrambledSoundAndPictureForNoDamage) {
    stream_writer stream;
    for (int i = 0; i < 6; ++i) {
        stream.packet(0x0111, false, {});
        set_transport_scrambling_control(stream.last_packet(), 2);
    }
    shown(stream);
    EXPECT_TRUE(counts.complete());
}

TEST_F(TablesView, ShowsAThousandDifferentRefusalsAndCountsTheOthers) {
    stream_writer stream;
    std::vector<bytes> damaged;
    for (std::uint16_t i = 0; i < 1'010; ++i) {
        bytes section = sdt_section(i, i, {});
        section.back() ^= 1;
        damaged.push_back(section);
    }
    stream.sections(0x0011, damaged);
    stream.section(0x0011, damaged.front());
    noting_writer writer;
    tables_view view(how, writer, [](const place&, const refusal&) {});
    multiplex from("", view, {});
    const bytes all = stream.stream();
    feed(from, all.data(), all.size());
    from.end();
    EXPECT_EQ(writer.noted.size(), 1'000u);
    EXPECT_EQ(view.bounds().at(0).left_out, 10u);
    EXPECT_EQ(view.counts().refused[0x0011][section_feed::verdict::crc_mismatch], 1'011u);
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
