#include <broadcast/multiplex.h>
#include <broadcast/names.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <small_broadcast.h>
#include <without_log.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace orvix::broadcast {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

std::string in_hex(std::uint16_t pid) {
    std::array<char, 8> text = {};
    std::snprintf(text.data(), text.size(), "0x%04X", pid);
    return text.data();
}

/// Notes each new table and each refusal: "pmt 0x0110".
class noting_observer : public observer {
public:
    void section(const sighting& seen) override {
        if (!seen.is_new && seen.table != nullptr) ++decoded_repeats;
        if (!seen.is_new || seen.table == nullptr) return;
        noted.push_back(std::string(names::table_kind(seen.bytes[0])) + ' ' +
                        in_hex(*seen.where.pid));
        packets.push_back(seen.where.number);
        crc_errors.push_back(seen.where.crc_error);
        seconds.push_back(seen.seconds);
    }
    void packet_fault(const section_feed::packet& /*packet*/, std::uint16_t pid,
                      section_feed::packet_fault /*what*/) override {
        faults.push_back(in_hex(pid));
    }
    void clock_reference(const section_feed::clock_reference& /*reference*/) override {
        ++references;
    }
    void refused(const place& where, const refusal& what) override {
        noted.push_back(std::string(to_string(what.why.why)) + ' ' + in_hex(*where.pid));
    }
    bool is_done() const override { return noted.size() >= enough; }

    std::vector<std::string> noted;
    std::vector<std::uint64_t> packets;
    std::vector<bool> crc_errors;
    std::vector<std::optional<double>> seconds;
    std::vector<std::string> faults;
    std::size_t references = 0;
    std::size_t decoded_repeats = 0;
    std::size_t enough = 1'000'000;
};

class Multiplex : public without_log {
protected:
    std::vector<std::string> shown(const stream_writer& stream) {
        multiplex from("", to, how);
        push(from, stream);
        from.end();
        bounds = from.bounds();
        return to.noted;
    }

    static void push(multiplex& to, const stream_writer& stream) {
        const bytes all = stream.stream();
        std::copy(all.begin(), all.end(), to.room(all.size()));
        to.filled(all.size());
    }

    multiplex::settings how;
    noting_observer to;
    std::vector<bound> bounds;
};

TEST_F(Multiplex, FollowsThePatToThePmtsAndThePmtsToTheApplications) {
    EXPECT_THAT(shown(all_tables()),
                ElementsAre("pat 0x0000", "pmt 0x0110", "pmt 0x1FC8", "nit 0x0010", "sdt 0x0011",
                            "eit 0x0012", "eit 0x0012", "tdt 0x0014", "tot 0x0014", "ait 0x0140"));
}

TEST_F(Multiplex, FindsTablesOnAllPidsThatAreReservedForThem) {
    stream_writer stream;
    stream.section(0x0026, eit()).section(0x002F, eit()).section(0x0030, eit());
    EXPECT_THAT(shown(stream), ElementsAre("eit 0x0026", "eit 0x002F"));
}

TEST_F(Multiplex, HandsOnSectionsOfTablesThatAreNotDecoded) {
    stream_writer stream;
    stream.section(0x0001, long_section(0x01, 0xFFFF, {})).section(0x0013, {0x71, 0x30, 0x00});
    EXPECT_THAT(shown(stream), ElementsAre("not_decoded 0x0001", "not_decoded 0x0013"));
}

TEST_F(Multiplex, ReadsAPidThatNothingRefersToWhenAsked) {
    how.pids = {0x0300};
    stream_writer stream;
    stream.section(0x0300, eit()).section(0x0301, eit());
    EXPECT_THAT(shown(stream), ElementsAre("eit 0x0300"));
}

TEST_F(Multiplex, FollowsOneSegPmtsAndTheirApplicationsWithoutAPat) {
    const bytes pmt = pmt_section(mobile_service, 0x0200, {}, elementary_stream(0x05, ait_pid));
    stream_writer stream;
    stream.section(0x1FC7, pmt).section(0x1FCF, pmt).section(ait_pid, ait());
    EXPECT_THAT(shown(stream), ElementsAre("pmt 0x1FCF", "ait 0x0140"));
}

TEST_F(Multiplex, FollowsTheNitToThePidThatThePatNames) {
    stream_writer stream;
    stream.section(0x0000, pat_section(multiplex_id, program(0, 0x0020))).section(0x0020, nit());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "nit 0x0020"));
}

