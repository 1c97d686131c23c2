#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <isdb_sections.h>
#include <log_capture.h>
#include <parse_exactly.h>
#include <si_parser/ait.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "table_matchers.h"

namespace orvix::si_parser {
namespace {

using namespace orvix::test;
using testing::ElementsAre;
using testing::FieldsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::ThrowsMessage;

constexpr std::uint16_t ginga_ncl = 0x0009;
constexpr std::uint8_t autostart = 1;
constexpr std::uint8_t present = 2;

const bytes stream_identifier = describe_stream_identifier(0x07);
const bytes genre = describe_content({0x00, 0xFF});
const bytes name = describe_application_names(application_name("por", "Enquete"));
const bytes location = describe_ginga_location(0x07, "/", "", "main.ncl");

/// An AIT whose application_loop_length is whatever the test says.
bytes ait_section_with_loop_length(unsigned int application_loop_length, const bytes& common,
                                   const bytes& applications) {
    return long_section(0x74, ginga_ncl,
                        section_writer()
                            .append(loop12(common))
                            .bits(4, 0xF)  // reserved_future_use
                            .bits(12, application_loop_length)
                            .append(applications));
}

/// A common descriptor and one application with its name. The loop's length is long enough for the
/// application to be listed in spite of the common descriptor.
const bytes poll = ait_section(0x8009, stream_identifier, application(10, 1, autostart, name));

class Ait : public testing::Test {
protected:
    log_capture log_;
    ait table_;
};

TEST_F(Ait, IsEmptyBeforeItsFirstSection) {
    EXPECT_EQ(table_.application_type, 0u);
    EXPECT_EQ(table_.table_id, 0u);
    EXPECT_TRUE(table_.cleared);
    EXPECT_THAT(table_.applications, IsEmpty());
    EXPECT_THAT(table_.descriptors, IsEmpty());
}

TEST_F(Ait, KeepsApplicationsInSectionOrderRepeatsIncluded) {
    parse_exactly(table_, ait_section(ginga_ncl, {},
                                      application(10, 2, present) +
                                          application(10, 1, autostart, name + location) +
                                          application(10, 2, autostart, location)));
    EXPECT_THAT(table_.applications, ElementsAre(FieldsAre(10, 2, present, Tags()),
                                                 FieldsAre(10, 1, autostart, Tags(0x01, 0x07)),
                                                 FieldsAre(10, 2, autostart, Tags(0x07))));
}

TEST_F(Ait, KeepsAllBitsOfEachIdentifier) {
    parse_exactly(table_, ait_section(0xFEDC, {}, application(0xFBFAF9F8, 0xF7F6, 0xF5, name)));
    EXPECT_EQ(table_.application_type, 0xFEDCu);
    EXPECT_THAT(table_.applications, ElementsAre(FieldsAre(0xFBFAF9F8u, 0xF7F6, 0xF5, Tags(0x01))));
}

TEST_F(Ait, KeepsTheTestFlagAsPartOfTheApplicationType) {
    parse_exactly(table_, ait_section(0x8009, {}, {}));
    EXPECT_EQ(table_.application_type, 0x8009u);
}

TEST_F(Ait, DecodesTheLongHeader) {
    parse_exactly(table_, ait_section(ginga_ncl, {}, {}, {17, 1, 2, 3}));
    EXPECT_EQ(table_.table_id, 0x74u);
    EXPECT_EQ(table_.table_id_extension, 0x0009u);
    EXPECT_EQ(table_.section_size, 16u);
    EXPECT_EQ(table_.version_number, 17u);
    EXPECT_EQ(table_.current_next_indicator, 1u);
    EXPECT_EQ(table_.section_number, 2u);
    EXPECT_EQ(table_.last_section_number, 3u);
    EXPECT_FALSE(table_.cleared);
}

TEST_F(Ait, KeepsTheCommonDescriptorsAsTheTablesOwn) {
    parse_exactly(table_, ait_section(ginga_ncl, stream_identifier + name, {}));
    EXPECT_THAT(table_.get_descriptors(), Tags(0x52, 0x01));
    EXPECT_EQ(table_.get_descriptor<stream_identifier_descriptor>(0x52)->component_tag, 0x07);
}

TEST_F(Ait, KeepsTheDescriptorsOfEachApplicationInItsRecord) {
    parse_exactly(table_, ait_section(ginga_ncl, {},
                                      application(10, 1, autostart, name) +
                                          application(10, 2, present, name + location)));
    EXPECT_THAT(table_.get_descriptors(), IsEmpty());
    ASSERT_THAT(table_.applications, SizeIs(2));
    const auto second = table_.get_descriptor_from<ginga_location_descriptor>(
        0x07, table_.applications[1].descriptors);
    EXPECT_EQ(second->initial_class, "main.ncl");
}

TEST_F(Ait, AnApplicationWithoutDescriptorsIsFollowedNineBytesLater) {
    parse_exactly(
        table_, ait_section(ginga_ncl, {},
                            application(10, 1, autostart) + application(11, 2, present, location)));
    EXPECT_THAT(table_.applications, ElementsAre(FieldsAre(10, 1, autostart, Tags()),
                                                 FieldsAre(11, 2, present, Tags(0x07))));
}

TEST_F(Ait, IgnoresTheReservedBitsAboveEachLength) {
    for (const unsigned int reserved : {0x0u, 0x5u, 0xFu}) {
        parse_exactly(table_, long_section(0x74, ginga_ncl,
                                           section_writer()
                                               .bits(4, reserved)
                                               .bits(12, 3)  // common_descriptors_length
                                               .append(stream_identifier)
                                               .bits(4, reserved)
                                               .bits(12, 28)  // application_loop_length
                                               .bits(32, 10)  // organisation_id
                                               .bits(16, 1)   // application_id
                                               .bits(8, autostart)
                                               .bits(4, reserved)
                                               .bits(12, 3)  // application_descriptors_loop_length
                                               .append(stream_identifier)
                                               .append(application(10, 2, present))));
        EXPECT_THAT(table_.get_descriptors(), Tags(0x52)) << reserved;
        EXPECT_THAT(table_.applications, ElementsAre(FieldsAre(10, 1, autostart, Tags(0x52)),
                                                     FieldsAre(10, 2, present, Tags())))
            << reserved;
    }
}

TEST_F(Ait, ReadsEachLengthWithAllItsTwelveBits) {
    const bytes long_descriptor = test::descriptor(0x80, bytes(254));  // 256 bytes, no known tag
    const bytes descriptors = long_descriptor + long_descriptor + stream_identifier;
    bytes applications;
    for (int i = 0; i < 200; ++i) applications = applications + application(10, 2, present);
    // Longer than the loop by what stands before it, so that all of it counts.
    parse_exactly(table_, ait_section_with_loop_length(
                              12 + 515 + (9 + 515) + 200 * 9, descriptors,
                              application(10, 1, autostart, descriptors) + applications));
    EXPECT_THAT(table_.get_descriptors(), Tags(0x52));
    ASSERT_THAT(table_.applications, SizeIs(201));
    EXPECT_THAT(table_.applications.front(), FieldsAre(10, 1, autostart, Tags(0x52)));
    EXPECT_THAT(table_.applications.back(), FieldsAre(10, 2, present, Tags()));
}

// --- The loop's length is an offset from the section's start ---

TEST_F(Ait, ListsAnApplicationThatBeginsBeforeTheOffsetAndEndsBehindIt) {
    const bytes thirty_one_bytes = test::descriptor(0x80, bytes(26)) + stream_identifier;
    ASSERT_THAT(thirty_one_bytes, SizeIs(31));
    parse_exactly(table_,
                  ait_section(ginga_ncl, {}, application(10, 1, autostart, thirty_one_bytes)));
    EXPECT_THAT(table_.applications, ElementsAre(FieldsAre(10, 1, autostart, Tags(0x52))));
}

TEST_F(Ait, ListsNoApplicationBehindThirtyBytesOfCommonDescriptors) {
    const bytes thirty_bytes = test::descriptor(0x80, bytes(28));
    const bytes forty_bytes = application(10, 1, autostart, test::descriptor(0x80, bytes(29)));
    ASSERT_THAT(thirty_bytes, SizeIs(30));
    ASSERT_THAT(forty_bytes, SizeIs(40));
    parse_exactly(table_, ait_section(ginga_ncl, thirty_bytes, forty_bytes));
    EXPECT_THAT(table_.applications, IsEmpty());
}

TEST_F(Ait, ListsTheSecondApplicationOnlyIfItBeginsBeforeTheOffset) {
    const bytes two_applications = application(10, 1, autostart) + application(10, 2, present);
    parse_exactly(table_, ait_section_with_loop_length(21, {}, two_applications));
    EXPECT_THAT(table_.applications, ElementsAre(FieldsAre(10, 1, autostart, Tags())));
    parse_exactly(table_, ait_section_with_loop_length(22, {}, two_applications));
    EXPECT_THAT(table_.applications, ElementsAre(FieldsAre(10, 1, autostart, Tags()),
                                                 FieldsAre(10, 2, present, Tags())));
}

TEST_F(Ait, ListsTheFirstApplicationOnlyIfItBeginsBeforeTheOffset) {
    parse_exactly(table_, ait_section_with_loop_length(12, {}, application(10, 1, autostart)));
    EXPECT_THAT(table_.applications, IsEmpty());
    parse_exactly(table_, ait_section_with_loop_length(13, {}, application(10, 1, autostart)));
    EXPECT_THAT(table_.applications, SizeIs(1));
}

TEST_F(Ait, CommonDescriptorsTakeTheirRoomFromTheApplications) {
    const bytes one_application = application(10, 1, autostart, stream_identifier);
    parse_exactly(table_, ait_section_with_loop_length(15, stream_identifier, one_application));
    EXPECT_THAT(table_.applications, IsEmpty());
    parse_exactly(table_, ait_section_with_loop_length(16, stream_identifier, one_application));
    EXPECT_THAT(table_.applications, ElementsAre(FieldsAre(10, 1, autostart, Tags(0x52))));
}

TEST_F(Ait, AnEmptyLoopListsNoApplication) {
    parse_exactly(table_, ait_section_with_loop_length(0, {}, application(10, 1, autostart)));
    EXPECT_EQ(table_.application_type, 0x0009u);
    EXPECT_THAT(table_.applications, IsEmpty());
}

TEST_F(Ait, ReadsOnBehindTheSectionWhereTheOffsetIsThere) {
    const bytes section = ait_section_with_loop_length(22, {}, application(10, 1, autostart));
    // The CRC_32 makes the second one's organisation_id, the spare bytes what follows.
    const std::uint32_t organisation_id = crc32_mpeg(section.data(), section.size() - 4);
    parse_with_spare_bytes(table_, section,
                           section_writer()
                               .bits(16, 2)  // application_id
                               .bits(8, present)
                               .append(loop12(name)));
    EXPECT_THAT(table_.applications,
                ElementsAre(FieldsAre(10, 1, autostart, Tags()),
                            FieldsAre(organisation_id, 2, present, Tags(0x01))));
}

TEST_F(Ait, TakesDescriptorsAsAnnouncedThatOverrunTheSectionAndThenStops) {
    const bytes section = ait_section_with_loop_length(
        30, {},
        section_writer()
            .bits(32, 10)  // organisation_id
            .bits(16, 1)   // application_id
            .bits(8, autostart)
            .bits(4, 0xF)
            .bits(12, 9)    // three bytes too many
            .bits(8, 0x80)  // a descriptor over the CRC_32, of no known tag
            .bits(8, 4));
    parse_with_spare_bytes(table_, section, stream_identifier);
    EXPECT_THAT(table_.applications, ElementsAre(FieldsAre(10, 1, autostart, Tags(0x52))));
}

TEST_F(Ait, FindsTheApplicationsWhereTheCommonDescriptorsAreSaidToEnd) {
    const bytes section = long_section(0x74, ginga_ncl,
                                       section_writer()
                                           .bits(4, 0xF)
                                           .bits(12, 9)    // ends three bytes behind the section
                                           .bits(8, 0x80)  // a descriptor of no known tag
                                           .bits(8, 7));   // that covers these nine bytes
    const bytes rest_of_descriptor = {0xEE, 0xEE, 0xEE};
    parse_with_spare_bytes(table_, section,
                           section_writer()
                               .append(rest_of_descriptor)
                               .bits(4, 0xF)
                               .bits(12, 22)  // application_loop_length
                               .append(application(10, 1, autostart)));
    EXPECT_THAT(table_.applications, ElementsAre(FieldsAre(10, 1, autostart, Tags())));
}

// --- What it refuses and what it lets pass ---

TEST_F(Ait, ASectionWithoutSyntaxIndicatorChangesNothing) {
    parse_exactly(table_, poll);
    const log_capture log;
    parse_exactly(table_, {0x74, 0x7F});
    EXPECT_EQ(table_.application_type, 0x8009u);
    EXPECT_FALSE(table_.cleared);
    EXPECT_THAT(table_.get_descriptors(), Tags(0x52));
    EXPECT_THAT(table_.applications, ElementsAre(FieldsAre(10, 1, autostart, Tags(0x01))));
    EXPECT_EQ(log.text(), "");
}

TEST_F(Ait, ASectionOfTheWrongSizeIsRefusedInItsOwnWords) {
    parse_exactly(table_, poll);
    const bytes with_stuffing = ait_section(1, {}, application(1, 1, 1)) + bytes{0xFF};
    const log_capture log;
    EXPECT_THAT([&] { parse_exactly(table_, with_stuffing); },
                ThrowsMessage<std::runtime_error>("Aborting ait parse"));
    EXPECT_THAT(log.statements(),
                ElementsAre("<si_parser> ERROR: Section length <> size, aborting parse",
                            "<ait> ERROR: Caught: parse_header: section length != size"));
    EXPECT_THAT(table_.applications, IsEmpty());
    EXPECT_THAT(table_.get_descriptors(), IsEmpty());
    EXPECT_FALSE(table_.cleared);
    EXPECT_EQ(table_.table_id_extension, 1u);     // the header has been decoded
    EXPECT_EQ(table_.application_type, 0x8009u);  // the body has not
}

TEST_F(Ait, AShortBufferIsRefusedInItsOwnWords) {
    parse_exactly(table_, poll);
    const bytes six_bytes = {0x74, 0xF0, 0x03, 0x09, 0x99, 0xC1};
    const log_capture log;
    EXPECT_THAT([&] { parse_exactly(table_, six_bytes); },
                ThrowsMessage<std::runtime_error>("Aborting ait parse"));
    EXPECT_THAT(log.statements(), ElementsAre("<si_parser> ERROR: Short buffer, aborting parse",
                                              "<ait> ERROR: Caught: parse_header: short buffer"));
    EXPECT_THAT(table_.applications, IsEmpty());
    EXPECT_THAT(table_.get_descriptors(), IsEmpty());
    EXPECT_TRUE(table_.cleared);
    EXPECT_EQ(table_.application_type, 0x8009u);
}

TEST_F(Ait, LogsItsRefusalFromLine27OfItsFile) {
    const bytes six_bytes = {0x74, 0xF0, 0x03, 0x09, 0x99, 0xC1};
    EXPECT_THROW(parse_exactly(table_, six_bytes), std::runtime_error);
    const log_line refusal = log_.lines().back();
    EXPECT_EQ(refusal.category, "ait");
    EXPECT_EQ(refusal.file, "si_parser/src/ait.cpp");
    EXPECT_EQ(refusal.line, 27);
}

TEST_F(Ait, RefusesSilentlyBelowLevelError) {
    const bytes six_bytes = {0x74, 0xF0, 0x03, 0x09, 0x99, 0xC1};
    const log_capture log(OrvixLog::PLAIN);
    EXPECT_THAT([&] { parse_exactly(table_, six_bytes); },
                ThrowsMessage<std::runtime_error>("Aborting ait parse"));
    EXPECT_EQ(log.text(), "");
}

TEST_F(Ait, RefusesWithoutItsLineWhileItsCategoryIsDisabled) {
    const bytes six_bytes = {0x74, 0xF0, 0x03, 0x09, 0x99, 0xC1};
    OrvixLog::add_disabled_category("ait");
    EXPECT_THAT([&] { parse_exactly(table_, six_bytes); },
                ThrowsMessage<std::runtime_error>("Aborting ait parse"));
    EXPECT_THAT(log_.statements(), ElementsAre("<si_parser> ERROR: Short buffer, aborting parse"));
}

TEST_F(Ait, ChecksNeitherTableIdNorCurrentNextIndicatorNorCrc) {
    bytes section = long_section(0x99, ginga_ncl, loop12({}) + loop12(application(10, 1, 1, name)),
                                 {0, 0, 5, 2});
    section.back() ^= 0xFF;
    parse_exactly(table_, section);
    EXPECT_EQ(table_.table_id, 0x99u);
    EXPECT_EQ(table_.current_next_indicator, 0u);
    EXPECT_THAT(table_.applications, SizeIs(1));
}

TEST_F(Ait, WritesNothingToTheLogForASectionItTakes) {
    parse_exactly(table_, ait_section_with_loop_length(
                              22, {}, application(10, 1, autostart) + application(10, 2, present)));
    EXPECT_THAT(table_.applications, SizeIs(2));
    EXPECT_EQ(log_.text(), "");  // nor does the descriptor loop, which has nothing to walk
}

// --- Reuse, clearing, lifetime ---

TEST_F(Ait, EachSectionReplacesTheOneBefore) {
    parse_exactly(table_, poll);
    parse_exactly(table_, ait_section(0x0001, genre, application(11, 2, present, location)));
    EXPECT_EQ(table_.application_type, 0x0001u);
    EXPECT_THAT(table_.get_descriptors(), Tags(0x54));
    EXPECT_THAT(table_.applications, ElementsAre(FieldsAre(11, 2, present, Tags(0x07))));
}

TEST_F(Ait, EmptiesItselfThroughTheVirtualClear) {
    clear_counter<ait> table;
    parse_exactly(table, poll);
    EXPECT_EQ(table.clears, 1);
    parse_exactly(table, {0x74, 0x7F});
    EXPECT_EQ(table.clears, 1);
}

TEST_F(Ait, ClearDropsTheListsAndKeepsTheIdentifiers) {
    parse_exactly(table_, poll);
    table_.clear();
    EXPECT_THAT(table_.applications, IsEmpty());
    EXPECT_THAT(table_.get_descriptors(), IsEmpty());
    EXPECT_TRUE(table_.cleared);
    EXPECT_EQ(table_.application_type, 0x8009u);
    EXPECT_EQ(table_.table_id_extension, 0x8009u);
    EXPECT_EQ(table_.table_id, 0x74u);
}

TEST_F(Ait, ClearLetsGoOfApplicationsBeforeCommonDescriptors) {
    std::vector<std::string> farewells;
    table_.descriptors = {says_farewell("common", farewells)};
    table_.applications.push_back({10, 1, autostart, {says_farewell("application", farewells)}});
    table_.clear();
    EXPECT_THAT(farewells, ElementsAre("application", "common"));
}

TEST_F(Ait, DestructionLetsGoOfApplicationsBeforeCommonDescriptors) {
    std::vector<std::string> farewells;
    auto table = std::make_unique<ait>();
    table->descriptors = {says_farewell("common", farewells)};
    table->applications.push_back({10, 1, autostart, {says_farewell("application", farewells)}});
    std::unique_ptr<psi_table> base = std::move(table);
    base.reset();
    EXPECT_THAT(farewells, ElementsAre("application", "common"));
}

TEST_F(Ait, IsParsedAndClearedThroughItsBase) {
    psi_table& base = table_;
    parse_exactly(base, poll);
    EXPECT_THAT(table_.applications, SizeIs(1));
    base.clear();
    EXPECT_THAT(table_.applications, IsEmpty());
}

TEST_F(Ait, CopiedApplicationsShareTheirDescriptorsWhichOutliveTheTable) {
    auto table = std::make_unique<ait>();
    parse_exactly(*table, poll);
    const ait::ait_application_info_t copy = table->applications.at(0);
    EXPECT_EQ(copy.descriptors, table->applications[0].descriptors);
    const auto common = table->get_descriptor<stream_identifier_descriptor>(0x52);
    const auto names =
        table->get_descriptor_from<application_name_descriptor>(0x01, copy.descriptors);
    table.reset();
    EXPECT_EQ(common->component_tag, 0x07);
    EXPECT_EQ(names->names.at(0).name, "Enquete");
}

TEST_F(Ait, KeepsItsFieldsInOrder) {
    EXPECT_THAT((std::vector<const void*>{&table_.descriptors, &table_.application_type,
                                          &table_.applications}),
                AreInMemoryOrder());
    const ait::ait_application_info_t application;
    EXPECT_THAT(
        (std::vector<const void*>{&application.organisation_id, &application.application_id,
                                  &application.application_control_code, &application.descriptors}),
        AreInMemoryOrder());
}

}  // namespace
}  // namespace orvix::si_parser
