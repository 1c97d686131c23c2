#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <isdb_sections.h>
#include <log_capture.h>
#include <parse_exactly.h>
#include <si_parser/tdt.h>

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

/// A broadcast TDT with the spare byte that it is handed over with.
const bytes afternoon_section = tdt_section(afternoon) + bytes{0xEE};

class Tdt : public testing::Test {
protected:
    log_capture log_;
    tdt table_;
};

TEST_F(Tdt, IsEmptyBeforeItsFirstSection) {
    EXPECT_EQ(table_.utc_time, 0);
    EXPECT_EQ(table_.table_id, 0u);
    EXPECT_TRUE(table_.cleared);
    EXPECT_THAT(table_.descriptors, IsEmpty());
}

TEST_F(Tdt, ReadsTheTimeOfNineBytes) {
    ASSERT_THAT(afternoon_section, SizeIs(9));
    parse_exactly(table_, afternoon_section);
    EXPECT_EQ(table_.utc_time, afternoon_seconds);
    EXPECT_EQ(table_.table_id, 0x70u);
    EXPECT_EQ(log_.text(), "");
}

TEST_F(Tdt, RefusesTheEightBytesOfAWholeSection) {
    const bytes section = tdt_section(afternoon);
    ASSERT_THAT(section, SizeIs(8));
    EXPECT_THAT([&] { parse_exactly(table_, section); },
                ThrowsMessage<std::runtime_error>("Aborting tdt parse"));
    EXPECT_THAT(log_.statements(), ElementsAre("<tdt> ERROR: parse: size is < 9"));
    EXPECT_EQ(log_.lines().at(0).file, "si_parser/src/tdt.cpp");
}

TEST_F(Tdt, RefusesNothingAtAllWithoutLookingAtIt) {
    EXPECT_THAT([&] { table_.parse(nullptr, 0); },
                ThrowsMessage<std::runtime_error>("Aborting tdt parse"));
}

TEST_F(Tdt, LooksAtNoByteBehindTheTime) {
    const exact_block eight_bytes(tdt_section(afternoon));
    table_.parse(eight_bytes.data(), 9);
    EXPECT_EQ(table_.utc_time, afternoon_seconds);
}

TEST_F(Tdt, TakesLongerBuffersToo) {
    parse_exactly(table_, tdt_section(afternoon) + bytes(200, 0xEE));
    EXPECT_EQ(table_.utc_time, afternoon_seconds);
}

TEST_F(Tdt, ARefusedBufferChangesNothing) {
    parse_exactly(table_, afternoon_section);
    table_.descriptors = parse_loop(describe_stream_identifier(7));
    table_.cleared = false;
    const bytes short_buffer = short_section(0x99, utc_time(1, 2));
    EXPECT_THAT([&] { parse_exactly(table_, short_buffer); },
                ThrowsMessage<std::runtime_error>("Aborting tdt parse"));
    EXPECT_EQ(table_.utc_time, afternoon_seconds);
    EXPECT_EQ(table_.table_id, 0x70u);
    EXPECT_FALSE(table_.cleared);
    EXPECT_THAT(table_.get_descriptors(), Tags(0x52));
}

TEST_F(Tdt, RefusesSilentlyBelowLevelError) {
    const log_capture log(OrvixLog::PLAIN);
    EXPECT_THAT([&] { parse_exactly(table_, tdt_section(afternoon)); },
                ThrowsMessage<std::runtime_error>("Aborting tdt parse"));
    EXPECT_EQ(log.text(), "");
}

TEST_F(Tdt, RefusesSilentlyWhileItsCategoryIsDisabled) {
    OrvixLog::add_disabled_category("tdt");
    EXPECT_THAT([&] { parse_exactly(table_, tdt_section(afternoon)); },
                ThrowsMessage<std::runtime_error>("Aborting tdt parse"));
    EXPECT_EQ(log_.text(), "");
}

TEST_F(Tdt, LooksAtNeitherTableIdNorSyntaxIndicatorNorLength) {
    parse_exactly(table_, section_writer()
                              .bits(8, 0x4E)   // the table_id of an EIT
                              .bits(1, 1)      // section_syntax_indicator
                              .bits(3, 0)      // reserved
                              .bits(12, 4095)  // section_length
                              .append(afternoon)
                              .bits(8, 0xEE));
    EXPECT_EQ(table_.utc_time, afternoon_seconds);
    EXPECT_EQ(table_.table_id, 0x4Eu);
    EXPECT_EQ(log_.text(), "");
}

TEST_F(Tdt, LeavesTheOtherHeaderFieldsAsTheyWere) {
    table_.section_size = 1;
    table_.version_number = 2;
    table_.table_id_extension = 3;
    table_.current_next_indicator = 4;
    table_.section_number = 5;
    table_.last_section_number = 6;
    parse_exactly(table_, afternoon_section);
    EXPECT_EQ(table_.section_size, 1u);
    EXPECT_EQ(table_.version_number, 2u);
    EXPECT_EQ(table_.table_id_extension, 3u);
    EXPECT_EQ(table_.current_next_indicator, 4u);
    EXPECT_EQ(table_.section_number, 5u);
    EXPECT_EQ(table_.last_section_number, 6u);
}

TEST_F(Tdt, IsStillClearedAfterASection) {
    table_.cleared = false;
    parse_exactly(table_, afternoon_section);
    EXPECT_TRUE(table_.cleared);
}

TEST_F(Tdt, NeverHasDescriptors) {
    table_.descriptors = parse_loop(describe_stream_identifier(7));
    parse_exactly(table_, afternoon_section);
    EXPECT_THAT(table_.get_descriptors(), IsEmpty());
}

TEST_F(Tdt, ConvertsAnUndefinedTimeLikeAnyOther) {
    parse_exactly(table_, tdt_section(utc_time(0xFFFF, 0xFFFFFF)) + bytes{0xEE});
    EXPECT_EQ(table_.utc_time, -2138856031);
}

TEST_F(Tdt, EachSectionReplacesTheOneBefore) {
    parse_exactly(table_, afternoon_section);
    parse_exactly(table_, tdt_section(utc_time(40587, 0x000001)) + bytes{0xEE});
    EXPECT_EQ(table_.utc_time, 1);
}

TEST_F(Tdt, EmptiesItselfThroughTheVirtualClear) {
    clear_counter<tdt> table;
    parse_exactly(table, afternoon_section);
    EXPECT_EQ(table.clears, 1);
    EXPECT_THROW(table.parse(nullptr, 0), std::runtime_error);
    EXPECT_EQ(table.clears, 1);
}

TEST_F(Tdt, ClearKeepsTheTime) {
    parse_exactly(table_, afternoon_section);
    table_.clear();
    EXPECT_EQ(table_.utc_time, afternoon_seconds);
    EXPECT_EQ(table_.table_id, 0x70u);
}

TEST_F(Tdt, IsParsedAndDestroyedThroughItsBase) {
    std::vector<std::string> farewells;
    auto table = std::make_unique<tdt>();
    const tdt& time = *table;
    std::unique_ptr<psi_table> base = std::move(table);
    parse_exactly(*base, afternoon_section);
    EXPECT_EQ(time.utc_time, afternoon_seconds);
    base->descriptors = {says_farewell("table", farewells)};
    base.reset();
    EXPECT_THAT(farewells, ElementsAre("table"));
}

TEST_F(Tdt, KeepsItsFieldBehindThoseOfTheBase) {
    EXPECT_THAT((std::vector<const void*>{&table_.descriptors, &table_.utc_time}),
                AreInMemoryOrder());
}

}  // namespace
}  // namespace orvix::si_parser