TEST_F(Multiplex, TakesThePmtsThatCameBeforeThePatThatNamesThem) {
    stream_writer stream;
    stream.null_packets(3)
        .section(hd_pmt_pid, hd_pmt())
        .section(0x0300, mobile_pmt())
        .section(hd_pmt_pid, hd_pmt({1}))
        .section(0x0000, pat())
        .section(hd_pmt_pid, hd_pmt({1}))
        .section(ait_pid, ait());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "pmt 0x0110", "pmt 0x0110", "ait 0x0140"));
    EXPECT_THAT(to.packets, ElementsAre(6u, 3u, 5u, 8u));
}

TEST_F(Multiplex, TellsTheRefusalOfAPmtThatCameBeforeItsPat) {
    bytes damaged = hd_pmt();
    damaged.back() ^= 1;
    stream_writer stream;
    stream.section(hd_pmt_pid, damaged).section(0x0000, pat());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "crc_mismatch 0x0110"));
}

TEST_F(Multiplex, LooksForEarlyPmtsUntilAWholePatIsThere) {
    const auto half = [](std::uint8_t number) {
        return pat_section(
            multiplex_id,
            number == 0 ? program(mobile_service, 0x0200) : program(hd_service, hd_pmt_pid),
            {0, 1, number, 1});
    };
    const bytes whole = pat_section(multiplex_id, program(hd_service, hd_pmt_pid), {1});
    stream_writer in_halves;
    in_halves.section(0x0000, half(0)).section(hd_pmt_pid, hd_pmt()).section(0x0000, half(1));
    EXPECT_THAT(shown(in_halves), ElementsAre("pat 0x0000", "pat 0x0000", "pmt 0x0110"));

    to.noted.clear();
    stream_writer after_a_whole_one;
    after_a_whole_one.section(0x0000, pat_section(multiplex_id, program(1, 0x0200)))
        .section(hd_pmt_pid, hd_pmt())
        .section(0x0000, whole);
    EXPECT_THAT(shown(after_a_whole_one), ElementsAre("pat 0x0000", "pat 0x0000"));
}

TEST_F(Multiplex, TakesEarlyPmtsAlsoBehindOtherBytesAndNothingElseFromTheirPids) {
    const bytes behind_three_bytes = bytes{3, 0xAA, 0xAA, 0xAA} + hd_pmt();
    stream_writer stream;
    stream.packet(hd_pmt_pid, true, behind_three_bytes)
        .section(hd_pmt_pid, sdt())
        .section(0x0000, pat());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "pmt 0x0110"));
}

TEST_F(Multiplex, LooksForEarlyPmtsOnAsManyPidsAsAMultiplexMayHave) {
    constexpr std::uint16_t most = 256;
    stream_writer stream;
    for (std::uint16_t i = 0; i <= most; ++i) {
        stream.section(static_cast<std::uint16_t>(0x0100 + i), pmt_section(i, 0x0100, {}, {}));
    }
    stream.section(0x0000, pat_section(multiplex_id, program(most - 1, 0x0100 + most - 1) +
                                                         program(most, 0x0100 + most)));
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "pmt 0x01FF"));
}

TEST_F(Multiplex, KeepsAsManyEarlyPmtsAsMayComeBeforeAPat) {
    constexpr std::size_t most = 4'096;
    stream_writer stream;
    for (std::uint16_t i = 0; i < most + 4; ++i) {
        stream.section(hd_pmt_pid, pmt_section(i, 0x0100, {}, {}));
    }
    stream.section(0x0000, pat());
    EXPECT_EQ(shown(stream).size(), 1 + most);
}

