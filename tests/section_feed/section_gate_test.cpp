#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <isdb_sections.h>
#include <log_capture.h>
#include <parse_exactly.h>
#include <section_feed/section_gate.h>

#include <cstdint>
#include <string>
#include <vector>

#include "parse_admitted.h"
#include "rich_sections.h"

namespace orvix::section_feed {
namespace {

using namespace orvix::test;  // NOLINT: a gate test is written in the words of the writers

constexpr gate_options without_crc{false};

/// From a heap block of exactly the section's bytes: the gate itself must not read past them.
gate_result check(const bytes& section, gate_options options = {}) {
    const exact_block block(section);
    return check_section(block.data(), block.size(), options);
}

std::string refusal(const bytes& section, gate_options options = {}) {
    return check(section, options).text();
}

void expect_admitted(const bytes& section, gate_options options = {}) {
    const gate_result result = check(section, options);
    EXPECT_EQ(result.why, verdict::admitted) << result.text();
    EXPECT_EQ(result.text(), "");
    if (result.admitted()) parse_admitted(section);
}

/// The section's first bytes. Those with a long header say so in their section_length.
bytes cut(bytes section, std::size_t size) {
    section.resize(size);
    if (size >= 3) repair_section_length(section);
    return section;
}

/// A sentence without its end, and the section size from which on it is not said any more.
struct asked {
    std::string sentence;
    std::size_t until_size;
};

/// Cuts the section at every size from `from` on: each cut is refused with the first sentence that
/// is still to be said, and where nothing is left to say it is admitted and parsed.
void expect_asks(const bytes& section, std::size_t from, const std::vector<asked>& questions) {
    auto question = questions.begin();
    for (std::size_t size = from; size <= section.size(); ++size) {
        while (question != questions.end() && size >= question->until_size) ++question;
        SCOPED_TRACE("cut to " + std::to_string(size) + " bytes");
        if (question == questions.end()) {
            expect_admitted(cut(section, size), without_crc);
            continue;
        }
        const std::string end = std::to_string(size);
        const std::string& sentence = question->sentence;
        const bool is_too_short = sentence.find("needed") != std::string::npos;
        EXPECT_EQ(refusal(cut(section, size), without_crc),
                  sentence + (is_too_short ? ", but the section ends at byte " + end
                                           : " runs past the section's end (byte " + end + ")"));
    }
    if (!questions.empty()) {
        EXPECT_LE(questions.back().until_size, section.size() + 1) << "too short to say it all";
    }
}

constexpr std::size_t first_descriptor = 21;

/// An AIT of one application that ends with the given descriptors, the first one at byte 21; there
/// is no CRC_32 behind them. Descriptors that start in the first `loop_length` bytes are looked at.
bytes ait_ending_with(const bytes& descriptors, std::uint8_t loop_length = 1) {
    bytes section = cut(ait_section(1, {}, application(1, 1, 1)), first_descriptor) + descriptors;
    section[11] = 13;  // application_loop_length, an offset: one application starts before it
    section[20] = loop_length;
    return cut(section, section.size());
}

/// As above; sizes count from the descriptor's tag.
void expect_descriptor_asks(const bytes& descriptor, std::vector<asked> questions) {
    for (asked& question : questions) question.until_size += first_descriptor;
    questions.insert(questions.begin(),
                     {"AIT: descriptor_tag and descriptor_length at byte 21: 2 bytes needed",
                      first_descriptor + 2});
    expect_asks(ait_ending_with(descriptor), first_descriptor + 1, questions);
}

class SectionGate : public testing::Test {
private:
    log_capture silence_{OrvixLog::NONE};
};

// --- Verdicts ---

TEST_F(SectionGate, AdmitsASectionOfEveryTable) {
    for (const bytes& section : rich_sections()) {
        SCOPED_TRACE(int{section[0]});
        expect_admitted(section);
    }
}

TEST_F(SectionGate, TellsTablesThatTheParserDoesNotDecodeFromBrokenOnes) {
    for (unsigned int table_id = 0; table_id < 256; ++table_id) {
        SCOPED_TRACE(table_id);
        const gate_result result = check({static_cast<std::uint8_t>(table_id)});
        EXPECT_EQ(result.why == verdict::not_decoded, make_table(table_id) == nullptr);
        EXPECT_EQ(result.limit, result.why == verdict::not_decoded ? 0 : 1);
        EXPECT_FALSE(result.admitted());
    }
    EXPECT_EQ(refusal(long_section(0x01, 0, {})),
              "table_id 0x01 at byte 0 belongs to no table that the parser decodes");
    EXPECT_EQ(refusal({0xC8}),
              "table_id 0xC8 at byte 0 belongs to no table that the parser decodes");
}

TEST_F(SectionGate, NamesTheTableByItsTableId) {
    const auto table = [](std::uint8_t table_id) { return std::string(check({table_id}).table); };
    EXPECT_EQ(table(0x00), "PAT");
    EXPECT_EQ(table(0x02), "PMT");
    EXPECT_EQ(table(0x40), "NIT");
    EXPECT_EQ(table(0x41), "NIT");
    EXPECT_EQ(table(0x42), "SDT");
    EXPECT_EQ(table(0x46), "SDT");
    for (std::uint8_t table_id = 0x4E; table_id < 0x70; ++table_id) {
        EXPECT_EQ(table(table_id), "EIT");
    }
    EXPECT_EQ(table(0x70), "TDT");
    EXPECT_EQ(table(0x73), "TOT");
    EXPECT_EQ(table(0x74), "AIT");
    EXPECT_EQ(table(0x72), "");
}

TEST_F(SectionGate, RefusesASectionWithoutAByte) {
    EXPECT_EQ(check_section(nullptr, 0).text(),
              "table_id at byte 0: 1 byte needed, but the section ends at byte 0");
}

TEST_F(SectionGate, SaysTheVerdictAndTheFieldInNumbersToo) {
    bytes section = nit_section(0x0720, {}, transport_stream(1, 2));
    section[10] = 0xFF;
    section[11] = 0xFF;
    repair_crc(section);
    const gate_result result = check(section);
    EXPECT_EQ(result.why, verdict::overrun);
    EXPECT_STREQ(result.table, "NIT");
    EXPECT_STREQ(result.field, "transport_stream_loop_length");
    EXPECT_EQ(result.byte, 10u);
    EXPECT_EQ(result.value, 4095u);
    EXPECT_EQ(result.limit, 22u);
    EXPECT_EQ(result.text(),
              "NIT: transport_stream_loop_length 4095 at byte 10 runs past the section's end "
              "(byte 22)");
}

TEST_F(SectionGate, HasANameForEveryVerdict) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < verdicts; ++i) names.push_back(to_string(static_cast<verdict>(i)));
    EXPECT_THAT(names,
                testing::ElementsAre("admitted", "not_decoded", "too_short", "length_mismatch",
                                     "crc_mismatch", "overrun", "endless"));
    EXPECT_STREQ(to_string(static_cast<verdict>(verdicts)), "");
}

