#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <isdb_sections.h>
#include <log_capture.h>
#include <parse_exactly.h>
#include <si_parser/eit.h>

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
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::FieldsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::ThrowsMessage;

const bytes afternoon = utc_time(0xC079, 0x124500);  // 1993-10-13 12:45:00
constexpr time_t afternoon_seconds = 750516300;
const bytes undefined_time = utc_time(0xFFFF, 0xFFFFFF);

const bytes short_event = describe_short_event("por", "Jornal", "");
const bytes stream_identifier = describe_stream_identifier(0x07);
const bytes genre = describe_content({0x00, 0xFF});

const eit_identifiers service_1234 = {0x4E, 1234, 0x0721, 0x0720, 3, 0x4F};

/// The event that most tests give their service: event_id 7, 1:45:30 long.
bytes an_event(const bytes& descriptors = {}) {
    return event(7, afternoon, 0x014530, 4, 1, descriptors);
}

class Eit : public testing::Test {
protected:
    log_capture log_;
    eit table_;
};

TEST_F(Eit, IsEmptyBeforeItsFirstSection) {
    EXPECT_EQ(table_.service_id, 0u);
    EXPECT_EQ(table_.transport_stream_id, 0u);
    EXPECT_EQ(table_.original_network_id, 0u);
    EXPECT_EQ(table_.segment_last_section_number, 0u);
    EXPECT_EQ(table_.last_table_id, 0u);
    EXPECT_EQ(table_.table_id, 0u);
    EXPECT_TRUE(table_.cleared);
    EXPECT_THAT(table_.events, IsEmpty());
    EXPECT_THAT(table_.descriptors, IsEmpty());
}

TEST_F(Eit, KeepsEventsInSectionOrderRepeatsIncluded) {
    parse_exactly(
        table_,
        eit_section(service_1234, event(9, afternoon, 0x014530, 4, 1, short_event + genre) +
                                      event(8, utc_time(40587, 0x000001), 0x000002, 7, 0) +
                                      event(9, utc_time(40587, 0x000003), 0x235959, 1, 1, genre)));
    EXPECT_THAT(
        table_.events,
        ElementsAre(FieldsAre(9, afternoon_seconds, 6330, 4, 1, Tags(0x4D, 0x54)),
                    FieldsAre(8, 1, 2, 7, 0, Tags()), FieldsAre(9, 3, 86399, 1, 1, Tags(0x54))));
}

TEST_F(Eit, KeepsTheIdentifiersOfTheSection) {
    parse_exactly(table_, eit_section(service_1234, {}));
    EXPECT_EQ(table_.service_id, 1234u);
    EXPECT_EQ(table_.transport_stream_id, 0x0721u);
    EXPECT_EQ(table_.original_network_id, 0x0720u);
    EXPECT_EQ(table_.segment_last_section_number, 3u);
    EXPECT_EQ(table_.last_table_id, 0x4Fu);
}

TEST_F(Eit, KeepsAllBitsOfEachIdentifier) {
    parse_exactly(table_, eit_section({0x5F, 0xFFFE, 0xFDFC, 0xFBFA, 0xF9, 0xF8},
                                      event(0xF7F6, afternoon, 0x014530, 0, 0)));
    EXPECT_EQ(table_.service_id, 0xFFFEu);
    EXPECT_EQ(table_.transport_stream_id, 0xFDFCu);
    EXPECT_EQ(table_.original_network_id, 0xFBFAu);
    EXPECT_EQ(table_.segment_last_section_number, 0xF9u);
    EXPECT_EQ(table_.last_table_id, 0xF8u);
    EXPECT_THAT(table_.events,
                ElementsAre(FieldsAre(0xF7F6, afternoon_seconds, 6330, 0, 0, Tags())));
}