TEST_F(Multiplex, WaitsOnlySoLongForThePatOfEarlyPmts) {
    const auto pat_after = [](std::size_t packets) {
        stream_writer stream;
        stream.null_packets(packets).section(hd_pmt_pid, hd_pmt()).section(0x0000, pat());
        return stream;
    };
    EXPECT_THAT(shown(pat_after(65'534)), ElementsAre("pat 0x0000", "pmt 0x0110"));
    to.noted.clear();
    EXPECT_THAT(shown(pat_after(65'535)), ElementsAre("pat 0x0000"));
}

TEST_F(Multiplex, FollowsAPidAsLongAsOneProgrammeRefersToIt) {
    const auto naming = [](const bytes& programs, std::uint8_t version) {
        return pat_section(multiplex_id, programs, {version});
    };
    const auto pmt_of = [](std::uint16_t number, std::uint8_t version) {
        return pmt_section(number, 0x0100, {}, {}, {version});
    };
    stream_writer stream;
    stream.section(0x0000, naming(program(1, 0x0110) + program(2, 0x0110), 0))
        .section(0x0000, naming(program(2, 0x0110), 1))
        .section(0x0110, pmt_of(2, 0))
        .section(0x0000, naming(program(2, 0x0120), 2))
        .section(0x0110, pmt_of(2, 1))
        .section(0x0120, pmt_of(2, 2));
    EXPECT_THAT(shown(stream),
                ElementsAre("pat 0x0000", "pat 0x0000", "pmt 0x0110", "pat 0x0000", "pmt 0x0120"));
}

TEST_F(Multiplex, GivesUpNoPidThatIsReservedForTables) {
    const bytes naming_the_events = pat_section(multiplex_id, program(1, 0x0012));
    stream_writer stream;
    stream.section(0x0000, naming_the_events)
        .section(0x0000, pat_section(multiplex_id, program(1, 0x0120), {1}))
        .section(0x0012, eit());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "pat 0x0000", "eit 0x0012"));
}

TEST_F(Multiplex, DecodesRepeatsOnlyWhenAsked) {
    stream_writer stream;
    stream.section(0x0011, sdt()).section(0x0011, sdt());
    shown(stream);
    EXPECT_EQ(to.decoded_repeats, 0u);
    how.decode_repeats = true;
    shown(stream);
    EXPECT_EQ(to.decoded_repeats, 1u);
}

TEST_F(Multiplex, TakesNothingBehindTheRefusalThatIsEnough) {
    bytes damaged = sdt();
    damaged.back() ^= 1;
    to.enough = 1;
    stream_writer stream;
    stream.section(0x0011, damaged).section(0x0011, sdt());
    EXPECT_THAT(shown(stream), ElementsAre("crc_mismatch 0x0011"));
}

TEST_F(Multiplex, GivesUpTheApplicationsThatANewPmtDoesNotName) {
    const auto naming = [](std::uint16_t pid, std::uint8_t version) {
        return pmt_section(hd_service, 0x0100, {}, elementary_stream(0x05, pid), {version});
    };
    stream_writer stream;
    stream.section(0x0000, pat())
        .section(hd_pmt_pid, naming(ait_pid, 0))
        .section(hd_pmt_pid, naming(0x0141, 1))
        .section(ait_pid, ait())
        .section(0x0141, ait());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "pmt 0x0110", "pmt 0x0110", "ait 0x0141"));
}

TEST_F(Multiplex, GivesUpTheProgrammesOfSectionsThatANewVersionLacks) {
    const bytes first = program(hd_service, hd_pmt_pid);
    stream_writer stream;
    stream.section(0x0000, pat_section(multiplex_id, first, {0, 1, 0, 1}))
        .section(0x0000, pat_section(multiplex_id, program(1, 0x0120), {0, 1, 1, 1}))
        .section(0x0000, pat_section(multiplex_id, first, {1, 1, 0, 0}))
        .section(0x0120, pmt_section(1, 0x0100, {}, {}));
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "pat 0x0000", "pat 0x0000"));
}

TEST_F(Multiplex, GivesUpTheProgrammesThatASectionOfTheSameVersionListsNoMore) {
    const bytes first = program(hd_service, hd_pmt_pid);
    stream_writer stream;
    stream.section(0x0000, pat_section(multiplex_id, first + program(1, 0x0120)))
        .section(0x0000, pat_section(multiplex_id, first))
        .section(0x0120, pmt_section(1, 0x0100, {}, {}));
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "pat 0x0000"));
}

TEST_F(Multiplex, TakesAPmtOnlyFromThePidThatThePatNamesForIt) {
    stream_writer stream;
    stream
        .section(0x0000,
                 pat_section(multiplex_id, program(hd_service, hd_pmt_pid) + program(1, 0x0120)))
        .section(0x0120, hd_pmt())
        .section(ait_pid, ait());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "pmt 0x0120"));
}

TEST_F(Multiplex, DoesNotFollowAPmtThatIsNotYetValid) {
    stream_writer stream;
    stream.section(0x0000, pat()).section(hd_pmt_pid, hd_pmt({1, 0})).section(ait_pid, ait());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "pmt 0x0110"));
}