TEST_F(SectionGate, HasNoSentenceForAVerdictThatDoesNotExist) {
    gate_result result;
    result.why = static_cast<verdict>(verdicts);
    EXPECT_EQ(result.text(), "");
}

// --- Header and CRC_32 ---

TEST_F(SectionGate, AsksForTheWholeHeaderOfEveryTableWithALongOne) {
    for (const auto& [table_id, table] : {std::pair<std::uint8_t, const char*>{0x00, "PAT: "},
                                          {0x02, "PMT: "},
                                          {0x40, "NIT: "},
                                          {0x42, "SDT: "},
                                          {0x4E, "EIT: "},
                                          {0x74, "AIT: "}}) {
        const bytes section = cut(long_section(table_id, 1, {}), 7);
        expect_asks(
            section, 1,
            {{std::string(table) + "table_id and section_syntax_indicator at byte 0: 2 bytes "
                                   "needed",
              2},
             {std::string(table) + "section header at byte 0: 8 bytes needed", 8}});
    }
}

// The parser's header check passes seven bytes and reads eight.
TEST_F(SectionGate, RefusesASectionOfSevenBytes) {
    const bytes section = cut(long_section(0x00, 1, {}), 7);
    EXPECT_EQ(section[2], 4);
    EXPECT_EQ(refusal(with_crc(cut(section, 3))),
              "PAT: section header at byte 0: 8 bytes needed, but the section ends at byte 7");
    EXPECT_EQ(refusal(section, without_crc),
              "PAT: section header at byte 0: 8 bytes needed, but the section ends at byte 7");
}

TEST_F(SectionGate, RefusesASizeThatIsNotTheSectionsOwn) {
    bytes section = rich_pat();
    section.push_back(0);
    EXPECT_EQ(
        refusal(section),
        "PAT: section_length 25 at byte 1 makes a section of 28 bytes, but 29 were handed in");
    section.resize(27);
    EXPECT_EQ(
        refusal(section),
        "PAT: section_length 25 at byte 1 makes a section of 28 bytes, but 27 were handed in");
    EXPECT_EQ(check(section).why, verdict::length_mismatch);
}

TEST_F(SectionGate, RefusesAWrongCrcUnlessToldNotToLook) {
    bytes section = pat_section(0x0720, program(1, 0x0100));
    section[9] ^= 0x02;
    const gate_result result = check(section);
    EXPECT_EQ(result.why, verdict::crc_mismatch);
    EXPECT_EQ(result.byte, 12u);
    const std::uint32_t right = crc32_mpeg(section.data(), 12);
    EXPECT_EQ(result.limit, right);
    EXPECT_NE(result.value, right);
    expect_admitted(section, without_crc);

    EXPECT_EQ(refusal({0x00, 0xB0, 0x09, 0x00, 0x01, 0xC1, 0x00, 0x00, 0x01, 0x02, 0x03, 0x04}),
              "PAT: CRC_32 0x01020304 at byte 8 is wrong: the section's bytes give 0xEF226217");
}

TEST_F(SectionGate, RefusesEveryFlippedBitOfASectionWithCrc) {
    constexpr std::uint8_t tdt = 0x70;  // has no CRC_32
    for (const bytes& section : rich_sections()) {
        if (section[0] == tdt) continue;
        for (std::size_t bit = 0; bit < section.size() * 8; ++bit) {
            bytes damaged = section;
            damaged[bit / 8] ^= static_cast<std::uint8_t>(0x80 >> bit % 8);
            if (damaged[0] == tdt) continue;
            EXPECT_FALSE(check(damaged).admitted()) << "table " << +section[0] << " bit " << bit;
        }
    }
}

// The parser returns after a look at byte 1, whatever stands behind it.
TEST_F(SectionGate, AsksASectionWithoutSyntaxIndicatorForItsCrcOnly) {
    for (const std::uint8_t table_id : bytes{0x00, 0x02, 0x40, 0x42, 0x4E, 0x74}) {
        const bytes section = with_crc({table_id, 0x70, 0xFF});
        expect_admitted(section);
        EXPECT_EQ(check(cut(section, 6)).why, verdict::too_short);
        expect_admitted({table_id, 0x00}, without_crc);

        bytes damaged = section;
        damaged[6] ^= 0x01;
        EXPECT_EQ(check(damaged).why, verdict::crc_mismatch);
    }
    EXPECT_EQ(refusal({0x42, 0x70, 0x03, 0x00, 0x00, 0x00}),
              "SDT: CRC_32 at byte 3: 4 bytes needed, but the section ends at byte 6");
}

// --- Sections cut at every length ---

TEST_F(SectionGate, AdmitsNoCutSectionThatSaysItsOldLength) {
    for (const bytes& section : rich_sections()) {
        for (std::size_t size = 0; size < section.size(); ++size) {
            bytes head = section;
            head.resize(size);
            EXPECT_FALSE(check(head).admitted()) << "table " << +section[0] << ", " << size;
        }
    }
}

