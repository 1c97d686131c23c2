#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <isdb_sections.h>
#include <log_capture.h>
#include <parse_exactly.h>
#include <si_parser/pmt.h>

#include <boost/smart_ptr/weak_ptr.hpp>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "table_matchers.h"

namespace orvix::si_parser {
namespace {

using namespace orvix::test;
using testing::ElementsAre;
using testing::FieldsAre;
using testing::IsEmpty;
using testing::SizeIs;

using stream = pmt::stream_info_type;

static_assert(std::is_same_v<decltype(pmt::program_number), uint32_t>);
static_assert(std::is_same_v<decltype(pmt::PCR_PID), uint32_t>);
static_assert(std::is_same_v<decltype(stream::elementary_PID), uint32_t>);
static_assert(std::is_same_v<decltype(stream::component_tag), uint32_t>);
static_assert(std::is_same_v<decltype(stream::stream_type), int32_t>);
static_assert(std::is_same_v<decltype(stream::ISO_639_language_code), std::string>);

/// A stream as its record: PID, component tag, type, language, descriptors' tags.
template <typename... Tag>
auto Stream(uint32_t pid, uint32_t component_tag, int type, const std::string& language,
            Tag... tags) {
    return FieldsAre(pid, component_tag, type, language, Tags(tags...));
}

const bytes stream_identifier_7 = describe_stream_identifier(7);
const bytes component_9_por = describe_component(1, 0xB3, 9, "por");

/// A header of which nothing announces more bytes than it has.
bytes pmt_header(std::uint16_t program_number, std::uint16_t section_length) {
    return section_writer()
        .bits(8, 0x02)             // table_id
        .bits(4, 0xB)              // section_syntax_indicator, 0, reserved
        .bits(12, section_length)  // section_length
        .bits(16, program_number)  // program_number
        .bits(8, 0xC1)             // reserved, version_number, current_next_indicator
        .bits(8, 0)                // section_number
        .bits(8, 0);               // last_section_number
}

class Pmt : public testing::Test {
protected:
    void hold_a_programme() {
        parse_exactly(table_, pmt_section(0xE760, 0x0100, stream_identifier_7,
                                          elementary_stream(0x1B, 0x0111, component_9_por)));
    }

    void expect_the_programme() const {
        EXPECT_EQ(table_.program_number, 0xE760u);
        EXPECT_EQ(table_.PCR_PID, 0x0100u);
        EXPECT_THAT(table_.descriptors, Tags(0x52));
        EXPECT_THAT(table_.streams, ElementsAre(Stream(0x0111, 9, 0x1B, "por", 0x50)));
        EXPECT_FALSE(table_.cleared);
    }

    void expect_only_the_programmes_numbers() const {
        EXPECT_EQ(table_.program_number, 0xE760u);
        EXPECT_EQ(table_.PCR_PID, 0x0100u);
        EXPECT_THAT(table_.descriptors, IsEmpty());
        EXPECT_THAT(table_.streams, IsEmpty());
    }