TEST_F(Multiplex, KeepsA1SegProgrammeThatThePatDoesNotListAnyMore) {
    const bytes pmt = pmt_section(mobile_service, 0x0200, {}, elementary_stream(0x05, ait_pid));
    stream_writer stream;
    stream.section(0x0000, pat())
        .section(mobile_pmt_pid, pmt)
        .section(0x0000, pat_section(multiplex_id, program(hd_service, hd_pmt_pid), {1}))
        .section(ait_pid, ait());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "pmt 0x1FC8", "pat 0x0000", "ait 0x0140"));
}

TEST_F(Multiplex, ReadsThePmtOfAProgrammeAnewThatHasComeBackToItsPid) {
    const auto naming = [](std::uint16_t pid, std::uint8_t version) {
        return pat_section(multiplex_id, program(hd_service, pid) + program(1, 0x0110), {version});
    };
    stream_writer stream;
    stream.section(0x0000, naming(0x0110, 0)).section(0x0110, hd_pmt());
    stream.section(0x0000, naming(0x0120, 1)).section(0x0000, naming(0x0110, 2));
    stream.section(0x0110, hd_pmt());
    EXPECT_THAT(shown(stream),
                ElementsAre("pat 0x0000", "pmt 0x0110", "pat 0x0000", "pat 0x0000", "pmt 0x0110"));
}

TEST_F(Multiplex, TellsTheTimeOfSectionsByTheStreamsOwnClock) {
    adaptation_field field;
    stream_writer stream;
    for (std::uint64_t packet = 0; packet < 4; ++packet) {
        field.pcr = packet * 270'000;  // 10 ms
        stream.packet_without_payload(0x0100, field);
    }
    stream.section(0x0011, sdt());
    shown(stream);
    ASSERT_EQ(to.seconds.size(), 1u);
    EXPECT_NEAR(to.seconds[0].value_or(-1), 0.04, 1e-9);
    to.noted.clear();
    to.seconds.clear();
    stream_writer without;
    without.section(0x0011, sdt());
    shown(without);
    EXPECT_THAT(to.seconds, ElementsAre(std::nullopt));
}

TEST_F(Multiplex, HandsOnFaultsAndClockReferencesOfAnyPid) {
    adaptation_field field;
    field.pcr = 0;
    stream_writer stream;
    stream.packet_without_payload(0x0100, field).packet(0x0111, false, {}).skip_counter(0x0111);
    stream.packet(0x0111, false, {});
    shown(stream);
    EXPECT_THAT(to.faults, ElementsAre("0x0111"));
    EXPECT_EQ(to.references, 1u);
}

TEST_F(Multiplex, LeavesOutAndCountsTheProgrammesBeyondItsBound) {
    constexpr std::size_t most = 0x2000;
    constexpr std::uint16_t in_a_section = 200;
    stream_writer stream;
    std::uint16_t number = 1;
    for (std::uint8_t section = 0; number <= most + 50; ++section) {
        bytes programs;
        for (int i = 0; i < in_a_section; ++i, ++number) {
            programs = programs + program(number, number == most + 1 ? 0x0300 : 0x0301);
        }
        stream.section(0x0000, pat_section(multiplex_id, programs, {0, 1, section, 255}));
    }
    to.enough = 1;
    shown(stream);
    EXPECT_EQ(bounds.at(0).left_out, 0u) << "nothing is taken behind what is enough";

    to.noted.clear();
    to.enough = 1'000'000;
    stream.section(0x0301, pmt_section(7, 0x0100, {}, {}))
        .section(0x0300, pmt_section(most + 1, 0x0100, {}, {}));
    EXPECT_EQ(shown(stream).back(), "pmt 0x0301") << "what is kept is followed";
    EXPECT_EQ(bounds.at(0).what, "programmes");
    EXPECT_EQ(bounds.at(0).left_out, number - 1 - most);
}

TEST_F(Multiplex, MarksSectionsThatItTakesInSpiteOfTheirCrc) {
    bytes damaged = sdt();
    damaged.back() ^= 1;
    stream_writer stream;
    stream.section(0x0011, damaged).section(0x0011, sdt({1}));
    EXPECT_THAT(shown(stream), ElementsAre("crc_mismatch 0x0011", "sdt 0x0011"));
    to.noted.clear();
    to.crc_errors.clear();
    how.check_crc = false;
    EXPECT_THAT(shown(stream), ElementsAre("sdt 0x0011", "sdt 0x0011"));
    EXPECT_THAT(to.crc_errors, ElementsAre(true, false));
}

