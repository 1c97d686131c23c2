#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <isdb_sections.h>
#include <log_capture.h>
#include <parse_exactly.h>
#include <si_parser/tot.h>

#include <cstdint>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "table_matchers.h"

namespace orvix::si_parser {
namespace {

using namespace orvix::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::ThrowsMessage;

const bytes afternoon = utc_time(0xC079, 0x124500);  // 1993-10-13 12:45:00
constexpr time_t afternoon_seconds = 750516300;

const bytes brasilia = describe_local_time_offsets(
    local_time_offset("BRA", 1, 1, 0x0300, utc_time(0xC0FE, 0x000000), 0x0200));
const bytes stream_identifier = describe_stream_identifier(0x07);

/// What follows the time is what a test is about.
bytes tot_with(const bytes& behind_the_time) {
    return short_section(0x73, afternoon + behind_the_time);
}

bytes all_bits_of_loop_length(std::uint16_t value) { return section_writer().bits(16, value); }

class Tot : public testing::Test {
protected:
    log_capture log_;
    tot table_;
};

TEST_F(Tot, IsEmptyBeforeItsFirstSection) {
    EXPECT_EQ(table_.utc_time, 0);
    EXPECT_EQ(table_.table_id, 0u);
    EXPECT_TRUE(table_.cleared);
    EXPECT_THAT(table_.descriptors, IsEmpty());
}

TEST_F(Tot, ReadsTheTimeAndTheLocalTimeOffset) {
    parse_exactly(table_, tot_section(afternoon, brasilia));
    EXPECT_EQ(table_.utc_time, afternoon_seconds);
    EXPECT_EQ(table_.table_id, 0x73u);
    ASSERT_THAT(table_.get_descriptors(), Tags(0x58));
    const auto offset = table_.get_descriptor<localtime_offset_descriptor>(0x58);
    EXPECT_EQ(offset->country_code, "BRA");
    EXPECT_EQ(offset->local_time_offset, 0x0300);
}

// --- Its loop ---

TEST_F(Tot, ReadsOnlyTheFirstDescriptorWhateverTheLoopsLength) {
    parse_exactly(table_, tot_section(afternoon, brasilia + stream_identifier + brasilia));
    EXPECT_THAT(table_.get_descriptors(), Tags(0x58));
    EXPECT_THAT(log_.statements(), ElementsAre("<parse> DEBUG: i [0] type [0x58] size 1"));
}

TEST_F(Tot, HoldsNothingWhereTheFirstDescriptorIsUnknown) {
    parse_exactly(table_, tot_section(afternoon, test::descriptor(0x80) + brasilia));
    EXPECT_THAT(table_.get_descriptors(), IsEmpty());
    EXPECT_THAT(log_.statements(), ElementsAre("<parse> DEBUG: i [0] type [0x80] size 1",
                                               "<parse> DEBUG2: Unknown descriptor 80"));
}

TEST_F(Tot, CountsTheReservedBitsAsLength) {
    // The loop is empty, but what stands where the CRC_32 does is taken for a descriptor.
    parse_exactly(table_, tot_with(all_bits_of_loop_length(0xF000) + stream_identifier));
    EXPECT_THAT(table_.get_descriptors(), Tags(0x52));
}

TEST_F(Tot, CountsEachBitOfTheLength) {
    for (int bit = 0; bit < 16; ++bit) {
        const auto length = static_cast<std::uint16_t>(1 << bit);
        parse_exactly(table_, tot_with(all_bits_of_loop_length(length) + stream_identifier));
        EXPECT_THAT(table_.get_descriptors(), Tags(0x52)) << length;
    }
}

TEST_F(Tot, SkipsTheLoopWhereAllSixteenBitsOfItsLengthAreClear) {
    parse_exactly(table_, tot_with(all_bits_of_loop_length(0x0000) + stream_identifier));
    EXPECT_EQ(table_.utc_time, afternoon_seconds);
    EXPECT_THAT(table_.get_descriptors(), IsEmpty());
    EXPECT_EQ(log_.text(), "");
}

TEST_F(Tot, TakesADescriptorAsAnnouncedThatOverrunsTheBuffer) {
    const bytes eleven_bytes = tot_with(all_bits_of_loop_length(0xF003) + bytes{0x52});
    ASSERT_THAT(eleven_bytes, SizeIs(11));
    parse_with_spare_bytes(table_, eleven_bytes, {0x01, 0x09});
    ASSERT_THAT(table_.get_descriptors(), Tags(0x52));
    EXPECT_EQ(table_.get_descriptor<stream_identifier_descriptor>(0x52)->component_tag, 9);
}

TEST_F(Tot, TenBytesGiveTheTimeAndNoDescriptor) {
    const bytes ten_bytes = tot_with(all_bits_of_loop_length(0xF003));
    ASSERT_THAT(ten_bytes, SizeIs(10));
    parse_with_spare_bytes(table_, ten_bytes, stream_identifier);
    EXPECT_EQ(table_.utc_time, afternoon_seconds);
    EXPECT_THAT(table_.get_descriptors(), IsEmpty());
    EXPECT_EQ(log_.text(), "");
}

// --- What it refuses and what it lets pass ---

TEST_F(Tot, RefusesNineBytes) {
    const bytes nine_bytes = tot_with({0xF0});
    ASSERT_THAT(nine_bytes, SizeIs(9));
    EXPECT_THAT([&] { parse_exactly(table_, nine_bytes); },
                ThrowsMessage<std::runtime_error>("Aborting tot parse"));
    EXPECT_THAT(log_.statements(), ElementsAre("<tot> ERROR: parse: size is < 10"));
    EXPECT_EQ(log_.lines().at(0).file, "si_parser/src/tot.cpp");
}

TEST_F(Tot, RefusesNothingAtAllWithoutLookingAtIt) {
    EXPECT_THAT([&] { table_.parse(nullptr, 0); },
                ThrowsMessage<std::runtime_error>("Aborting tot parse"));
}

TEST_F(Tot, ARefusedBufferChangesNothing) {
    parse_exactly(table_, tot_section(afternoon, brasilia));
    table_.cleared = false;
    const bytes nine_bytes = short_section(0x99, utc_time(1, 2) + bytes{0xF0});
    EXPECT_THAT([&] { parse_exactly(table_, nine_bytes); },
                ThrowsMessage<std::runtime_error>("Aborting tot parse"));
    EXPECT_EQ(table_.utc_time, afternoon_seconds);
    EXPECT_EQ(table_.table_id, 0x73u);
    EXPECT_FALSE(table_.cleared);
    EXPECT_THAT(table_.get_descriptors(), Tags(0x58));
}

TEST_F(Tot, RefusesSilentlyBelowLevelError) {
    const log_capture log(OrvixLog::PLAIN);
    EXPECT_THAT([&] { parse_exactly(table_, tot_with({0xF0})); },
                ThrowsMessage<std::runtime_error>("Aborting tot parse"));
    EXPECT_EQ(log.text(), "");
}

TEST_F(Tot, RefusesSilentlyWhileItsCategoryIsDisabled) {
    OrvixLog::add_disabled_category("tot");
    EXPECT_THAT([&] { parse_exactly(table_, tot_with({0xF0})); },
                ThrowsMessage<std::runtime_error>("Aborting tot parse"));
    EXPECT_EQ(log_.text(), "");
}

TEST_F(Tot, LooksAtNeitherTableIdNorSyntaxIndicatorNorLengthNorCrc) {
    parse_exactly(table_, section_writer()
                              .bits(8, 0x4E)   // the table_id of an EIT
                              .bits(1, 1)      // section_syntax_indicator
                              .bits(3, 0)      // reserved
                              .bits(12, 4095)  // section_length
                              .append(afternoon)
                              .append(loop12(stream_identifier))
                              .bits(32, 0));  // CRC_32
    EXPECT_EQ(table_.utc_time, afternoon_seconds);
    EXPECT_EQ(table_.table_id, 0x4Eu);
    EXPECT_THAT(table_.get_descriptors(), Tags(0x52));
    EXPECT_THAT(log_.messages(), SizeIs(1));  // that of the descriptor loop
}

TEST_F(Tot, LeavesTheOtherHeaderFieldsAsTheyWere) {
    table_.section_size = 1;
    table_.version_number = 2;
    table_.table_id_extension = 3;
    table_.current_next_indicator = 4;
    table_.section_number = 5;
    table_.last_section_number = 6;
    parse_exactly(table_, tot_section(afternoon, brasilia));
    EXPECT_EQ(table_.section_size, 1u);
    EXPECT_EQ(table_.version_number, 2u);
    EXPECT_EQ(table_.table_id_extension, 3u);
    EXPECT_EQ(table_.current_next_indicator, 4u);
    EXPECT_EQ(table_.section_number, 5u);
    EXPECT_EQ(table_.last_section_number, 6u);
}

TEST_F(Tot, IsStillClearedAfterASection) {
    table_.cleared = false;
    parse_exactly(table_, tot_section(afternoon, brasilia));
    EXPECT_TRUE(table_.cleared);
}

TEST_F(Tot, ConvertsAnUndefinedTimeLikeAnyOther) {
    parse_exactly(table_, tot_section(utc_time(0xFFFF, 0xFFFFFF), brasilia));
    EXPECT_EQ(table_.utc_time, -2138856031);
}

// --- Reuse, clearing, lifetime ---

TEST_F(Tot, EachSectionReplacesTheOneBefore) {
    parse_exactly(table_, tot_section(afternoon, brasilia));
    parse_exactly(table_, tot_section(utc_time(40587, 0x000001), stream_identifier));
    EXPECT_EQ(table_.utc_time, 1);
    EXPECT_THAT(table_.get_descriptors(), Tags(0x52));
}

TEST_F(Tot, EmptiesItselfThroughTheVirtualClear) {
    clear_counter<tot> table;
    parse_exactly(table, tot_section(afternoon, brasilia));
    EXPECT_EQ(table.clears, 1);
    EXPECT_THROW(table.parse(nullptr, 0), std::runtime_error);
    EXPECT_EQ(table.clears, 1);
}

TEST_F(Tot, ClearDropsTheDescriptorsAndKeepsTheTime) {
    parse_exactly(table_, tot_section(afternoon, brasilia));
    table_.clear();
    EXPECT_THAT(table_.get_descriptors(), IsEmpty());
    EXPECT_EQ(table_.utc_time, afternoon_seconds);
    EXPECT_EQ(table_.table_id, 0x73u);
}

TEST_F(Tot, ItsDescriptorOutlivesIt) {
    auto table = std::make_unique<tot>();
    parse_exactly(*table, tot_section(afternoon, brasilia));
    const auto offset = table->get_descriptor<localtime_offset_descriptor>(0x58);
    table.reset();
    EXPECT_EQ(offset->country_code, "BRA");
}

TEST_F(Tot, IsParsedAndDestroyedThroughItsBase) {
    std::vector<std::string> farewells;
    auto table = std::make_unique<tot>();
    const tot& time = *table;
    std::unique_ptr<psi_table> base = std::move(table);
    parse_exactly(*base, tot_section(afternoon, brasilia));
    EXPECT_EQ(time.utc_time, afternoon_seconds);
    base->descriptors = {says_farewell("table", farewells)};
    base.reset();
    EXPECT_THAT(farewells, ElementsAre("table"));
}

TEST_F(Tot, KeepsItsFieldBehindThoseOfTheBase) {
    EXPECT_THAT((std::vector<const void*>{&table_.descriptors, &table_.utc_time}),
                AreInMemoryOrder());
}

}  // namespace
}  // namespace orvix::si_parser