TEST_F(SectionGate, LetsTheParserReadNoCutSectionPastItsEnd) {
    for (const bytes& section : rich_sections()) {
        std::size_t admitted = 0;
        for (std::size_t size = 1; size <= section.size(); ++size) {
            bytes head = cut(section, size);
            for (const bool crc_is_right : {false, true}) {
                if (crc_is_right && size >= 7) repair_crc(head);
                const gate_result result = check(head, without_crc);
                if (!result.admitted()) {
                    EXPECT_THAT(result.text(), testing::StartsWith(result.table));
                    continue;
                }
                ++admitted;
                parse_admitted(head);
                if (crc_is_right) expect_admitted(head);
            }
        }
        EXPECT_GE(admitted, 2u) << "table " << +section[0];
    }
}

// --- Tables ---

TEST_F(SectionGate, AsksThePatForNothingBehindTheHeader) { expect_asks(rich_pat(), 8, {}); }

// A stream, service or event starts wherever more than a CRC_32 is left, so that shorter cuts have
// none.
TEST_F(SectionGate, AsksThePmtForItsFieldsAndStreams) {
    const bytes section =
        cut(pmt_section(1, 0x0100, {}, elementary_stream(0x1B, 0x0111, {0x09, 0x00})), 19);
    expect_asks(cut(section, 16), 8,
                {{"PMT: PCR_PID and program_info_length at byte 8: 4 bytes needed", 12}});
    expect_asks(section, 17, {{"PMT: ES_info_length 2 at byte 15", 19}});

    bytes long_info = cut(section, 14);
    long_info[11] = 5;  // program_info_length, of a descriptor 0x1B of 225 bytes
    expect_asks(long_info, 12, {{"PMT: program_info_length 5 at byte 10", 14}});
}

TEST_F(SectionGate, AsksTheSdtForItsNetworkAndDescriptors) {
    const bytes section =
        cut(sdt_section(1, 1, service(0xE400, 4, 0, describe_stream_identifier(7))), 19);
    expect_asks(cut(section, 15), 8, {{"SDT: original_network_id at byte 8: 2 bytes needed", 10}});
    expect_asks(section, 16,
                {{"SDT: descriptors_loop_length 3 at byte 14", 18},
                 {"SDT: component_tag at byte 18: 1 byte needed", 19}});
}

TEST_F(SectionGate, AsksTheNitForBothItsLoops) {
    const bytes section = nit_section(1, {0x09, 0x00}, transport_stream(1, 1, {0x09, 0x00}));
    expect_asks(cut(section, 22), 8,
                {{"NIT: network_descriptors_length at byte 8: 2 bytes needed", 10},
                 {"NIT: network_descriptors_length 2 at byte 8", 12},
                 {"NIT: transport_stream_loop_length at byte 12: 2 bytes needed", 14},
                 {"NIT: transport_stream_loop_length 8 at byte 12", 20},
                 {"NIT: transport_descriptors_length 2 at byte 18", 22}});

    bytes short_loop = section;
    short_loop[13] = 1;
    expect_asks(cut(short_loop, 22), 15,
                {{"NIT: transport stream entry at byte 14: 6 bytes needed", 20},
                 {"NIT: transport_descriptors_length 2 at byte 18", 22}});
}

// An unknown descriptor is not read, but the length that follows its loop is.
TEST_F(SectionGate, RefusesANitWhoseNetworkDescriptorsEndBehindIt) {
    bytes section = cut(nit_section(1, {0x09, 0xFF}, {}), 12) + bytes{0, 0, 0xF0, 0x00};
    section[9] = 4;
    expect_asks(section, 12,
                {{"NIT: network_descriptors_length 4 at byte 8", 14},
                 {"NIT: transport_stream_loop_length at byte 14: 2 bytes needed", 16}});
}

TEST_F(SectionGate, AsksTheEitForItsFieldsAndEvents) {
    const bytes start = utc_time(0xEB00, 0x203000);
    const bytes section = cut(eit_section({}, event(1, start, 0x0100, 4, 0, {0x09, 0x00})), 28);
    expect_asks(cut(section, 18), 8,
                {{"EIT: transport_stream_id to last_table_id at byte 8: 6 bytes needed", 14}});
    expect_asks(section, 19,
                {{"EIT: event_id to descriptors_loop_length at byte 14: 12 bytes needed", 26},
                 {"EIT: descriptors_loop_length 2 at byte 24", 28}});
}

TEST_F(SectionGate, AdmitsATdtOfEightBytes) {
    expect_asks(rich_tdt(), 1, {{"TDT: table_id to UTC_time at byte 0: 8 bytes needed", 8}});
    EXPECT_EQ(rich_tdt().size(), 8u);
    expect_admitted(rich_tdt() + bytes{0x00});
}

TEST_F(SectionGate, AsksTheAitForBothItsLoops) {
    const bytes section =
        ait_section(1, {0x09, 0x00}, application(1, 1, 1, {0x09, 0x00}) + application(1, 2, 1));
    bytes bounded = section;
    bounded[13] = 15;  // application_loop_length, an offset: one application starts before it
    expect_asks(cut(bounded, 25), 8,
                {{"AIT: common_descriptors_length at byte 8: 2 bytes needed", 10},
                 {"AIT: common_descriptors_length 2 at byte 8", 12},
                 {"AIT: application_loop_length at byte 12: 2 bytes needed", 14},
                 {"AIT: application_loop_length 15 at byte 12", 15},
                 {"AIT: application entry at byte 14: 9 bytes needed", 23},
                 {"AIT: application_descriptors_loop_length 2 at byte 21", 25}});
}

TEST_F(SectionGate, AsksForNoApplicationWhereTheLoopEndsBeforeTheFirst) {
    bytes section = cut(ait_section(1, {}, {}), 12);
    section[11] = 12;
    expect_admitted(section, without_crc);
    section[11] = 13;
    EXPECT_EQ(refusal(section, without_crc),
              "AIT: application_loop_length 13 at byte 10 runs past the section's end (byte 12)");
}