TEST_F(Multiplex, TakesNoFurtherPacketOnceItIsInterrupted) {
    std::atomic<bool> interrupted = false;
    how.interrupted = &interrupted;
    multiplex from("", to, how);
    stream_writer stream;
    stream.section(0x0011, sdt()).section(0x0010, nit()).null_packets(5);
    push(from, stream);
    EXPECT_THAT(to.noted, ElementsAre("sdt 0x0011", "nit 0x0010"));
    interrupted = true;
    push(from, stream);
    EXPECT_EQ(from.reader().packets(), 6u) << "the last one waits for its successor";
}

TEST_F(Multiplex, LooksForApplicationsOnlyInStreamsOfPrivateSections) {
    stream_writer stream;
    stream.section(0x0000, pat())
        .section(hd_pmt_pid, pmt_section(hd_service, 0x0100, {}, elementary_stream(0x0B, ait_pid)))
        .section(ait_pid, ait());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "pmt 0x0110"));
}

TEST_F(Multiplex, TellsApplicationsFromOtherPrivateSectionsByTheirTableId) {
    stream_writer stream;
    stream.section(0x0000, pat())
        .section(hd_pmt_pid, hd_pmt())
        .section(ait_pid, long_section(0x80, 1, {1, 2, 3}))
        .section(ait_pid, ait());
    EXPECT_THAT(shown(stream),
                ElementsAre("pat 0x0000", "pmt 0x0110", "not_decoded 0x0140", "ait 0x0140"));
}

TEST_F(Multiplex, ShowsEveryNewVersionAlsoOneThatComesBack) {
    const long_header next = {1, 1, 0, 0};
    stream_writer stream;
    stream.section(0x0011, sdt()).section(0x0011, sdt(next)).section(0x0011, sdt());
    EXPECT_EQ(shown(stream).size(), 3u);
}

TEST_F(Multiplex, ShowsContentThatChangesWithoutANewVersion) {
    stream_writer stream;
    stream.section(0x0011, sdt_section(multiplex_id, multiplex_id, service(hd_service, 4, 0)))
        .section(0x0011, sdt_section(multiplex_id, multiplex_id, service(hd_service, 1, 0)));
    EXPECT_EQ(shown(stream).size(), 2u);
}

TEST_F(Multiplex, TakesSectionsOfDifferentServicesNumbersAndStreamsForDifferentOnes) {
    const auto other_stream = [](std::uint16_t transport_stream_id) {
        return eit_section({0x4F, hd_service, transport_stream_id, multiplex_id, 0, 0x4F}, {});
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

TEST_F(Multiplex, GivesUpThePmtsThatANewPatDoesNotName) {
    const bytes without_hd =
        pat_section(multiplex_id, program(mobile_service, mobile_pmt_pid), {1});
    stream_writer stream;
    stream.section(0x0000, pat()).section(hd_pmt_pid, hd_pmt()).section(0x0000, without_hd);
    stream.section(hd_pmt_pid, hd_pmt({9})).section(ait_pid, ait());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "pmt 0x0110", "pat 0x0000"));
}

TEST_F(Multiplex, FollowsTheApplicationsOfAProgrammeThatComesBack) {
    const bytes without_hd =
        pat_section(multiplex_id, program(mobile_service, mobile_pmt_pid), {1});
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

TEST_F(Multiplex, KeepsThePmtsOfAPatOverSeveralSectionsUntilAllOfANewVersionAreThere) {
    const auto half = [](std::uint8_t version, std::uint8_t number) {
        return pat_section(
            multiplex_id,
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

TEST_F(Multiplex, ShowsAPatThatIsNotYetValidButDoesNotFollowIt) {
    stream_writer stream;
    stream.section(0x0000, pat({3, 0})).section(hd_pmt_pid, hd_pmt());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000"));
}

TEST_F(Multiplex, IgnoresAPatOnThePidOfAPmt) {
    stream_writer stream;
    stream.section(0x0000, pat_section(multiplex_id, program(hd_service, hd_pmt_pid)))
        .section(hd_pmt_pid, pat_section(multiplex_id, program(1, 0x0300), {1}))
        .section(0x0300, hd_pmt());
    EXPECT_THAT(shown(stream), ElementsAre("pat 0x0000", "pat 0x0110"));
}

}  // namespace
}  // namespace orvix::broadcast