TEST_F(Eit, DecodesTheLongHeader) {
    parse_exactly(table_, eit_section(service_1234, {}, {17, 1, 2, 3}));
    EXPECT_EQ(table_.table_id, 0x4Eu);
    EXPECT_EQ(table_.table_id_extension, 1234u);
    EXPECT_EQ(table_.section_size, 18u);
    EXPECT_EQ(table_.version_number, 17u);
    EXPECT_EQ(table_.current_next_indicator, 1u);
    EXPECT_EQ(table_.section_number, 2u);
    EXPECT_EQ(table_.last_section_number, 3u);
    EXPECT_FALSE(table_.cleared);
}

TEST_F(Eit, KeepsDescriptorsInTheirEventAndNoneOfTheTablesOwn) {
    parse_exactly(
        table_, eit_section(service_1234, an_event(short_event) + an_event(describe_short_event(
                                                                      "por", "Novela", "Cap. 7"))));
    EXPECT_THAT(table_.get_descriptors(), IsEmpty());
    ASSERT_THAT(table_.events, SizeIs(2));
    const auto second =
        table_.get_descriptor_from<short_event_descriptor>(0x4D, table_.events[1].descriptors);
    EXPECT_EQ(second->event_name, "Novela");
    EXPECT_EQ(second->text, "Cap. 7");
}

TEST_F(Eit, ASectionWithoutEventsHoldsNone) {
    const bytes section = eit_section(service_1234, {});
    ASSERT_THAT(section, SizeIs(18));
    parse_exactly(table_, section);
    EXPECT_THAT(table_.events, IsEmpty());
    EXPECT_THAT(log_.statements(), ElementsAre("<eit> DEBUG2: Done parsing, found [0] events."));
}

TEST_F(Eit, AnEventWithoutDescriptorsIsFollowedTwelveBytesLater) {
    parse_exactly(table_, eit_section(service_1234, an_event() + event(8, afternoon, 1, 2, 0)));
    EXPECT_THAT(table_.events, ElementsAre(FieldsAre(7, afternoon_seconds, 6330, 4, 1, Tags()),
                                           FieldsAre(8, afternoon_seconds, 1, 2, 0, Tags())));
}

TEST_F(Eit, ConvertsUndefinedTimesLikeAnyOther) {
    parse_exactly(table_, eit_section(service_1234, event(7, undefined_time, 0xFFFFFF, 4, 1)));
    EXPECT_THAT(table_.events, ElementsAre(FieldsAre(7, -2138856031, 604065, 4, 1, Tags())));
}

TEST_F(Eit, TakesTheHighBitsOfTheLoopLengthFromTheStatusByte) {
    bytes descriptors;
    for (int i = 0; i < 14; ++i) {
        descriptors = descriptors + test::descriptor(0x80, bytes(255));  // 257 bytes, no known tag
    }
    descriptors = descriptors + test::descriptor(0x80, bytes(242)) + describe_stream_identifier(7);
    ASSERT_THAT(descriptors, SizeIs(0xF00 + 5));
    parse_exactly(table_, eit_section(service_1234, section_writer()
                                                        .bits(16, 7)  // event_id
                                                        .append(afternoon)
                                                        .bits(24, 0x014530)  // duration
                                                        .bits(8, 0x9F)  // status 4, scrambled, 0xF
                                                        .bits(8, 0x05)  // the length's low bits
                                                        .append(descriptors)
                                                        .append(event(8, afternoon, 1, 2, 0))));
    EXPECT_THAT(table_.events, ElementsAre(FieldsAre(7, afternoon_seconds, 6330, 4, 1, Tags(0x52)),
                                           FieldsAre(8, afternoon_seconds, 1, 2, 0, Tags())));
}

TEST_F(Eit, TellsEachRunningStatusFromTheScramblingFlag) {
    for (unsigned int bits = 0; bits < 16; ++bits) {
        parse_exactly(table_, eit_section(service_1234, section_writer()
                                                            .bits(16, 7)  // event_id
                                                            .append(afternoon)
                                                            .bits(24, 0x000001)  // duration
                                                            .bits(4, bits)
                                                            .bits(12, genre.size())
                                                            .append(genre)));
        EXPECT_THAT(table_.events, ElementsAre(FieldsAre(7, afternoon_seconds, 1, bits / 2,
                                                         bits % 2, Tags(0x54))));
    }
}