TEST_F(SectionGate, NamesTheAitsLoopLengthWhereItLeadsPastTheSection) {
    bytes section = ait_section(1, {}, application(1, 1, 1) + application(1, 2, 1));
    section[10] = 0xFF;
    section[11] = 0xFF;
    for (std::size_t size = 12; size <= section.size(); ++size) {
        EXPECT_EQ(
            refusal(cut(section, size), without_crc),
            "AIT: application_loop_length 4095 at byte 10 runs past the section's end (byte " +
                std::to_string(size) + ")");
    }
}

TEST_F(SectionGate, TakesTheAitsLoopLengthAsAnOffset) {
    // The loop's own 11 bytes are an offset before its first application, which is never read.
    bytes section = ait_section(1, {}, application(1, 1, 1, {0x52, 0xFF}));
    section[19] = 0xFF;  // application_descriptors_loop_length
    expect_admitted(section, without_crc);

    section[11] = 13;
    EXPECT_EQ(
        refusal(section, without_crc),
        "AIT: application_descriptors_loop_length 3842 at byte 19 runs past the section's end "
        "(byte 27)");
}

TEST_F(SectionGate, RefusesAnAitWhoseCommonDescriptorsEndBehindIt) {
    bytes section = cut(ait_section(1, {0x09, 0xFF}, {}), 12) + bytes{0, 0, 0xF0, 0x00};
    section[9] = 4;
    expect_asks(section, 12,
                {{"AIT: common_descriptors_length 4 at byte 8", 14},
                 {"AIT: application_loop_length at byte 14: 2 bytes needed", 16}});
}

// --- The TOT ---

TEST_F(SectionGate, AsksTheTotForItsFirstDescriptorOnly) {
    const bytes section = tot_section(utc_time(0xEB00, 0), {0x52, 0x01, 0x07, 0x58, 0xFF});
    expect_asks(cut(section, 13), 11,
                {{"TOT: descriptor_tag and descriptor_length at byte 10: 2 bytes needed", 12},
                 {"TOT: component_tag at byte 12: 1 byte needed", 13}});
    expect_admitted(section);
}

TEST_F(SectionGate, AdmitsATotThatEndsBehindItsLoopLength) {
    expect_asks(
        cut(rich_tot(), 10), 1,
        {{"TOT: section header to descriptors_loop_length at byte 0: 10 bytes needed", 10}});
}

bytes tot_whose_crc_begins_with(std::uint8_t first, std::uint8_t second_above) {
    for (unsigned int mjd = 0; mjd < 0x10000; ++mjd) {
        const bytes section = tot_section(utc_time(static_cast<std::uint16_t>(mjd), 0x123456), {});
        if (section[10] == first && section[11] > second_above) return section;
    }
    throw std::logic_error("no such CRC_32");
}

// The reserved bits before an empty loop's length are set on air, and the parser counts them: it
// reads the CRC_32 as a descriptor.
TEST_F(SectionGate, JudgesTheCrcOfATotWithAnEmptyLoopAsTheDescriptorThatTheParserSees) {
    expect_admitted(tot_whose_crc_begins_with(0x09, 0));
    expect_admitted(tot_whose_crc_begins_with(0x52, 0));
    EXPECT_EQ(refusal(tot_whose_crc_begins_with(0x58, 0)),
              "TOT: entry of the local_time_offset_descriptor at byte 12: 13 bytes needed, but the "
              "section ends at byte 14");
}

TEST_F(SectionGate, AdmitsATotWithAnEmptyLoopAndClearReservedBits) {
    bytes section = tot_whose_crc_begins_with(0x58, 0);
    section[8] = 0x00;
    expect_admitted(section, without_crc);
    repair_crc(section);
    expect_admitted(section);
}

TEST_F(SectionGate, RefusesATotWithAWrongCrc) {
    bytes section = rich_tot();
    section.back() ^= 0x01;
    EXPECT_EQ(check(section).why, verdict::crc_mismatch);
    expect_admitted(section, without_crc);
}

// --- The PMT's cursor ---

bytes pmt_of(std::size_t size) {
    constexpr std::size_t frame = 12 + 5 + 4;
    const std::size_t second = size - frame - 2 - 200;
    return pmt_section(
        1, 0x0100, {},
        elementary_stream(0x1B, 0x0111,
                          descriptor(0x09, bytes(198)) + descriptor(0x09, bytes(second))));
}

TEST_F(SectionGate, AdmitsAPmtOf259BytesAndRefusesOneOf260) {
    ASSERT_EQ(pmt_of(259).size(), 259u);
    expect_admitted(pmt_of(259));
    EXPECT_EQ(
        refusal(pmt_of(260)),
        "PMT: section_length 257 at byte 1 leads the parser's 8-bit cursor past byte 256: the "
        "parse would never end");
    EXPECT_EQ(check(pmt_of(260)).why, verdict::endless);
}

/// Two streams at bytes 12 and 19, each with an unknown descriptor of 255 bytes that is not read.
bytes pmt_with_lengths(unsigned int program_info_length, unsigned int first_ES_info_length,
                       unsigned int second_ES_info_length) {
    const auto stream = [](unsigned int ES_info_length) -> bytes {
        return section_writer()
            .bits(8, 0x1B)
            .bits(16, 0xE111)
            .bits(16, 0xF000 | ES_info_length)
            .append(bytes{0x09, 0xFF});
    };
    const long_header header = {0, 1, 0x09, 0xFF};  // bytes 6 and 7: an unknown descriptor, too
    bytes section = pmt_section(
        0x0100, 0x0100, {}, stream(first_ES_info_length) + stream(second_ES_info_length), header);
    section[10] = static_cast<std::uint8_t>(0xF0 | program_info_length >> 8);
    section[11] = static_cast<std::uint8_t>(program_info_length);
    repair_crc(section);
    return section;
}

TEST_F(SectionGate, AdmitsAPmtWhoseCursorWrapsAndEnds) {
    // From 12 to 257, which is 1; there byte 5 says 193, and 199 is behind the section.
    expect_admitted(pmt_with_lengths(0, 240, 0));
}