    log_capture log_;
    pmt table_;
};

TEST_F(Pmt, IsEmptyWhenNew) {
    EXPECT_EQ(table_.program_number, 0u);
    EXPECT_EQ(table_.PCR_PID, 0u);
    EXPECT_THAT(table_.streams, IsEmpty());
    EXPECT_THAT(table_.descriptors, IsEmpty());
    EXPECT_TRUE(table_.cleared);
}

TEST_F(Pmt, HoldsNumberPcrPidDescriptorsAndStreams) {
    hold_a_programme();
    expect_the_programme();
    EXPECT_EQ(table_.table_id, 0x02u);
    EXPECT_EQ(table_.table_id_extension, 0xE760u);
}

TEST_F(Pmt, MasksTheReservedBitsAndKeepsAllOthers) {
    parse_exactly(table_,
                  pmt_section(0xFFFF, 0x1FFF, {},
                              elementary_stream(0xFF, 0x1FFF) + elementary_stream(0x00, 0x0000)));
    EXPECT_EQ(table_.program_number, 0xFFFFu);
    EXPECT_EQ(table_.PCR_PID, 0x1FFFu);
    EXPECT_THAT(table_.streams, ElementsAre(Stream(0x1FFF, 0, 0xFF, ""), Stream(0, 0, 0, "")));
}

TEST_F(Pmt, ReadsTheSameWithItsReservedBitsClear) {
    parse_exactly(table_, pmt_header(1, 18) + section_writer()
                                                  .bits(16, 0x0100)  // reserved, PCR_PID
                                                  .bits(16, 0x0000)  // program_info_length
                                                  .bits(8, 0x1B)     // stream_type
                                                  .bits(16, 0x0111)  // elementary_PID
                                                  .bits(16, 0x0000)  // ES_info_length
                                                  .bits(32, 0));     // CRC_32, wrong
    EXPECT_EQ(table_.PCR_PID, 0x0100u);
    EXPECT_THAT(table_.streams, ElementsAre(Stream(0x0111, 0, 0x1B, "")));
}

TEST_F(Pmt, KeepsStreamsInSectionOrderRepeatsIncluded) {
    parse_exactly(table_, pmt_section(1, 0x0100, {},
                                      elementary_stream(0x0F, 0x0112) +
                                          elementary_stream(0x1B, 0x0111, stream_identifier_7) +
                                          elementary_stream(0x0F, 0x0112)));
    EXPECT_THAT(table_.streams,
                ElementsAre(Stream(0x0112, 0, 0x0F, ""), Stream(0x0111, 7, 0x1B, "", 0x52),
                            Stream(0x0112, 0, 0x0F, "")));
}

TEST_F(Pmt, WithoutProgrammeInfoStartsItsStreamsAtByte12) {
    parse_exactly(table_, pmt_section(1, 0x0100, {}, elementary_stream(0x1B, 0x0111)));
    EXPECT_THAT(table_.descriptors, IsEmpty());
    EXPECT_THAT(table_.streams, ElementsAre(Stream(0x0111, 0, 0x1B, "")));
    EXPECT_EQ(log_.text(), "");  // no descriptor loop was walked
}

TEST_F(Pmt, OfSixteenBytesHasNoStreams) {
    const bytes section = pmt_section(1, 0x0100, {}, {});
    ASSERT_EQ(section.size(), 16u);
    parse_exactly(table_, section);
    EXPECT_THAT(table_.streams, IsEmpty());
    EXPECT_EQ(table_.PCR_PID, 0x0100u);
}

TEST_F(Pmt, TakesTagAndLanguageFromTheLastDescriptorThatHasThem) {
    const bytes component_5_eng = describe_component(1, 0xB3, 5, "eng");
    const bytes other = describe_content({0x10, 0x00});
    parse_exactly(
        table_, pmt_section(1, 0x0100, {},
                            elementary_stream(0x1B, 1, stream_identifier_7 + component_9_por) +
                                elementary_stream(0x1B, 2, component_9_por + stream_identifier_7) +
                                elementary_stream(0x1B, 3, component_9_por + component_5_eng) +
                                elementary_stream(0x1B, 4, stream_identifier_7 + other) +
                                elementary_stream(0x1B, 5, other)));
    EXPECT_THAT(
        table_.streams,
        ElementsAre(Stream(1, 9, 0x1B, "por", 0x52, 0x50), Stream(2, 7, 0x1B, "por", 0x50, 0x52),
                    Stream(3, 5, 0x1B, "eng", 0x50, 0x50), Stream(4, 7, 0x1B, "", 0x52, 0x54),
                    Stream(5, 0, 0x1B, "", 0x54)));
}

TEST_F(Pmt, TakesNothingOfAStreamFromTheProgrammesDescriptors) {
    parse_exactly(table_, pmt_section(1, 0x0100, stream_identifier_7 + component_9_por,
                                      elementary_stream(0x1B, 0x0111)));
    EXPECT_THAT(table_.descriptors, Tags(0x52, 0x50));
    EXPECT_THAT(table_.streams, ElementsAre(Stream(0x0111, 0, 0x1B, "")));
}

TEST_F(Pmt, HasItsProgrammesDescriptorsLookedUpInTheBase) {
    hold_a_programme();
    EXPECT_EQ(table_.get_descriptor<stream_identifier_descriptor>(0x52)->component_tag, 7);
    EXPECT_FALSE(table_.get_descriptor(0x50));
    EXPECT_EQ(
        table_.get_descriptor_from<component_descriptor>(0x50, table_.streams.at(0).descriptors)
            ->component_tag,
        9);
}

TEST_F(Pmt, SharesHandlesWithACopyOfItsStream) {
    hold_a_programme();
    const stream copy = table_.streams.at(0);
    EXPECT_EQ(copy.descriptors, table_.streams[0].descriptors);
    table_.clear();
    EXPECT_THAT(copy, Stream(0x0111, 9, 0x1B, "por", 0x50));
}

TEST_F(Pmt, WritesNoLogOfItsOwn) {
    hold_a_programme();
    EXPECT_THAT(log_.statements(), ElementsAre("<parse> DEBUG: i [0] type [0x52] size 3",
                                               "<parse> DEBUG: i [0] type [0x50] size 8"));
}

TEST_F(Pmt, KeepsItsFieldsInOrder) {
    const std::vector<const void*> fields = {&table_.descriptors, &table_.program_number,
                                             &table_.PCR_PID, &table_.streams};
    EXPECT_THAT(fields, AreInMemoryOrder());

    const stream record;
    const std::vector<const void*> record_fields = {
        &record.elementary_PID, &record.component_tag, &record.stream_type,
        &record.ISO_639_language_code, &record.descriptors};
    EXPECT_THAT(record_fields, AreInMemoryOrder());
    EXPECT_EQ(record_fields.front(), static_cast<const void*>(&record));
}

// --- Reuse and refusals ---

TEST_F(Pmt, HoldsTheLastSectionOnly) {
    hold_a_programme();
    parse_exactly(table_, pmt_section(2, 0x0200, {}, elementary_stream(0x0F, 0x0212)));
    EXPECT_EQ(table_.program_number, 2u);
    EXPECT_EQ(table_.PCR_PID, 0x0200u);
    EXPECT_THAT(table_.descriptors, IsEmpty());
    EXPECT_THAT(table_.streams, ElementsAre(Stream(0x0212, 0, 0x0F, "")));
}

TEST_F(Pmt, WithoutSyntaxIndicatorChangesNothing) {
    hold_a_programme();
    bytes section = pmt_section(2, 0x0200, {}, {});
    section[1] = section[1] & 0x7Fu;  // section_syntax_indicator
    EXPECT_EQ(answer_of(table_, section), "accepted");
    EXPECT_EQ(answer_of(table_, {0x02, 0x7F}), "accepted");
    expect_the_programme();
}

TEST_F(Pmt, ThatIsShortIsRefusedAndKeepsOnlyItsNumbers) {
    hold_a_programme();
    EXPECT_EQ(answer_of(table_, {0x02, 0xB0, 0x03, 0x00, 0x01, 0xC1}),
              "parse_header: short buffer");
    expect_only_the_programmes_numbers();
    EXPECT_EQ(table_.table_id_extension, 0xE760u);
    EXPECT_TRUE(table_.cleared);
}

TEST_F(Pmt, OfAnotherSizeThanItSaysIsRefusedAndKeepsOnlyItsNumbers) {
    hold_a_programme();
    EXPECT_EQ(answer_of(table_,
                        pmt_section(2, 0x0200, {}, elementary_stream(0x0F, 0x0212)) + bytes{0xFF}),
              "parse_header: section length != size");
    expect_only_the_programmes_numbers();
    EXPECT_EQ(table_.table_id_extension, 2u);  // the refused section's
    EXPECT_FALSE(table_.cleared);

    hold_a_programme();
    expect_the_programme();
}

TEST_F(Pmt, ClearKeepsItsNumbers) {
    hold_a_programme();
    const boost::weak_ptr<descriptor> dropped = table_.streams.at(0).descriptors.at(0);
    table_.clear();
    expect_only_the_programmes_numbers();
    EXPECT_TRUE(table_.cleared);
    EXPECT_TRUE(dropped.expired());
}

TEST_F(Pmt, ClearLetsGoOfStreamsBeforeProgrammeDescriptors) {
    std::vector<std::string> farewells;
    table_.descriptors = {says_farewell("programme", farewells)};
    table_.streams.push_back({0x0111, 0, 0x1B, "", {says_farewell("stream", farewells)}});
    table_.clear();
    EXPECT_THAT(farewells, ElementsAre("stream", "programme"));
}

TEST_F(Pmt, DestructionLetsGoOfStreamsBeforeProgrammeDescriptors) {
    std::vector<std::string> farewells;
    auto table = std::make_unique<pmt>();
    table->descriptors = {says_farewell("programme", farewells)};
    table->streams.push_back({0x0111, 0, 0x1B, "", {says_farewell("stream", farewells)}});
    std::unique_ptr<psi_table> base = std::move(table);
    base.reset();
    EXPECT_THAT(farewells, ElementsAre("stream", "programme"));
}

TEST_F(Pmt, ParseClearsThroughTheVirtualTable) {
    clear_counter<pmt> table;
    parse_exactly(table, pmt_section(1, 0x0100, {}, {}));
    EXPECT_EQ(table.clears, 1);
}

TEST_F(Pmt, IsNotHeldToItsTableIdItsCurrentNextIndicatorOrItsCrc) {
    bytes section = pmt_section(1, 0x0100, {}, elementary_stream(0x1B, 0x0111), {0, 0, 0, 0});
    section[0] = 0x77;
    section.back() ^= 0xFFu;  // CRC_32
    EXPECT_EQ(answer_of(table_, section), "accepted");
    EXPECT_THAT(table_.streams, SizeIs(1));
}

// --- Bounds ---

TEST_F(Pmt, Of259BytesIsReadWhole) {
    const bytes filler = test::descriptor(0xAA, bytes(98));
    const bytes section =
        pmt_section(1, 0x0100, filler,
                    elementary_stream(0x1B, 0x0111, filler) +
                        elementary_stream(0x0F, 0x0112, test::descriptor(0xAA, bytes(31))));
    ASSERT_EQ(section.size(), 259u);
    parse_exactly(table_, section);
    EXPECT_THAT(table_.streams,
                ElementsAre(Stream(0x0111, 0, 0x1B, ""), Stream(0x0112, 0, 0x0F, "")));
}

TEST_F(Pmt, TakesALastEntryThatStartsBeforeTheCrcFromTheCrc) {
    // One byte of loop, which the CRC_32 completes: it reads as a PID and an empty ES_info.
    const bytes section = pmt_header(1, 14) + section_writer()
                                                  .bits(16, 0xE100)   // reserved, PCR_PID
                                                  .bits(16, 0xF000)   // program_info_length
                                                  .bits(8, 0x1B)      // stream_type
                                                  .bits(16, 0xE123)   // CRC_32, first half
                                                  .bits(16, 0xF000);  // CRC_32, second half
    ASSERT_EQ(section.size(), 17u);
    parse_exactly(table_, section);
    EXPECT_THAT(table_.streams, ElementsAre(Stream(0x0123, 0, 0x1B, "")));
}

TEST_F(Pmt, HandsOnAnEsInfoLengthThatOverrunsTheSection) {
    const bytes section = pmt_header(1, 18) + section_writer()
                                                  .bits(16, 0xE100)  // reserved, PCR_PID
                                                  .bits(16, 0xF000)  // program_info_length
                                                  .bits(8, 0x1B)     // stream_type
                                                  .bits(16, 0xE111)  // elementary_PID
                                                  .bits(16, 0xF007)  // ES_info_length
                                                  .append(bytes{0xAA, 0x02, 0, 0});  // CRC_32
    parse_with_spare_bytes(table_, section, stream_identifier_7);
    EXPECT_THAT(table_.streams, ElementsAre(Stream(0x0111, 7, 0x1B, "", 0x52)));
}

/// A descriptor of which only tag and length are there: it carries a walk past any loop.
const bytes jump = {0xAA, 0xFF};

TEST_F(Pmt, FollowsAnEsInfoLengthThatCarriesItsCursorPast255BackToASmallOffset) {
    // 12 + 5 + 239 = 256: the section's first five bytes are read as the second stream. Its
    // ES_info_length is then in the program_number's place and leads out of the section.
    const std::uint16_t program_number = 62;
    const bytes section =
        pmt_header(program_number, 20) + section_writer()
                                             .bits(16, 0xE100)  // reserved, PCR_PID
                                             .bits(16, 0xF000)  // program_info_length
                                             .bits(8, 0x1B)     // stream_type
                                             .bits(16, 0xE111)  // elementary_PID
                                             .bits(4, 0xF)      // reserved
                                             .bits(12, 239)     // ES_info_length
                                             .append(jump)
                                             .bits(32, 0);  // CRC_32, wrong
    ASSERT_EQ(section.size(), 23u);

    // The second stream's loop begins at byte 5: reserved and version_number are a tag, and
    // section_number is its descriptor_length.
    bytes with_numbers = section;
    with_numbers[6] = 60;
    parse_exactly(table_, with_numbers);
    EXPECT_THAT(table_.streams,
                ElementsAre(Stream(0x0111, 0, 0x1B, ""),
                            Stream(0x1014, 0, 0x02, "")));  // table_id, then section_length
    EXPECT_THAT(log_.messages(), ElementsAre("i [0] type [0xaa] size 239", "Unknown descriptor aa",
                                             "i [0] type [0xc1] size 62", "Unknown descriptor c1"));
}

TEST_F(Pmt, FollowsAProgrammeInfoLengthThatCarriesItsCursorPast255BackToASmallOffset) {
    // 12 + 244 = 256: the streams start at byte 0.
    const std::uint16_t program_number = 62;
    bytes section = pmt_header(program_number, 15) + section_writer()
                                                         .bits(16, 0xE100)  // reserved, PCR_PID
                                                         .bits(4, 0xF)      // reserved
                                                         .bits(12, 244)     // program_info_length
                                                         .append(jump)
                                                         .bits(32, 0);  // CRC_32, wrong
    section[6] = 60;                                                    // section_number
    ASSERT_EQ(section.size(), 18u);
    parse_exactly(table_, section);
    EXPECT_THAT(table_.descriptors, IsEmpty());
    EXPECT_THAT(table_.streams, ElementsAre(Stream(0x100F, 0, 0x02, "")));
    EXPECT_THAT(log_.messages(), ElementsAre("i [0] type [0xaa] size 244", "Unknown descriptor aa",
                                             "i [0] type [0xc1] size 62", "Unknown descriptor c1"));
}

// --- Classifiers ---

TEST(PmtStream, IsVideoAudioOrCaptionForExactlyTheseTypes) {
    const std::set<int> video = {0x02, 0x1B};
    const std::set<int> audio = {0x03, 0x04, 0x0F, 0x11, 0x81, 0x83};
    const std::set<int> caption = {0x06};
    for (int type = 0x00; type <= 0xFF; ++type) {
        stream record;
        record.stream_type = type;
        EXPECT_EQ(record.is_video(), video.count(type) != 0) << type;
        EXPECT_EQ(record.is_audio(), audio.count(type) != 0) << type;
        EXPECT_EQ(record.is_caption(), caption.count(type) != 0) << type;
    }
}

}  // namespace
}  // namespace orvix::si_parser