// --- Where its loop ends ---

TEST_F(Eit, ReadsAnEventWholeThatBeginsInTheLastByteBeforeTheCrc) {
    const bytes section = long_section(0x4E, 1234,
                                       section_writer()
                                           .bits(16, 0x0721)  // transport_stream_id
                                           .bits(16, 0x0720)  // original_network_id
                                           .bits(8, 0)        // segment_last_section_number
                                           .bits(8, 0x4E)     // last_table_id
                                           .bits(8, 0x12));   // half an event_id
    const std::uint32_t event_id = 0x1200u | section[15];     // completed by the CRC_32
    parse_with_spare_bytes(table_, section,
                           section_writer()
                               .bits(16, 0x0000)    // minutes and seconds of the start
                               .bits(24, 0x000009)  // duration
                               .bits(3, 5)          // running_status
                               .bits(1, 0)          // free_CA_mode
                               .bits(12, 3)         // descriptors_loop_length
                               .append(stream_identifier));
    EXPECT_THAT(table_.events, ElementsAre(AllOf(Field(&eit::event::event_id, event_id),
                                                 Field(&eit::event::duration, 9),
                                                 Field(&eit::event::running_status, 5u),
                                                 Field(&eit::event::descriptors, Tags(0x52)))));
}

TEST_F(Eit, ReadsNoEventThatWouldBeginInTheCrc) {
    // Behind the only event come just the four bytes of the CRC_32.
    parse_exactly(table_, eit_section(service_1234, an_event()));
    EXPECT_THAT(table_.events, SizeIs(1));
}

TEST_F(Eit, TakesDescriptorsAsAnnouncedThatOverrunTheSectionAndThenStops) {
    const bytes section = eit_section(service_1234, section_writer()
                                                        .append(an_event())
                                                        .bits(16, 8)  // event_id
                                                        .append(afternoon)
                                                        .bits(24, 0x000001)  // duration
                                                        .bits(3, 2)          // running_status
                                                        .bits(1, 0)          // free_CA_mode
                                                        .bits(12, 9)         // three bytes too many
                                                        .bits(8, 0x80)  // a descriptor over the
                                                        .bits(8, 4));   // CRC_32, of no known tag
    parse_with_spare_bytes(table_, section, stream_identifier);
    EXPECT_THAT(table_.events, ElementsAre(FieldsAre(7, afternoon_seconds, 6330, 4, 1, Tags()),
                                           FieldsAre(8, afternoon_seconds, 1, 2, 0, Tags(0x52))));
}

TEST_F(Eit, KeepsFarMoreEventsThanAByteCounts) {
    bytes events;
    for (std::uint16_t id = 0; id < 320; ++id) events = events + event(id, afternoon, 1, 0, 0);
    parse_exactly(table_, eit_section(service_1234, events));
    ASSERT_THAT(table_.events, SizeIs(320));
    for (std::uint16_t id = 0; id < 320; ++id) EXPECT_EQ(table_.events[id].event_id, id);
}

// --- What it refuses and what it lets pass ---

TEST_F(Eit, ASectionWithoutSyntaxIndicatorChangesNothing) {
    parse_exactly(table_, eit_section(service_1234, an_event(genre)));
    const log_capture log;
    parse_exactly(table_, {0x4E, 0x7F});
    EXPECT_EQ(table_.service_id, 1234u);
    EXPECT_FALSE(table_.cleared);
    EXPECT_THAT(table_.events,
                ElementsAre(FieldsAre(7, afternoon_seconds, 6330, 4, 1, Tags(0x54))));
    EXPECT_EQ(log.text(), "");
}