TEST_F(SectionGate, RefusesAPmtWhoseCursorComesBack) {
    EXPECT_EQ(refusal(pmt_with_lengths(0, 251, 2)),
              "PMT: ES_info_length 251 at byte 15 leads the parser's 8-bit cursor past byte 256: "
              "the parse would never end");
    EXPECT_EQ(refusal(pmt_with_lengths(0, 2, 244)),
              "PMT: ES_info_length 244 at byte 22 leads the parser's 8-bit cursor past byte 256: "
              "the parse would never end");
}

TEST_F(SectionGate, NamesTheLengthThatWrappedTheCursorToZero) {
    // From 12 to 256, which is 0; there the program_number, 7, is a length that leads back to 12.
    bytes section = pmt_with_lengths(0, 239, 2);
    section[3] = 0x00;
    section[4] = 0x07;
    EXPECT_EQ(refusal(section, without_crc),
              "PMT: ES_info_length 239 at byte 15 leads the parser's 8-bit cursor past byte 256: "
              "the parse would never end");
}

TEST_F(SectionGate, AdmitsAPmtWhoseProgramInfoWrapsTheCursor) {
    // 12 + 256 is 12 again, but nothing was read there before.
    bytes section = pmt_with_lengths(256, 2, 2);
    section[12] = 0x09;
    section[13] = 0xFF;
    repair_crc(section);
    expect_admitted(section);
}

TEST_F(SectionGate, AsksForEveryStreamThatAWrappedCursorReads) {
    // 12 + 245 is 1, and from there byte 5 leads on to 12, to a stream of 4095 bytes.
    bytes section = pmt_with_lengths(245, 4095, 2);
    section[12] = 0x09;
    section[13] = 0xFF;
    section[5] = 6;
    EXPECT_EQ(refusal(section, without_crc),
              "PMT: ES_info_length 4095 at byte 15 runs past the section's end (byte 30)");
}

// --- Loops ---

TEST_F(SectionGate, AdmitsALoopLengthPastTheEndWhoseWalkReadsNothingThere) {
    // The only descriptor is an unknown one of 200 bytes: its body is not read.
    expect_admitted(ait_ending_with({0x09, 0xC8}, 202), without_crc);
    EXPECT_EQ(refusal(ait_ending_with({0x09, 0xC8}, 203), without_crc),
              "AIT: application_descriptors_loop_length 203 at byte 19 runs past the section's end "
              "(byte 23)");
}

TEST_F(SectionGate, AdmitsAnUnknownDescriptorThatOverrunsItsSection) {
    expect_admitted(ait_ending_with({0x09, 0xFF}), without_crc);
    expect_admitted(sdt_section(1, 1, service(1, 4, 0, {0x09, 0xFF})));
}

TEST_F(SectionGate, LooksAtEveryDescriptorThatStartsInTheLoop) {
    const bytes two = bytes{0x09, 0x00, 0x52, 0x01};
    expect_admitted(ait_ending_with(two, 2), without_crc);
    EXPECT_EQ(refusal(ait_ending_with(two, 3), without_crc),
              "AIT: component_tag at byte 25: 1 byte needed, but the section ends at byte 25");
}

TEST_F(SectionGate, GoesOnBehindADescriptorOfEveryKind) {
    const bytes broken = {0x52, 0x01};
    for (const bytes& d :
         {describe_application({}, 1, 3, 1),
          describe_application_names(application_name("por", "a")),
          describe_object_carousel(1, 0x40), describe_ip_transport(1, 1, bytes(3)),
          describe_transport_protocol(0x0003, 1, {}, {}),
          describe_ginga_location(0x07, "a", "b", "c"), describe_icon("a", 1),
          describe_service(1, "a", "b"), describe_short_event("por", "a", "b"),
          describe_component(1, 2, 3, "por", "a"), describe_stream_identifier(7),
          describe_content({0x10, 0x01}), describe_parental_ratings(parental_rating("BRA", 1)),
          describe_local_time_offsets(bytes(13)), describe_ts_information(31, "a", {{0x0F, {1}}}),
          descriptor(0x09, {0x00})}) {
        const std::string end = std::to_string(first_descriptor + d.size() + broken.size());
        EXPECT_EQ(refusal(ait_ending_with(d + broken, static_cast<std::uint8_t>(d.size() + 1)),
                          without_crc),
                  "AIT: component_tag at byte " + end +
                      ": 1 byte needed, but the section ends at byte " + end);
    }
}

// --- Descriptors ---

TEST_F(SectionGate, AsksForEveryByteOfAnApplicationDescriptor) {
    expect_descriptor_asks(
        describe_application(application_profile(1, 1, 0, 0), 1, 3, 1, {0x01, 0x02}),
        {{"AIT: application_profiles_length at byte 23: 1 byte needed", 3},
         {"AIT: application_profiles_length 5 at byte 23", 8},
         {"AIT: service_bound_flag to application_priority at byte 29: 2 bytes needed", 10}});
    expect_descriptor_asks(
        describe_application({}, 1, 3, 1),
        {{"AIT: application_profiles_length at byte 23: 1 byte needed", 3},
         {"AIT: service_bound_flag to application_priority at byte 24: 2 bytes needed", 5}});
}

TEST_F(SectionGate, AsksForWholeProfilesWhereTheirLengthIsNoMultipleOfFive) {
    expect_descriptor_asks(
        descriptor(0x00, bytes{0x06} + bytes(12)),
        {{"AIT: application_profiles_length at byte 23: 1 byte needed", 3},
         {"AIT: application_profiles_length 6 at byte 23", 9},
         {"AIT: application profile at byte 29: 5 bytes needed", 13},
         {"AIT: service_bound_flag to application_priority at byte 34: 2 bytes needed", 15}});
}

TEST_F(SectionGate, AsksForTheLargestNumberOfProfiles) {
    expect_descriptor_asks(
        bytes{0x00, 0xFF, 0xFF} + bytes(257),
        {{"AIT: application_profiles_length at byte 23: 1 byte needed", 3},
         {"AIT: application_profiles_length 255 at byte 23", 258},
         {"AIT: service_bound_flag to application_priority at byte 279: 2 bytes needed", 260}});
}

