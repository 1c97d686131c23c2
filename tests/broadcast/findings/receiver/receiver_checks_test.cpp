#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <section_feed/section_gate.h>
#include <without_log.h>

#include <random>

#include "../finding_streams.h"

namespace orvix::broadcast {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

class ReceiverChecks : public without_log {};

/// The sections on the PID, behind a PAT and a PMT that name it where they have to.
stream_writer stream_of(std::uint16_t pid, const std::vector<bytes>& sections) {
    stream_writer stream;
    const bytes pmt =
        pmt_section(hd_service, 0x0100, {},
                    elementary_stream(0x1B, 0x0111, describe_stream_identifier(0x00)) +
                        elementary_stream(0x05, ait_pid, describe_stream_identifier(0x40)));
    if (pid != 0x0000) stream.section(0x0000, pat());
    if (pid == ait_pid) stream.section(hd_pmt_pid, pmt);
    stream.sections(pid, sections);
    return stream;
}

/// "error: the receiver ..."
std::vector<std::string> found(std::string_view name, std::uint16_t pid,
                               const std::vector<bytes>& sections) {
    std::vector<std::string> all;
    for (const finding& f : only(name, found_in(stream_of(pid, sections)))) {
        all.push_back(std::string(to_string(f.how_bad)) + ": " + f.says());
    }
    return all;
}
std::vector<std::string> otherwise(std::uint16_t pid, const bytes& section) {
    return found("receiver_reads_otherwise", pid, {section});
}
std::vector<std::string> missed(std::uint16_t pid, const bytes& section) {
    return found("receiver_misses", pid, {section});
}

// --- SDT ---

constexpr std::uint16_t sdt_pid = 0x0011;

bytes flagged(std::uint16_t service_id, std::uint8_t flags, const bytes& descriptors = {}) {
    return section_writer()
               .bits(16, service_id)
               .bits(8, flags)
               .bits(4, 8)
               .bits(12, descriptors.size()) +
           descriptors;
}
bytes sdt_of(const bytes& services, std::uint8_t version = 0) {
    return sdt_section(multiplex_id, multiplex_id, services, {version});
}
bytes sdt_named(const std::string& name) {
    return sdt_of(flagged(hd_service, 0x00, describe_service(1, "", name)));
}

TEST_F(ReceiverChecks, TellOfEitFlagsThatAreReadFromReservedBits) {
    EXPECT_THAT(otherwise(sdt_pid, sdt_of(flagged(hd_service, 0xFD))),
                ElementsAre("note: the receiver reads EIT_schedule_flag of service 0x5C20 in the "
                            "SDT as 1, sent was 0: it takes the flag from a reserved bit"));
    EXPECT_THAT(otherwise(sdt_pid, sdt_of(flagged(hd_service, 0x43))),
                ElementsAre("warning: the receiver reads EIT_schedule_flag of service 0x5C20 in "
                            "the SDT as 0, sent was 1: it takes the flag from a reserved bit"));
    EXPECT_THAT(otherwise(sdt_pid, sdt_of(flagged(hd_service, 0x01))),
                ElementsAre(StartsWith("warning: the receiver reads EIT_present_following_flag of "
                                       "service 0x5C20 in the SDT as 0, sent was 1")));
    EXPECT_THAT(otherwise(sdt_pid, sdt_of(flagged(hd_service, 0xFF))), IsEmpty());
}

TEST_F(ReceiverChecks, AreOneFindingForEachKindOfDifferenceInATable) {
    const bytes both = flagged(hd_service, 0xC1) + flagged(mobile_service, 0x02);
    const auto all = only("receiver_reads_otherwise",
                          found_in(stream_of(sdt_pid, {sdt_of(both), sdt_of(both), sdt_of(both, 1),
                                                       sdt_of(both, 2)})));
    ASSERT_THAT(all, SizeIs(2));
    EXPECT_EQ(all[0].how_bad, severity::warning);
    EXPECT_THAT(all[0].what, HasSubstr("service 0x5C38"));
    EXPECT_EQ(all[1].how_bad, severity::note);
    EXPECT_THAT(all[1].what, HasSubstr("service 0x5C20"));
    EXPECT_NE(all[0].about.item, all[1].about.item);
    for (const finding& f : all) {
        EXPECT_EQ(f.about.pid, sdt_pid);
        EXPECT_FALSE(f.about.service_id);
        EXPECT_EQ(f.count, 3u);
    }
}

TEST_F(ReceiverChecks, CountRepeatsOnceAlsoWhereTheyAreDecoded) {
    findings all;
    multiplex::settings how;
    how.decode_repeats = true;
    multiplex from("", all, how);
    const bytes section = sdt_of(flagged(hd_service, 0x43));
    const bytes stream = stream_of(sdt_pid, {section, section}).stream();
    std::copy(stream.begin(), stream.end(), from.room(stream.size()));
    from.filled(stream.size());
    from.end();
    EXPECT_EQ(only("receiver_reads_otherwise", all.told()).at(0).count, 1u);
}

TEST_F(ReceiverChecks, TellOfLettersThatAreShownOtherwise) {
    EXPECT_THAT(otherwise(sdt_pid, sdt_named("C\xBCUR")),
                ElementsAre("warning: the receiver reads service_name of service 0x5C20 in the SDT "
                            "as \"C\u0153UR\", sent was \"C\u0152UR\": it shows other letters"));
    EXPECT_THAT(otherwise(sdt_pid, sdt_named("\x1D\x31")),
                ElementsAre(HasSubstr("as \"\u254E\", sent was \"\u00A6\"")));
    EXPECT_THAT(otherwise(sdt_pid, sdt_named("\xBE\x1D\x21")), IsEmpty());
}

TEST_F(ReceiverChecks, TellOfServicesInAnotherOrder) {
    const bytes one = flagged(hd_service, 0);
    const bytes two = flagged(mobile_service, 0);
    EXPECT_THAT(otherwise(sdt_pid, sdt_of(two + one)),
                ElementsAre("note: the receiver sorts services by number (services of the SDT)"));
    EXPECT_THAT(otherwise(sdt_pid, sdt_of(one + two)), IsEmpty());
}

// --- EIT ---

constexpr std::uint16_t eit_pid = 0x0012;

bytes eit_with(const bytes& descriptors, std::uint8_t last_section_number = 0) {
    return eit_section({0x4E, hd_service, multiplex_id, multiplex_id},
                       event(0x0A01, utc_time(day, 0), 0x010000, 4, 0, descriptors),
                       {0, 1, 0, last_section_number});
}

TEST_F(ReceiverChecks, TellOfControlCodesThatAreDropped) {
    EXPECT_THAT(otherwise(eit_pid, eit_with(describe_short_event("por", "A", "um\rdois\x86"))),
                ElementsAre("warning: the receiver reads text of event 0x0A01 in the EIT of "
                            "service 0x5C20 as \"umdois\", sent was \"um\\x0Adois\\x86\": it drops "
                            "control codes, line breaks among them"));
    const std::string forty(40, 'a');
    EXPECT_THAT(otherwise(eit_pid, eit_with(describe_short_event("por", "A", forty + "\n"))),
                ElementsAre("warning: the receiver drops control codes, line breaks among them "
                            "(text of event 0x0A01 in the EIT of service 0x5C20)"));
    EXPECT_THAT(otherwise(eit_pid, eit_with(describe_short_event("por", "A", "um dois"))),
                IsEmpty());
}

TEST_F(ReceiverChecks, NameTheValueOfTheDescriptorBehindSkippedOnes) {
    const bytes skipped = descriptor(0xC1, {1});
    const bytes first = skipped + skipped + skipped + skipped + describe_short_event("por", "", "");
    const bytes second = skipped + describe_short_event("por", "um", "") + skipped + skipped +
                         describe_short_event("eng", "on\ne", "") + skipped;
    const bytes start = utc_time(day, 0);
    EXPECT_THAT(otherwise(eit_pid, eit_section({0x4E, hd_service, multiplex_id, multiplex_id},
                                               event(1, start, 0, 4, 0, first) +
                                                   event(2, start, 0, 4, 0, second))),
                ElementsAre(HasSubstr("reads event_name of event 0x0002 in the EIT of service "
                                      "0x5C20 as \"one\", sent was \"on\\x0Ae\"")));
}

TEST_F(ReceiverChecks, AreAboutAServiceWhereTheTableIs) {
    const auto all =
        only("receiver_reads_otherwise",
             found_in(stream_of(eit_pid, {eit_with(describe_short_event("por", "a\n", ""))})));
    ASSERT_THAT(all, SizeIs(1));
    EXPECT_EQ(all[0].about.pid, eit_pid);
    EXPECT_EQ(all[0].about.service_id, hd_service);
}

TEST_F(ReceiverChecks, NoteOnceThatTheSectionsOfAnEitAreReadAlone) {
    const bytes second =
        eit_section({0x4E, mobile_service, multiplex_id, multiplex_id}, {}, {0, 1, 1, 1});
    EXPECT_THAT(found("receiver_reads_otherwise", eit_pid, {eit_with({}, 1), second}),
                ElementsAre("note: the receiver reads sections of the EIT of service 0x5C20 as 1, "
                            "sent was 2: it takes each section for a whole table"));
    EXPECT_THAT(otherwise(eit_pid, eit_with({})), IsEmpty());
}

TEST_F(ReceiverChecks, PassOverWhatIsNotYetValid) {
    const bytes later = sdt_section(multiplex_id, multiplex_id, flagged(hd_service, 0xFD), {0, 0});
    EXPECT_THAT(otherwise(sdt_pid, later), IsEmpty());
}

// --- PAT and NIT ---

TEST_F(ReceiverChecks, TellOfTablesOfSeveralSections) {
    const auto pat_of = [](std::uint8_t last_section_number) {
        return pat_section(multiplex_id, program(1, 0x0110), {0, 1, 0, last_section_number});
    };
    EXPECT_THAT(otherwise(0x0000, pat_of(1)),
                ElementsAre("warning: the receiver reads sections of the PAT as 1, sent was 2: it "
                            "takes each section for a whole table"));
    EXPECT_THAT(otherwise(0x0000, pat_of(0)), IsEmpty());
    EXPECT_THAT(otherwise(ait_pid, ait_section(9, {}, {}, {0, 1, 0, 1})),
                ElementsAre(StartsWith("warning: the receiver reads sections of the AIT on PID "
                                       "0x0140 as 1, sent was 2")));
}

TEST_F(ReceiverChecks, TellOfProgrammesInAnotherOrder) {
    const bytes one = program(1, 0x0110);
    const bytes two = program(2, 0x0120);
    EXPECT_THAT(otherwise(0x0000, pat_section(multiplex_id, two + one)),
                ElementsAre("note: the receiver keeps one entry of each program_number, by number "
                            "(program_map of the PAT)"));
    EXPECT_THAT(otherwise(0x0000, pat_section(multiplex_id, one + two)), IsEmpty());
}

TEST_F(ReceiverChecks, NoteTransmissionTypes) {
    const auto nit_with = [](const std::vector<transmission_type>& types) {
        return nit_section(
            0x02E1, {},
            transport_stream(multiplex_id, multiplex_id, describe_ts_information(3, "TV", types)));
    };
    EXPECT_THAT(otherwise(0x0010, nit_with({{0x0F, {hd_service}}})),
                ElementsAre("note: the receiver drops the transmission types (transmission_types "
                            "of transport stream 0x02E1 in the NIT)"));
    EXPECT_THAT(otherwise(0x0010, nit_with({})), IsEmpty());
}

// --- PMT ---

bytes pmt_with(const bytes& streams) { return pmt_section(hd_service, 0x0111, {}, streams); }

TEST_F(ReceiverChecks, NoteStreamsWithoutAComponentTag) {
    EXPECT_THAT(otherwise(hd_pmt_pid, pmt_with(elementary_stream(0x1B, 0x0111) +
                                               elementary_stream(0x11, 0x0112))),
                ElementsAre("note: the receiver reads component_tag of PID 0x0111 in the PMT of "
                            "service 0x5C20 as 0, sent was none: it takes a stream without a "
                            "component_tag for component 0, 2 times"));
    EXPECT_THAT(otherwise(hd_pmt_pid,
                          pmt_with(elementary_stream(0x1B, 0x0111, describe_stream_identifier(0)))),
                IsEmpty());
}

TEST_F(ReceiverChecks, WarnOfLanguagesThatAreNotRead) {
    const bytes tag = describe_stream_identifier(0x10);
    const bytes language = descriptor(0x0A, raw("por") + bytes{0});
    EXPECT_THAT(
        otherwise(hd_pmt_pid, pmt_with(elementary_stream(0x11, 0x0112, tag + language))),
        ElementsAre("warning: the receiver reads ISO_639_language_code of PID 0x0112 in the PMT of "
                    "service 0x5C20 as none, sent was \"por\": it does not read the ISO 639 "
                    "language descriptor"));
    EXPECT_THAT(
        otherwise(hd_pmt_pid, pmt_with(elementary_stream(
                                  0x11, 0x0112, describe_component(2, 3, 0x10, "por") + language))),
        IsEmpty());
}

TEST_F(ReceiverChecks, NoteTagsThatMeanSomethingElseInAnAit) {
    const bytes video_stream = descriptor(0x02, {0x00, 0x01, 0x00, 0x7F, 0x00});
    EXPECT_THAT(otherwise(hd_pmt_pid, pmt_section(hd_service, 0x0111, video_stream, {})),
                ElementsAre("note: the receiver reads type of the PMT of service 0x5C20 as "
                            "\"transport protocol\", sent was \"video stream\": it takes tag 0x02 "
                            "for the AIT's transport protocol everywhere"));
    const bytes registration = descriptor(0x05, raw("HDMV"));
    EXPECT_THAT(otherwise(hd_pmt_pid, pmt_section(hd_service, 0x0111, registration, {})),
                IsEmpty());
}

// --- AIT ---

TEST_F(ReceiverChecks, TellOfApplicationsThatAreNotSeen) {
    const auto ait_with = [](const bytes& applications) {
        return ait_section(9, descriptor(0x0D, bytes(14)), applications);
    };
    const bytes first = application(1, 0x16, 1, descriptor(0x0D, {1, 2, 3}));
    const bytes others = application(1, 0x17, 2) + application(1, 0x18, 2);
    EXPECT_THAT(missed(ait_pid, ait_with(first + others)),
                ElementsAre("error: the receiver reads 1 of 3 applications: 0x0017 and 0x0018 are "
                            "not seen (applications of the AIT on PID 0x0140)"));
    const bytes padded = application(1, 0x17, 1, descriptor(0x0D, bytes(40)));
    EXPECT_THAT(missed(ait_pid, ait_section(9, {}, first + padded)), IsEmpty());
}

TEST_F(ReceiverChecks, ShortenALongListOfWhatIsNotSeen) {
    bytes many;
    for (std::uint16_t i = 0; i < 100; ++i) many = many + application(1, i, 1);
    const auto all = missed(ait_pid, ait_section(9, descriptor(0x0D, bytes(255)), many));
    ASSERT_THAT(all, SizeIs(1));
    EXPECT_THAT(all[0], HasSubstr("... (applications of the AIT"));
    EXPECT_LT(all[0].size(), 250u);
}

TEST_F(ReceiverChecks, TellOfUrlsThatAreNotFound) {
    const bytes padding = descriptor(0x0D, bytes(250));
    const auto ait_with = [&](const bytes& urls) {
        return ait_section(9, describe_ip_transport(1, 1, urls) + padding, {});
    };
    EXPECT_THAT(otherwise(ait_pid, ait_with(url("http://a"))),
                ElementsAre("warning: the receiver finds the URLs of an IP transport in few "
                            "layouts (urls of the AIT on PID 0x0140)"));
    EXPECT_THAT(otherwise(ait_pid, ait_with({})), IsEmpty());
}

// --- TOT and times ---

constexpr std::uint16_t time_pid = 0x0014;
constexpr std::uint16_t mjd_of_2038_01_19 = 65442;

bytes region(std::uint8_t id, std::uint8_t polarity, std::uint16_t mjd = day) {
    return local_time_offset("BRA", id, polarity, 0x0300, utc_time(mjd, 0x031408), 0x0300);
}
bytes tot_with(const bytes& descriptors, std::uint16_t mjd = day) {
    return tot_section(utc_time(mjd, 0x031408), descriptors);
}

TEST_F(ReceiverChecks, TellOfRegionsThatAreNotSeen) {
    EXPECT_THAT(
        missed(time_pid, tot_with(describe_local_time_offsets(region(1, 0) + region(2, 0)))),
        ElementsAre("error: the receiver keeps the last of 2 regions (regions of the TOT)"));
    const bytes at_eight = tot_section(utc_time(day, 0x200000),
                                       describe_local_time_offsets(region(1, 0) + region(2, 0)));
    EXPECT_THAT(missed(time_pid, at_eight), SizeIs(1));
    EXPECT_THAT(missed(time_pid, tot_with(describe_local_time_offsets(region(1, 0)))), IsEmpty());
}

TEST_F(ReceiverChecks, TellOfAPolarityThatIsLost) {
    EXPECT_THAT(
        otherwise(time_pid, tot_with(describe_local_time_offsets(region(1, 1)))),
        testing::UnorderedElementsAre(
            "warning: the receiver reads local_time_offset of the TOT as \"03:00\", sent was "
            "\"-03:00\": it drops the offset's polarity",
            "warning: the receiver reads next_time_offset of the TOT as \"03:00\", sent was "
            "\"-03:00\": it drops the offset's polarity"));
    EXPECT_THAT(otherwise(time_pid, tot_with(describe_local_time_offsets(region(1, 0)))),
                IsEmpty());
}

TEST_F(ReceiverChecks, TellOfDescriptorsOfATotBehindTheFirst) {
    const bytes offsets = describe_local_time_offsets(region(1, 0));
    EXPECT_THAT(missed(time_pid, tot_with(descriptor(0xC0, {1}) + offsets)),
                ElementsAre("error: the receiver reads the first of 2 descriptors (descriptors of "
                            "the TOT)"));
    EXPECT_THAT(missed(time_pid, tot_with(offsets + descriptor(0xC0, {1}))),
                ElementsAre(StartsWith("note: ")));
    EXPECT_THAT(missed(time_pid, tot_with(offsets)), IsEmpty());
}

TEST_F(ReceiverChecks, TellOfACrcThatIsReadAsADescriptor) {
    std::mt19937 random(1);
    for (;;) {
        const bytes section = tot_section(utc_time(day, random() & 0xFFFFFF), {});
        if (section[10] != 0x52 || section[11] > 2) continue;
        EXPECT_THAT(otherwise(time_pid, section),
                    ElementsAre("warning: the loop is empty: the receiver counts its reserved bits "
                                "and reads the CRC_32 as a descriptor (descriptors of the TOT)"));
        break;
    }
    bytes unreserved = tot_with({});
    unreserved[8] = 0;
    repair_crc(unreserved);
    EXPECT_THAT(otherwise(time_pid, unreserved), IsEmpty());
}

TEST_F(ReceiverChecks, WarnOfTimesThatTheReceiversClockCannotHold) {
    const auto change = [](std::uint16_t mjd) {
        return found("receiver_clock_2038", time_pid,
                     {tot_with(describe_local_time_offsets(region(1, 0, mjd)))});
    };
    EXPECT_THAT(change(mjd_of_2038_01_19),
                ElementsAre("warning: the receiver's clock wraps on 2038-01-19: sent was "
                            "2038-01-19 03:14:08 (time_of_change of the TOT)"));
    EXPECT_THAT(change(mjd_of_2038_01_19 - 1), IsEmpty());
}

TEST_F(ReceiverChecks, LeaveTheTimeItselfToTheClock) {
    const bytes late = tot_with(describe_local_time_offsets(region(1, 0)), mjd_of_2038_01_19);
    EXPECT_THAT(found("receiver_clock_2038", time_pid, {late}),
                ElementsAre(StartsWith("warning: the TOT says 2038-01-19T03:14:08")));
    EXPECT_THAT(otherwise(time_pid, late), IsEmpty());
}

// --- What is refused ---

/// A PMT of so many bytes.
bytes pmt_of_size(std::size_t size) {
    bytes streams;
    while (streams.size() + 16 < size) {
        const std::size_t left = size - 16 - streams.size();
        const std::size_t filler = left < 100 ? left - 10 : 40;
        streams = streams + elementary_stream(
                                0x1B, 0x0111,
                                describe_stream_identifier(0) + descriptor(0xC0, bytes(filler)));
    }
    return pmt_with(streams);
}

TEST_F(ReceiverChecks, TellWhatTheReceiverWouldDoWithALongPmt) {
    ASSERT_EQ(pmt_of_size(260).size(), 260u);
    const auto all =
        only("refused", found_in(stream_of(hd_pmt_pid, {pmt_of_size(260), pmt_of_size(260)})));
    ASSERT_THAT(all, SizeIs(1));
    EXPECT_EQ(all[0].how_bad, severity::error);
    EXPECT_EQ(all[0].about.pid, hd_pmt_pid);
    EXPECT_EQ(all[0].about.service_id, hd_service);
    EXPECT_EQ(all[0].count, 2u);
    EXPECT_EQ(
        all[0].what,
        "the PMT of service 0x5C20 on PID 0x0110 is well formed, but the receiver never ends, "
        "and takes all memory (PMT: section_length 257 at byte 1 leads the parser's 8-bit "
        "cursor past byte 256: the parse would never end)");

    ASSERT_EQ(pmt_of_size(259).size(), 259u);
    EXPECT_THAT(found("refused", hd_pmt_pid, {pmt_of_size(259)}), IsEmpty());
}

bytes overrunning_nit() {
    bytes cut = nit_section(0x02E1, {}, transport_stream(multiplex_id, multiplex_id));
    cut[11] = 0xFF;  // transport_stream_loop_length
    repair_crc(cut);
    return cut;
}

TEST_F(ReceiverChecks, TellOfASectionThatIsNotWellFormed) {
    EXPECT_THAT(found("refused", 0x0010, {overrunning_nit()}),
                ElementsAre(StartsWith("error: the NIT on PID 0x0010 is not well formed: the "
                                       "receiver reads past the section's end, whatever stands "
                                       "there (NIT: ")));
}

TEST_F(ReceiverChecks, LeaveAWrongCrcToTheFindingOfThatName) {
    bytes damaged = pmt_of_size(260);
    damaged.back() ^= 1;
    EXPECT_THAT(found("refused", hd_pmt_pid, {damaged}), IsEmpty());
    EXPECT_THAT(found("crc", hd_pmt_pid, {damaged}), SizeIs(1));
}

std::vector<finding> refused_unasked(const bytes& section) {
    findings all;
    const section_feed::gate_result why =
        section_feed::check_section(section.data(), section.size(), {false});
    EXPECT_FALSE(why.admitted());
    all.refused({}, {why, section.data(), section.size()});
    return only("refused", all.told());
}

TEST_F(ReceiverChecks, ExpectARightCrcAlsoWhereTheGateDoesNotAsk) {
    bytes damaged = overrunning_nit();
    EXPECT_THAT(refused_unasked(damaged), SizeIs(1));
    damaged.back() ^= 1;
    EXPECT_THAT(refused_unasked(damaged), IsEmpty());
}

TEST_F(ReceiverChecks, SayNothingOfASectionThatIsNotWhole) {
    const bytes whole = pmt_of_size(260);
    for (std::size_t size = 1; size < whole.size(); ++size) {
        EXPECT_THAT(refused_unasked({whole.data(), whole.data() + size}), IsEmpty()) << size;
    }
}

TEST_F(ReceiverChecks, TellOfATdtThatHasNoCrc) {
    const bytes short_tdt = short_section(0x70, {0xEF, 0xB5, 0x20});
    EXPECT_THAT(found("refused", time_pid, {short_tdt}),
                ElementsAre(StartsWith("error: the TDT on PID 0x0014 is not well formed: the "
                                       "receiver drops it")));
    EXPECT_THAT(found("refused", time_pid, {tdt()}), IsEmpty());
}

}  // namespace
}  // namespace orvix::broadcast