TEST_F(Eit, ARefusedSectionLeavesNoEventsAndTheIdentifiersOfTheOneBefore) {
    parse_exactly(table_, eit_section(service_1234, an_event(genre)));
    const bytes with_stuffing = eit_section({0x50, 1, 2, 3, 4, 5}, an_event()) + bytes{0xFF};
    const log_capture log;
    EXPECT_THAT([&] { parse_exactly(table_, with_stuffing); },
                ThrowsMessage<std::runtime_error>("parse_header: section length != size"));
    EXPECT_THAT(log.statements(),
                ElementsAre("<si_parser> ERROR: Section length <> size, aborting parse"));
    EXPECT_THAT(table_.events, IsEmpty());
    EXPECT_EQ(table_.table_id_extension, 1u);  // the header has been decoded
    EXPECT_EQ(table_.service_id, 1234u);       // the body has not
    EXPECT_EQ(table_.transport_stream_id, 0x0721u);
    EXPECT_EQ(table_.original_network_id, 0x0720u);
    EXPECT_EQ(table_.segment_last_section_number, 3u);
    EXPECT_EQ(table_.last_table_id, 0x4Fu);
}

TEST_F(Eit, AShortBufferIsRefusedAndLeavesItEmpty) {
    parse_exactly(table_, eit_section(service_1234, an_event(genre)));
    const bytes six_bytes = {0x4E, 0xF0, 0x03, 0x09, 0x99, 0xC1};
    const log_capture log;
    EXPECT_THAT([&] { parse_exactly(table_, six_bytes); },
                ThrowsMessage<std::runtime_error>("parse_header: short buffer"));
    EXPECT_THAT(log.statements(), ElementsAre("<si_parser> ERROR: Short buffer, aborting parse"));
    EXPECT_THAT(table_.events, IsEmpty());
    EXPECT_TRUE(table_.cleared);
    EXPECT_EQ(table_.table_id_extension, 1234u);
}

TEST_F(Eit, ChecksNeitherTableIdNorCurrentNextIndicatorNorCrc) {
    bytes section = eit_section({0x99, 1234, 0, 0, 0, 0}, an_event(), {0, 0, 5, 2});
    section.back() ^= 0xFF;
    parse_exactly(table_, section);
    EXPECT_EQ(table_.table_id, 0x99u);
    EXPECT_EQ(table_.current_next_indicator, 0u);
    EXPECT_THAT(table_.events, SizeIs(1));
}

// --- Its log ---

TEST_F(Eit, LogsEachEventBeforeItsDescriptorsAndTheirNumberAtTheEnd) {
    parse_exactly(table_, eit_section(service_1234, event(0x00AB, afternoon, 1, 0, 0, genre) +
                                                        event(0xFEDC, afternoon, 1, 0, 0, genre)));
    EXPECT_THAT(log_.statements(), ElementsAre("<eit> DEBUG2: Got event 0xab for service 1234",
                                               "<parse> DEBUG: i [0] type [0x54] size 4",
                                               "<eit> DEBUG2: Got event 0xfedc for service 1234",
                                               "<parse> DEBUG: i [0] type [0x54] size 4",
                                               "<eit> DEBUG2: Done parsing, found [2] events."));
    EXPECT_EQ(log_.lines().front().file, "si_parser/src/eit.cpp");
    EXPECT_EQ(log_.lines().back().file, "si_parser/src/eit.cpp");
}

TEST_F(Eit, LogsOnlyFromLevelDebug2On) {
    const bytes section = eit_section(service_1234, an_event());
    {
        const log_capture log(OrvixLog::DEBUG1);
        parse_exactly(table_, section);
        EXPECT_EQ(log.text(), "");
    }
    const log_capture log(OrvixLog::DEBUG2);
    parse_exactly(table_, section);
    EXPECT_THAT(log.messages(),
                ElementsAre("Got event 0x7 for service 1234", "Done parsing, found [1] events."));
}

TEST_F(Eit, LogsNothingWhileItsCategoryIsDisabled) {
    OrvixLog::add_disabled_category("eit");
    parse_exactly(table_, eit_section(service_1234, an_event()));
    EXPECT_EQ(log_.text(), "");
    EXPECT_THAT(table_.events, SizeIs(1));
}

// --- Reuse, clearing, lifetime ---