TEST_F(SectionGate, AsksForEveryByteOfAnApplicationNameDescriptor) {
    expect_descriptor_asks(
        describe_application_names(application_name("por", "AB") + application_name("eng", "")),
        {{"AIT: ISO_639_language_code and application_name_length at byte 23: 4 bytes needed", 6},
         {"AIT: application_name_length 2 at byte 26", 8},
         {"AIT: ISO_639_language_code and application_name_length at byte 29: 4 bytes needed",
          12}});
    expect_descriptor_asks(describe_application_names({}), {});
}

TEST_F(SectionGate, AsksForTheWholeNameWhereItOverrunsItsDescriptor) {
    expect_descriptor_asks(
        bytes{0x01, 0x01, 'p', 'o', 'r', 0x01, 'a'},
        {{"AIT: ISO_639_language_code and application_name_length at byte 23: 4 bytes needed", 6},
         {"AIT: application_name_length 1 at byte 26", 7}});
}

TEST_F(SectionGate, AsksForEveryByteOfACarousel) {
    for (const std::uint16_t protocol_id : std::vector<std::uint16_t>{0x0001, 0x0004}) {
        expect_descriptor_asks(
            describe_transport_protocol(protocol_id, 1, {}, {0x40}),
            {{"AIT: protocol_id at byte 23: 2 bytes needed", 4},
             {"AIT: transport_protocol_label and remote_connection at byte 25: 2 bytes needed", 6},
             {"AIT: component_tag at byte 27: 1 byte needed", 7}});
        expect_descriptor_asks(
            describe_transport_protocol(protocol_id, 1, remote_connection(1, 2, 3), {0x40}),
            {{"AIT: protocol_id at byte 23: 2 bytes needed", 4},
             {"AIT: transport_protocol_label and remote_connection at byte 25: 2 bytes needed", 6},
             {"AIT: original_network_id to service_id at byte 27: 6 bytes needed", 12},
             {"AIT: component_tag at byte 33: 1 byte needed", 13}});
    }
}

TEST_F(SectionGate, AsksAnUnknownTransportForItsProtocolIdOnly) {
    for (const std::uint16_t protocol_id :
         std::vector<std::uint16_t>{0x0000, 0x0003, 0x0101, 0xFFFF}) {
        expect_descriptor_asks(
            describe_transport_protocol(protocol_id, 1, remote_connection(1, 2, 3), {0x40}),
            {{"AIT: protocol_id at byte 23: 2 bytes needed", 4}});
    }
}

// Behind it stands the CRC_32, of which any bit may be set where others have remote_connection.
TEST_F(SectionGate, AdmitsAnUnknownTransportOfAnyLengthAtTheEndOfAnAit) {
    for (std::uint16_t protocol_id = 0x0100; protocol_id < 0x0140; ++protocol_id) {
        for (std::size_t selector_bytes = 0; selector_bytes <= 2; ++selector_bytes) {
            const bytes id = {0x01, static_cast<std::uint8_t>(protocol_id)};
            const bytes transport = descriptor(0x02, id + bytes(selector_bytes, 0x80));
            expect_admitted(ait_section(0x0009, {}, application(1, 1, 1, transport)));
        }
    }
}

TEST_F(SectionGate, AsksForEveryByteThatTheUrlWalkReads) {
    // Lengths of 0 at positions 7 and 8 of the loop; position 9 is not below the length of 9.
    expect_descriptor_asks(
        bytes{0x02, 0x09, 0x00, 0x02, 0x01, 0x7F, 0xFF, 0x00, 0x00, 0x00, 0x00},
        {{"AIT: protocol_id at byte 23: 2 bytes needed", 4},
         {"AIT: transport_protocol_label and remote_connection at byte 25: 2 bytes needed", 6},
         {"AIT: alignment_indicator at byte 27: 1 byte needed", 7},
         {"AIT: URL_length at byte 28: 1 byte needed", 8},
         {"AIT: URL_length at byte 29: 1 byte needed", 9}});
    expect_descriptor_asks(
        bytes{0x02, 0x0F, 0x00, 0x02, 0x01, 0xFF} + bytes(6) + bytes{0xFF, 0x00, 0x00, 0x00},
        {{"AIT: protocol_id at byte 23: 2 bytes needed", 4},
         {"AIT: transport_protocol_label and remote_connection at byte 25: 2 bytes needed", 6},
         {"AIT: original_network_id to service_id at byte 27: 6 bytes needed", 12},
         {"AIT: alignment_indicator at byte 33: 1 byte needed", 13},
         {"AIT: URL_length at byte 34: 1 byte needed", 14},
         {"AIT: URL_length at byte 35: 1 byte needed", 15}});
}

TEST_F(SectionGate, AsksForTheUrlThatTheWalkTakes) {
    // A URL from the loop's byte 6 up to its byte 20, behind the descriptor's end.
    expect_descriptor_asks(
        bytes{0x02, 0x08, 0x00, 0x02, 0x01, 0x7F, 0xFF, 0x14} + bytes(14),
        {{"AIT: protocol_id at byte 23: 2 bytes needed", 4},
         {"AIT: transport_protocol_label and remote_connection at byte 25: 2 bytes needed", 6},
         {"AIT: alignment_indicator at byte 27: 1 byte needed", 7},
         {"AIT: URL_length at byte 28: 1 byte needed", 8},
         {"AIT: URL_length 20 at byte 28", 20}});
}

TEST_F(SectionGate, AsksForTheSecondUrlFromBehindTheFirst) {
    // The first one moves the walk on to 27: a length of 27 takes nothing there, one of 28 a byte.
    const bytes head = {0x02, 0x09, 0x00, 0x02, 0x01, 0x7F, 0xFF, 0x14};
    std::vector<asked> questions = {
        {"AIT: protocol_id at byte 23: 2 bytes needed", 4},
        {"AIT: transport_protocol_label and remote_connection at byte 25: 2 bytes needed", 6},
        {"AIT: alignment_indicator at byte 27: 1 byte needed", 7},
        {"AIT: URL_length at byte 28: 1 byte needed", 8},
        {"AIT: URL_length 20 at byte 28", 20}};
    expect_descriptor_asks(head + bytes{27} + bytes(30), questions);
    questions.push_back({"AIT: URL_length 28 at byte 29", 28});
    expect_descriptor_asks(head + bytes{28} + bytes(30), questions);
}

