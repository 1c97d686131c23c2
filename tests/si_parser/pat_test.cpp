#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <isdb_sections.h>
#include <log_capture.h>
#include <parse_exactly.h>
#include <si_parser/pat.h>

#include <cstdint>
#include <map>
#include <type_traits>

#include "table_matchers.h"

namespace orvix::si_parser {
namespace {

using namespace orvix::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

static_assert(std::is_same_v<decltype(pat::program_map), std::map<uint32_t, uint32_t>>);

class Pat : public testing::Test {
protected:
    void hold_two_programmes() {
        parse_exactly(table_, pat_section(0x0720, program(0, 0x0010) + program(1, 0x0100)));
    }

    void expect_two_programmes() const {
        EXPECT_THAT(table_.program_map, ElementsAre(Pair(0, 0x0010), Pair(1, 0x0100)));
        EXPECT_EQ(table_.table_id_extension, 0x0720u);
        EXPECT_FALSE(table_.cleared);
    }

    log_capture log_;
    pat table_;
};

TEST_F(Pat, IsEmptyWhenNew) {
    EXPECT_THAT(table_.program_map, IsEmpty());
    EXPECT_TRUE(table_.cleared);
    EXPECT_EQ(table_.section_size, 0u);
}

TEST_F(Pat, MapsProgramNumbersToPidsAndMasksTheReservedBits) {
    parse_exactly(table_, long_section(0x00, 0x0720,
                                       section_writer()
                                           .bits(16, 0x0000)     // program_number
                                           .bits(16, 0xE010)     // reserved, network_PID
                                           .bits(16, 0x0001)     // program_number
                                           .bits(16, 0xE100)));  // reserved, program_map_PID
    EXPECT_THAT(table_.program_map, ElementsAre(Pair(0, 0x0010), Pair(1, 0x0100)));
}

TEST_F(Pat, KeepsAllSixteenBitsOfANumberAndAllThirteenOfAPid) {
    parse_exactly(table_, pat_section(1, program(0xE760, 0x1FC8) + program(0xFFFF, 0x1FFF)));
    EXPECT_THAT(table_.program_map, ElementsAre(Pair(0xE760, 0x1FC8), Pair(0xFFFF, 0x1FFF)));
}

TEST_F(Pat, LeavesTheRestOfTheHeaderInTheBase) {
    parse_exactly(table_, pat_section(0x0720, program(1, 0x0100), {21, 0, 2, 3}));
    EXPECT_EQ(table_.table_id, 0x00u);
    EXPECT_EQ(table_.section_size, 16u);
    EXPECT_EQ(table_.table_id_extension, 0x0720u);
    EXPECT_EQ(table_.version_number, 21u);
    EXPECT_EQ(table_.current_next_indicator, 0u);
    EXPECT_EQ(table_.section_number, 2u);
    EXPECT_EQ(table_.last_section_number, 3u);
}

TEST_F(Pat, WithoutEntriesHasNoProgrammesButItsTransportStream) {
    const bytes section = pat_section(0x0720, {});
    ASSERT_EQ(section.size(), 12u);
    parse_exactly(table_, section);
    EXPECT_THAT(table_.program_map, IsEmpty());
    EXPECT_EQ(table_.table_id_extension, 0x0720u);
    EXPECT_FALSE(table_.cleared);
}

TEST_F(Pat, KeepsTheLaterPidOfARepeatedProgramNumber) {
    parse_exactly(table_,
                  pat_section(1, program(5, 0x0100) + program(6, 0x0200) + program(5, 0x0300)));
    EXPECT_THAT(table_.program_map, ElementsAre(Pair(5, 0x0300), Pair(6, 0x0200)));
}

TEST_F(Pat, ListsProgrammesInAscendingOrder) {
    parse_exactly(table_, pat_section(1, program(0xE761, 0x0103) + program(0xE760, 0x0102) +
                                             program(0, 0x0010)));
    EXPECT_THAT(table_.program_map,
                ElementsAre(Pair(0, 0x0010), Pair(0xE760, 0x0102), Pair(0xE761, 0x0103)));
}

TEST_F(Pat, TakesALastEntryThatStartsBeforeTheCrcFromTheCrc) {
    const bytes section = section_writer()
                              .bits(8, 0x00)      // table_id
                              .bits(4, 0xB)       // section_syntax_indicator, 0, reserved
                              .bits(12, 11)       // section_length
                              .bits(16, 0x0720)   // transport_stream_id
                              .bits(8, 0xC1)      // reserved, version_number, current_next
                              .bits(16, 0x0000)   // section_number, last_section_number
                              .bits(16, 0x0009)   // program_number
                              .bits(16, 0xF123)   // CRC_32, first half
                              .bits(16, 0x4567);  // CRC_32, second half
    ASSERT_EQ(section.size(), 14u);
    parse_exactly(table_, section);
    EXPECT_THAT(table_.program_map, ElementsAre(Pair(0x0009, 0x1123)));
}

TEST_F(Pat, IsNotHeldToItsTableIdItsCurrentNextIndicatorOrItsCrc) {
    bytes section = long_section(0x77, 0x0720, program(1, 0x0100), {0, 0, 0, 0});
    section.back() ^= 0xFFu;  // CRC_32
    parse_exactly(table_, section);
    EXPECT_EQ(table_.table_id, 0x77u);
    EXPECT_THAT(table_.program_map, ElementsAre(Pair(1, 0x0100)));
}

TEST_F(Pat, HoldsTheProgrammesOfTheLastSectionOnly) {
    hold_two_programmes();
    parse_exactly(table_, pat_section(0x0720, program(2, 0x0200), {0, 1, 1, 1}));
    EXPECT_THAT(table_.program_map, ElementsAre(Pair(2, 0x0200)));
}

TEST_F(Pat, WithoutSyntaxIndicatorChangesNothingInTwoBytesOrInMore) {
    hold_two_programmes();
    EXPECT_EQ(answer_of(table_, {0x00, 0x30}), "accepted");
    expect_two_programmes();

    bytes section = pat_section(0x0999, program(9, 0x0900));
    section[1] = section[1] & 0x7Fu;  // section_syntax_indicator
    EXPECT_EQ(answer_of(table_, section), "accepted");
    expect_two_programmes();
    EXPECT_EQ(log_.text(), "");
}

TEST_F(Pat, ThatIsShortIsRefusedAndHoldsNothing) {
    hold_two_programmes();
    EXPECT_EQ(answer_of(table_, {0x00, 0xB0, 0x03, 0x00, 0x01, 0xC1}),
              "parse_header: short buffer");
    EXPECT_THAT(table_.program_map, IsEmpty());
    EXPECT_TRUE(table_.cleared);
    EXPECT_EQ(table_.table_id_extension, 0x0720u);  // untouched by the refused section
    EXPECT_THAT(log_.statements(), ElementsAre("<si_parser> ERROR: Short buffer, aborting parse"));
}

TEST_F(Pat, OfAnotherSizeThanItSaysIsRefusedAndHoldsNothing) {
    hold_two_programmes();
    EXPECT_EQ(answer_of(table_, pat_section(0x0999, program(9, 0x0900)) + bytes{0xFF}),
              "parse_header: section length != size");
    EXPECT_THAT(table_.program_map, IsEmpty());
    EXPECT_FALSE(table_.cleared);
    EXPECT_EQ(table_.table_id_extension, 0x0999u);  // the refused section's
    EXPECT_THAT(log_.statements(),
                ElementsAre("<si_parser> ERROR: Section length <> size, aborting parse"));
}

TEST_F(Pat, IsUsedAgainAfterARefusal) {
    EXPECT_EQ(answer_of(table_, pat_section(0x0999, {}) + bytes{0xFF}),
              "parse_header: section length != size");
    hold_two_programmes();
    expect_two_programmes();
}

TEST_F(Pat, LogsNothingOfItsOwn) {
    hold_two_programmes();
    EXPECT_EQ(log_.text(), "");
}

TEST_F(Pat, ClearDropsProgrammesAndKeepsTheHeader) {
    hold_two_programmes();
    table_.clear();
    EXPECT_THAT(table_.program_map, IsEmpty());
    EXPECT_TRUE(table_.cleared);
    EXPECT_EQ(table_.table_id_extension, 0x0720u);
    EXPECT_EQ(table_.section_size, 20u);
}

TEST_F(Pat, ClearReachesTheBase) {
    bytes loop = {0x52, 0x01, 0x07};  // a stream identifier
    table_._parse_descriptors(loop.data(), 3);
    ASSERT_EQ(table_.get_descriptors().size(), 1u);
    table_.clear();
    EXPECT_THAT(table_.get_descriptors(), IsEmpty());
}

TEST_F(Pat, ParseClearsThroughTheVirtualTable) {
    clear_counter<pat> table;
    parse_exactly(table, pat_section(1, program(1, 0x0100)));
    EXPECT_EQ(table.clears, 1);
}

}  // namespace
}  // namespace orvix::si_parser