TEST_F(Eit, EachSectionReplacesTheOneBefore) {
    parse_exactly(table_, eit_section(service_1234, an_event(genre) + an_event()));
    parse_exactly(table_, eit_section({0x4E, 99, 1, 2, 3, 4}, event(8, afternoon, 1, 2, 0)));
    EXPECT_EQ(table_.service_id, 99u);
    EXPECT_THAT(table_.events, ElementsAre(FieldsAre(8, afternoon_seconds, 1, 2, 0, Tags())));
}

TEST_F(Eit, EmptiesItselfThroughTheVirtualClear) {
    clear_counter<eit> table;
    parse_exactly(table, eit_section(service_1234, an_event()));
    EXPECT_EQ(table.clears, 1);
    parse_exactly(table, {0x4E, 0x7F});
    EXPECT_EQ(table.clears, 1);
}

TEST_F(Eit, ClearDropsTheListsAndKeepsTheIdentifiers) {
    parse_exactly(table_, eit_section(service_1234, an_event(genre)));
    table_.descriptors = parse_loop(genre);
    table_.clear();
    EXPECT_THAT(table_.events, IsEmpty());
    EXPECT_THAT(table_.get_descriptors(), IsEmpty());
    EXPECT_TRUE(table_.cleared);
    EXPECT_EQ(table_.service_id, 1234u);
    EXPECT_EQ(table_.transport_stream_id, 0x0721u);
    EXPECT_EQ(table_.original_network_id, 0x0720u);
    EXPECT_EQ(table_.segment_last_section_number, 3u);
    EXPECT_EQ(table_.last_table_id, 0x4Fu);
    EXPECT_EQ(table_.table_id_extension, 1234u);
}

TEST_F(Eit, ClearLetsGoOfTheTablesOwnDescriptorsBeforeTheEvents) {
    std::vector<std::string> farewells;
    table_.descriptors = {says_farewell("table", farewells)};
    table_.events.push_back({7, 0, 0, 0, 0, {says_farewell("event", farewells)}});
    table_.clear();
    EXPECT_THAT(farewells, ElementsAre("table", "event"));
}

TEST_F(Eit, DestructionLetsGoOfEventsBeforeTheTablesOwnDescriptors) {
    std::vector<std::string> farewells;
    auto table = std::make_unique<eit>();
    table->descriptors = {says_farewell("table", farewells)};
    table->events.push_back({7, 0, 0, 0, 0, {says_farewell("event", farewells)}});
    std::unique_ptr<psi_table> base = std::move(table);
    base.reset();
    EXPECT_THAT(farewells, ElementsAre("event", "table"));
}

TEST_F(Eit, IsParsedAndClearedThroughItsBase) {
    psi_table& base = table_;
    parse_exactly(base, eit_section(service_1234, an_event()));
    EXPECT_THAT(table_.events, SizeIs(1));
    base.clear();
    EXPECT_THAT(table_.events, IsEmpty());
}

TEST_F(Eit, CopiedEventsShareTheirDescriptorsWhichOutliveTheTable) {
    auto table = std::make_unique<eit>();
    parse_exactly(*table, eit_section(service_1234, an_event(short_event)));
    const eit::event copy = table->events[0];
    EXPECT_EQ(copy.descriptors, table->events[0].descriptors);
    table.reset();
    ASSERT_THAT(copy.descriptors, Tags(0x4D));
    EXPECT_EQ(boost::dynamic_pointer_cast<short_event_descriptor>(copy.descriptors[0])->event_name,
              "Jornal");
}

TEST_F(Eit, KeepsItsFieldsInOrder) {
    EXPECT_THAT((std::vector<const void*>{&table_.descriptors, &table_.service_id,
                                          &table_.transport_stream_id, &table_.original_network_id,
                                          &table_.segment_last_section_number,
                                          &table_.last_table_id, &table_.events}),
                AreInMemoryOrder());
    const eit::event event;
    EXPECT_THAT(
        (std::vector<const void*>{&event.event_id, &event.start_time, &event.duration,
                                  &event.running_status, &event.free_CA_mode, &event.descriptors}),
        AreInMemoryOrder());
}

}  // namespace
}  // namespace orvix::si_parser