TEST_F(SectionGate, ComparesPositionsInTheLoopWhereAnIpTransportIsNotTheFirst) {
    // The transport starts at position 3: of its URL lengths only the one at position 10 counts.
    const bytes transport = {0x02, 0x0B, 0x00, 0x02, 0x01, 0x7F, 0xFF, 0x1E, 0xFF, 0xFF, 0xFF};
    const bytes section = ait_ending_with(describe_stream_identifier(7) + transport + bytes(18), 4);
    expect_asks(section, first_descriptor + 11,
                {{"AIT: URL_length 30 at byte 31", first_descriptor + 30}});
    // Where it starts behind its own length, none does.
    const bytes behind = descriptor(0x09, bytes(20)) + transport;
    expect_asks(ait_ending_with(behind, 23), first_descriptor + 28,
                {{"AIT: alignment_indicator at byte 49: 1 byte needed", first_descriptor + 29}});
}

// 'h' is 104: the walk takes it for a length and would read so many bytes from the loop's start.
TEST_F(SectionGate, RefusesAShortUrlThatTheParserWouldReadAsLengths) {
    const bytes section = ait_section(1, describe_ip_transport(1, 1, url("http://a.br/")), {});
    EXPECT_EQ(refusal(section),
              "AIT: URL_length 104 at byte 18 runs past the section's end (byte 36)");
}

TEST_F(SectionGate, AsksForEveryByteOfAGingaLocation) {
    for (const std::uint8_t tag : bytes{0x04, 0x07}) {
        expect_descriptor_asks(describe_ginga_location(tag, "ab", "c", "de"),
                               {{"AIT: base_directory_length at byte 23: 1 byte needed", 3},
                                {"AIT: base_directory_length 2 at byte 23", 5},
                                {"AIT: class_extension_length at byte 26: 1 byte needed", 6},
                                {"AIT: class_extension_length 1 at byte 26", 7},
                                {"AIT: descriptor_length 7 at byte 22", 9}});
    }
}

TEST_F(SectionGate, AsksForAnInitialClassOfOneByte) {
    expect_descriptor_asks(describe_ginga_location(0x07, "", "", "d"),
                           {{"AIT: base_directory_length at byte 23: 1 byte needed", 3},
                            {"AIT: class_extension_length at byte 24: 1 byte needed", 4},
                            {"AIT: descriptor_length 3 at byte 22", 5}});
}

TEST_F(SectionGate, AsksForNoInitialClassWhereNothingIsLeftOfAGingaLocation) {
    // Its inner lengths lead past its own end.
    expect_descriptor_asks(bytes{0x07, 0x02, 0x02, 0x61, 0x62, 0x01, 0x63},
                           {{"AIT: base_directory_length at byte 23: 1 byte needed", 3},
                            {"AIT: base_directory_length 2 at byte 23", 5},
                            {"AIT: class_extension_length at byte 26: 1 byte needed", 6},
                            {"AIT: class_extension_length 1 at byte 26", 7}});
}

TEST_F(SectionGate, AsksForEveryByteOfAnIconLocator) {
    expect_descriptor_asks(describe_icon("ab", 0x0001),
                           {{"AIT: icon_locator_length at byte 23: 1 byte needed", 3},
                            {"AIT: icon_locator_length 2 at byte 23", 5}});
}

TEST_F(SectionGate, AsksForEveryByteOfAServiceDescriptor) {
    expect_descriptor_asks(
        describe_service(1, "ab", "c"),
        {{"AIT: service_type and service_provider_name_length at byte 23: 2 bytes needed", 4},
         {"AIT: service_provider_name_length 2 at byte 24", 6},
         {"AIT: service_name_length at byte 27: 1 byte needed", 7},
         {"AIT: service_name_length 1 at byte 27", 8}});
}

TEST_F(SectionGate, AsksForEveryByteOfAShortEventDescriptor) {
    expect_descriptor_asks(describe_short_event("por", "ab", "c"),
                           {{"AIT: ISO_639_language_code at byte 23: 3 bytes needed", 5},
                            {"AIT: event_name_length at byte 26: 1 byte needed", 6},
                            {"AIT: event_name_length 2 at byte 26", 8},
                            {"AIT: text_length at byte 29: 1 byte needed", 9},
                            {"AIT: text_length 1 at byte 29", 10}});
}

TEST_F(SectionGate, AsksForEveryByteOfAComponentDescriptor) {
    expect_descriptor_asks(describe_component(1, 2, 3, "por", "ab"),
                           {{"AIT: stream_content to component_tag at byte 23: 3 bytes needed", 5},
                            {"AIT: ISO_639_language_code at byte 26: 3 bytes needed", 8},
                            {"AIT: descriptor_length 8 at byte 22", 10}});
    expect_descriptor_asks(describe_component(1, 2, 3, "por"),
                           {{"AIT: stream_content to component_tag at byte 23: 3 bytes needed", 5},
                            {"AIT: ISO_639_language_code at byte 26: 3 bytes needed", 8}});
}

// The parser subtracts six from the length without a check.
TEST_F(SectionGate, RefusesAComponentDescriptorBelowSixBytes) {
    for (std::uint8_t length = 0; length < 6; ++length) {
        EXPECT_EQ(refusal(ait_ending_with(bytes{0x50, length} + bytes(300)), without_crc),
                  "AIT: text length (descriptor_length - 6, unsigned) " +
                      std::to_string(0xFFFFFFFA + length) +
                      " at byte 22 runs past the section's end (byte 323)");
    }
}

TEST_F(SectionGate, AsksForEveryByteOfAStreamIdentifierWhateverItsLength) {
    for (const std::uint8_t length : bytes{0x00, 0x01, 0xFF}) {
        expect_descriptor_asks({0x52, length, 0x07},
                               {{"AIT: component_tag at byte 23: 1 byte needed", 3}});
    }
}

TEST_F(SectionGate, AsksForEveryByteOfAContentDescriptor) {
    expect_descriptor_asks(
        describe_content({0x20, 0x00, 0x10, 0x01}),
        {{"AIT: entry of the content_descriptor at byte 23: 2 bytes needed", 4},
         {"AIT: entry of the content_descriptor at byte 25: 2 bytes needed", 6}});
    expect_descriptor_asks(describe_content({}), {});
}

TEST_F(SectionGate, AsksForTheByteBehindAContentDescriptorOfOddLength) {
    expect_descriptor_asks(
        bytes{0x54, 0x03, 0x20, 0x00, 0x10, 0x01},
        {{"AIT: entry of the content_descriptor at byte 23: 2 bytes needed", 4},
         {"AIT: entry of the content_descriptor at byte 25: 2 bytes needed", 6}});
}

TEST_F(SectionGate, AsksForWholeEntriesOfAParentalRatingDescriptor) {
    const std::string first =
        "AIT: entry of the parental_rating_descriptor at byte 23: 4 bytes needed";
    const std::string second =
        "AIT: entry of the parental_rating_descriptor at byte 27: 4 bytes needed";
    expect_descriptor_asks(
        describe_parental_ratings(parental_rating("BRA", 1) + parental_rating("ARG", 2)),
        {{first, 6}, {second, 10}});
    expect_descriptor_asks(bytes{0x55, 0x05} + bytes(8), {{first, 6}, {second, 10}});
}

TEST_F(SectionGate, AsksForWholeEntriesOfALocalTimeOffsetDescriptor) {
    const std::string first =
        "AIT: entry of the local_time_offset_descriptor at byte 23: 13 bytes needed";
    const std::string second =
        "AIT: entry of the local_time_offset_descriptor at byte 36: 13 bytes needed";
    expect_descriptor_asks(bytes{0x58, 0x1A} + bytes(26), {{first, 15}, {second, 28}});
    expect_descriptor_asks(bytes{0x58, 0x0E} + bytes(26), {{first, 15}, {second, 28}});
}

TEST_F(SectionGate, AsksForEveryByteOfATsInformationDescriptor) {
    expect_descriptor_asks(
        describe_ts_information(31, "ab", {{0x0F, {1, 2}}, {0xAF, {}}}),
        {{"AIT: remote_control_key_id to transmission_type_count at byte 23: 2 bytes needed", 4},
         {"AIT: length_of_ts_name 2 at byte 24", 6},
         {"AIT: transmission_type_info and num_of_service at byte 27: 2 bytes needed", 8},
         {"AIT: service_ids of a transmission type at byte 29: 4 bytes needed", 12},
         {"AIT: transmission_type_info and num_of_service at byte 33: 2 bytes needed", 14}});
}

TEST_F(SectionGate, AsksForEachOfThreeTransmissionTypes) {
    const std::string type = "AIT: transmission_type_info and num_of_service at byte ";
    expect_descriptor_asks(
        describe_ts_information(31, "", {{0x0F, {}}, {0xAF, {}}, {0xCF, {}}}),
        {{"AIT: remote_control_key_id to transmission_type_count at byte 23: 2 bytes needed", 4},
         {type + "25: 2 bytes needed", 6},
         {type + "27: 2 bytes needed", 8},
         {type + "29: 2 bytes needed", 10}});
}

// --- Texts that end in an escape byte ---

constexpr char escape[] = "\x1D";

std::string escapes(int count) {
    std::string text = "a";
    for (int i = 0; i < count; ++i) text += escape;
    return text;
}

std::string symbol_needed(std::size_t byte) {
    const std::string at = std::to_string(byte);
    return "AIT: symbol of the escape that ends the text at byte " + at +
           ": 1 byte needed, but the section ends at byte " + at;
}

TEST_F(SectionGate, AsksForTheSymbolOfAnEscapeThatEndsTheSection) {
    for (const int odd : {1, 3, 5}) {
        const std::string text = escapes(odd);
        const auto size = static_cast<std::size_t>(odd + 1);
        for (const bytes& d :
             {describe_service(1, "", text), describe_short_event("por", "", text),
              describe_component(1, 2, 3, "por", text), describe_ts_information(31, text)}) {
            EXPECT_EQ(refusal(ait_ending_with(d), without_crc),
                      symbol_needed(first_descriptor + d.size()));
            expect_admitted(ait_ending_with(d + bytes{0x21}), without_crc);
            EXPECT_GT(d.size(), size);
        }
    }
}

TEST_F(SectionGate, TakesAnEscapeBehindAnEscapeForItsSymbol) {
    for (const int even : {0, 2, 4}) {
        const std::string text = escapes(even);
        for (const bytes& d :
             {describe_service(1, "", text), describe_short_event("por", "", text),
              describe_component(1, 2, 3, "por", text), describe_ts_information(31, text)}) {
            expect_admitted(ait_ending_with(d), without_crc);
        }
    }
}

TEST_F(SectionGate, CountsNoEscapesBeforeTheText) {
    // The last byte of the language code is an escape, the text one more: not a pair.
    const bytes d = describe_component(1, 2, 3, std::string("po") + escape, escape);
    EXPECT_EQ(refusal(ait_ending_with(d), without_crc), symbol_needed(30));
}

TEST_F(SectionGate, AsksForTheSymbolOfAnEscapeThatEndsALanguageCode) {
    const bytes d = describe_component(1, 2, 3, std::string("po") + escape);
    EXPECT_EQ(refusal(ait_ending_with(d), without_crc), symbol_needed(29));
    expect_admitted(ait_ending_with(d + bytes{0x21}), without_crc);
}

TEST_F(SectionGate, FindsTheSymbolInsideTheSectionWhereATextEndsBeforeIt) {
    expect_admitted(ait_ending_with(describe_service(1, escape, "")), without_crc);
    expect_admitted(sdt_section(1, 1, service(1, 4, 0, describe_service(1, "", escape))));
}

}  // namespace
}  // namespace orvix::section_feed
