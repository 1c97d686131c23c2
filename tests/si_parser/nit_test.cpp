#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <isdb_sections.h>
#include <log_capture.h>
#include <parse_exactly.h>
#include <si_parser/nit.h>

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

const bytes stream_identifier = describe_stream_identifier(0x07);
const bytes ts_information = describe_ts_information(4, "Orvix");

/// A network with one descriptor of its own and one transport stream that has one, too.
const bytes network_0x0720 =
    nit_section(0x0720, stream_identifier, transport_stream(0x0721, 0x0720, ts_information));

class Nit : public testing::Test {
protected:
    log_capture log_;
    nit table_;
};

TEST_F(Nit, IsEmptyBeforeItsFirstSection) {
    EXPECT_EQ(table_.network_id, 0u);
    EXPECT_EQ(table_.table_id, 0u);
    EXPECT_EQ(table_.table_id_extension, 0u);
    EXPECT_TRUE(table_.cleared);
    EXPECT_THAT(table_.transport_streams, IsEmpty());
    EXPECT_THAT(table_.descriptors, IsEmpty());
}

TEST_F(Nit, KeepsTransportStreamsInSectionOrderRepeatsIncluded) {
    parse_exactly(table_, nit_section(0x0720, {},
                                      transport_stream(2, 9, stream_identifier) +
                                          transport_stream(1, 9) + transport_stream(2, 8)));
    EXPECT_EQ(table_.network_id, 0x0720u);
    EXPECT_THAT(
        table_.transport_streams,
        ElementsAre(FieldsAre(2, 9, Tags(0x52)), FieldsAre(1, 9, Tags()), FieldsAre(2, 8, Tags())));
}

TEST_F(Nit, KeepsAllSixteenBitsOfEachIdentifier) {
    parse_exactly(table_, nit_section(0xFEDC, {}, transport_stream(0xFFFE, 0xFDFC)));
    EXPECT_EQ(table_.network_id, 0xFEDCu);
    EXPECT_THAT(table_.transport_streams, ElementsAre(FieldsAre(0xFFFE, 0xFDFC, Tags())));
}

TEST_F(Nit, DecodesTheLongHeader) {
    parse_exactly(table_, nit_section(0x0720, {}, {}, {17, 1, 2, 3}));
    EXPECT_EQ(table_.table_id, 0x40u);
    EXPECT_EQ(table_.table_id_extension, 0x0720u);
    EXPECT_EQ(table_.section_size, 16u);
    EXPECT_EQ(table_.version_number, 17u);
    EXPECT_EQ(table_.current_next_indicator, 1u);
    EXPECT_EQ(table_.section_number, 2u);
    EXPECT_EQ(table_.last_section_number, 3u);
    EXPECT_FALSE(table_.cleared);
}

TEST_F(Nit, KeepsTheNetworkDescriptorsAsTheTablesOwn) {
    parse_exactly(table_,
                  nit_section(0x0720, ts_information + stream_identifier, transport_stream(1, 9)));
    EXPECT_THAT(table_.get_descriptors(), Tags(0xCD, 0x52));
    EXPECT_EQ(table_.get_descriptor<ts_information_descriptor>(0xCD)->ts_name, "Orvix");
    EXPECT_THAT(table_.transport_streams, ElementsAre(FieldsAre(1, 9, Tags())));
}

TEST_F(Nit, KeepsTheDescriptorsOfEachTransportStreamInItsRecord) {
    parse_exactly(table_,
                  nit_section(0x0720, {},
                              transport_stream(1, 9, ts_information + stream_identifier) +
                                  transport_stream(2, 9, describe_ts_information(13, "Outra"))));
    ASSERT_THAT(table_.transport_streams,
                ElementsAre(FieldsAre(1, 9, Tags(0xCD, 0x52)), FieldsAre(2, 9, Tags(0xCD))));
    EXPECT_THAT(table_.get_descriptors(), IsEmpty());
    const auto second = table_.get_descriptor_from<ts_information_descriptor>(
        0xCD, table_.transport_streams[1].descriptors);
    EXPECT_EQ(second->remote_control_key_id, 13);
    EXPECT_EQ(second->ts_name, "Outra");
}

TEST_F(Nit, ASectionOfTwoEmptyLoopsHoldsNothing) {
    const bytes section = nit_section(0x0720, {}, {});
    ASSERT_THAT(section, SizeIs(16));
    parse_exactly(table_, section);
    EXPECT_EQ(table_.network_id, 0x0720u);
    EXPECT_THAT(table_.transport_streams, IsEmpty());
    EXPECT_THAT(table_.get_descriptors(), IsEmpty());
}

TEST_F(Nit, IgnoresTheReservedBitsAboveEachLength) {
    for (const unsigned int reserved : {0x0u, 0x5u, 0xFu}) {
        parse_exactly(table_, long_section(0x40, 0x0720,
                                           section_writer()
                                               .bits(4, reserved)
                                               .bits(12, 3)  // network_descriptors_length
                                               .append(stream_identifier)
                                               .bits(4, reserved)
                                               .bits(12, 15)  // transport_stream_loop_length
                                               .bits(16, 1)   // transport_stream_id
                                               .bits(16, 9)   // original_network_id
                                               .bits(4, reserved)
                                               .bits(12, 3)  // transport_descriptors_length
                                               .append(stream_identifier)
                                               .append(transport_stream(2, 9))));
        EXPECT_THAT(table_.get_descriptors(), Tags(0x52)) << reserved;
        EXPECT_THAT(table_.transport_streams,
                    ElementsAre(FieldsAre(1, 9, Tags(0x52)), FieldsAre(2, 9, Tags())))
            << reserved;
    }
}

TEST_F(Nit, ReadsEachLengthWithAllItsTwelveBits) {
    const bytes long_descriptor = test::descriptor(0x80, bytes(254));  // 256 bytes, of no known tag
    const bytes descriptors = long_descriptor + long_descriptor + stream_identifier;
    bytes streams;
    for (unsigned int id = 0; id < 300; ++id) streams = streams + transport_stream(0x0100, 9);
    parse_exactly(table_,
                  nit_section(0x0720, descriptors, transport_stream(1, 9, descriptors) + streams));
    EXPECT_THAT(table_.get_descriptors(), Tags(0x52));
    ASSERT_THAT(table_.transport_streams, SizeIs(301));
    EXPECT_THAT(table_.transport_streams.front(), FieldsAre(1, 9, Tags(0x52)));
    EXPECT_THAT(table_.transport_streams.back(), FieldsAre(0x0100, 9, Tags()));
}

// --- Where its loops end ---

TEST_F(Nit, EndsItsLoopAtTheLoopsOwnLengthNotAtTheSectionsEnd) {
    parse_exactly(table_, long_section(0x40, 0x0720,
                                       loop12({}) + loop12(transport_stream(1, 9)) +
                                           transport_stream(2, 9)));  // behind the loop
    EXPECT_THAT(table_.transport_streams, ElementsAre(FieldsAre(1, 9, Tags())));
}

TEST_F(Nit, ReadsOnBehindTheSectionWhereItsLoopIsLonger) {
    const bytes section = long_section(0x40, 0x0720,
                                       section_writer()
                                           .append(loop12({}))
                                           .bits(4, 0xF)
                                           .bits(12, 12)  // the loop announces two
                                           .append(transport_stream(1, 9)));
    // The CRC_32 makes the identifiers of the second one, the spare bytes its length.
    const std::uint32_t transport_stream_id = section[18] * 256u + section[19];
    const std::uint32_t original_network_id = section[20] * 256u + section[21];
    parse_with_spare_bytes(table_, section, loop12({}));
    EXPECT_THAT(table_.transport_streams,
                ElementsAre(FieldsAre(1, 9, Tags()),
                            FieldsAre(transport_stream_id, original_network_id, Tags())));
}

TEST_F(Nit, ReadsATransportStreamWholeThatTheLoopCutsShort) {
    parse_exactly(table_, long_section(0x40, 0x0720,
                                       section_writer()
                                           .append(loop12({}))
                                           .bits(4, 0xF)
                                           .bits(12, 7)  // one byte of the second
                                           .append(transport_stream(1, 9))
                                           .append(transport_stream(2, 8, stream_identifier))
                                           .append(transport_stream(3, 7))));
    EXPECT_THAT(table_.transport_streams,
                ElementsAre(FieldsAre(1, 9, Tags()), FieldsAre(2, 8, Tags(0x52))));
}

TEST_F(Nit, TakesDescriptorsAsAnnouncedThatOverrunTheLoopAndThenStops) {
    parse_exactly(table_,
                  long_section(0x40, 0x0720,
                               section_writer()
                                   .append(loop12({}))
                                   .bits(4, 0xF)
                                   .bits(12, 9)  // the first one's length is wrong by 6
                                   .append(transport_stream(1, 9,
                                                            stream_identifier + stream_identifier +
                                                                describe_stream_identifier(9)))
                                   .append(transport_stream(2, 9))));
    EXPECT_THAT(table_.transport_streams, ElementsAre(FieldsAre(1, 9, Tags(0x52, 0x52, 0x52))));
}

TEST_F(Nit, FindsTheTransportStreamsWhereTheNetworkDescriptorsAreSaidToEnd) {
    const bytes section = long_section(0x40, 0x0720,
                                       section_writer()
                                           .bits(4, 0xF)
                                           .bits(12, 9)    // ends three bytes behind the section
                                           .bits(8, 0x80)  // a descriptor of no known tag
                                           .bits(8, 7));   // that covers these nine bytes
    const bytes rest_of_descriptor = {0xEE, 0xEE, 0xEE};
    parse_with_spare_bytes(table_, section, rest_of_descriptor + loop12(transport_stream(1, 9)));
    EXPECT_THAT(table_.transport_streams, ElementsAre(FieldsAre(1, 9, Tags())));
}

// --- What it refuses and what it lets pass ---

TEST_F(Nit, ASectionWithoutSyntaxIndicatorChangesNothing) {
    parse_exactly(table_, network_0x0720);
    const log_capture log;
    parse_exactly(table_, {0x40, 0x7F});
    EXPECT_EQ(table_.network_id, 0x0720u);
    EXPECT_FALSE(table_.cleared);
    EXPECT_THAT(table_.get_descriptors(), Tags(0x52));
    EXPECT_THAT(table_.transport_streams, ElementsAre(FieldsAre(0x0721, 0x0720, Tags(0xCD))));
    EXPECT_EQ(log.text(), "");
}

TEST_F(Nit, ASectionOfTheWrongSizeIsRefusedAndLeavesItEmpty) {
    parse_exactly(table_, network_0x0720);
    const bytes with_stuffing = nit_section(0x0999, {}, transport_stream(1, 9)) + bytes{0xFF};
    const log_capture log;
    EXPECT_THAT([&] { parse_exactly(table_, with_stuffing); },
                ThrowsMessage<std::runtime_error>("parse_header: section length != size"));
    EXPECT_THAT(log.statements(),
                ElementsAre("<si_parser> ERROR: Section length <> size, aborting parse"));
    EXPECT_THAT(table_.transport_streams, IsEmpty());
    EXPECT_THAT(table_.get_descriptors(), IsEmpty());
    EXPECT_FALSE(table_.cleared);
    EXPECT_EQ(table_.table_id_extension, 0x0999u);
    EXPECT_EQ(table_.network_id, 0x0720u);
}

TEST_F(Nit, AShortBufferIsRefusedAndLeavesItEmpty) {
    parse_exactly(table_, network_0x0720);
    const bytes six_bytes = {0x40, 0xF0, 0x03, 0x09, 0x99, 0xC1};
    const log_capture log;
    EXPECT_THAT([&] { parse_exactly(table_, six_bytes); },
                ThrowsMessage<std::runtime_error>("parse_header: short buffer"));
    EXPECT_THAT(log.statements(), ElementsAre("<si_parser> ERROR: Short buffer, aborting parse"));
    EXPECT_THAT(table_.transport_streams, IsEmpty());
    EXPECT_THAT(table_.get_descriptors(), IsEmpty());
    EXPECT_TRUE(table_.cleared);
    EXPECT_EQ(table_.table_id_extension, 0x0720u);
    EXPECT_EQ(table_.network_id, 0x0720u);
}

TEST_F(Nit, ChecksNeitherTableIdNorCurrentNextIndicatorNorCrc) {
    bytes section = long_section(0x99, 0x0720, loop12({}) + loop12(transport_stream(1, 9)),
                                 {0, 0, 5, 2});  // not yet current, section 5 of 2
    section.back() ^= 0xFF;
    parse_exactly(table_, section);
    EXPECT_EQ(table_.table_id, 0x99u);
    EXPECT_EQ(table_.current_next_indicator, 0u);
    EXPECT_THAT(table_.transport_streams, ElementsAre(FieldsAre(1, 9, Tags())));
}

TEST_F(Nit, WritesNothingToTheLogOfItsOwn) {
    parse_exactly(table_, nit_section(0x0720, {}, transport_stream(1, 9) + transport_stream(2, 9)));
    EXPECT_EQ(log_.text(), "");  // nor does the descriptor loop, which has nothing to walk
}

// --- Reuse, clearing, lifetime ---

TEST_F(Nit, EachSectionReplacesTheOneBefore) {
    parse_exactly(table_, network_0x0720);
    parse_exactly(table_, nit_section(0x0999, ts_information, transport_stream(3, 4)));
    EXPECT_EQ(table_.network_id, 0x0999u);
    EXPECT_THAT(table_.get_descriptors(), Tags(0xCD));
    EXPECT_THAT(table_.transport_streams, ElementsAre(FieldsAre(3, 4, Tags())));
}

TEST_F(Nit, EmptiesItselfThroughTheVirtualClear) {
    clear_counter<nit> table;
    parse_exactly(table, network_0x0720);
    EXPECT_EQ(table.clears, 1);
    parse_exactly(table, {0x40, 0x7F});
    EXPECT_EQ(table.clears, 1);
}

TEST_F(Nit, ClearDropsTheListsAndKeepsTheIdentifiers) {
    parse_exactly(table_, network_0x0720);
    table_.clear();
    EXPECT_THAT(table_.transport_streams, IsEmpty());
    EXPECT_THAT(table_.get_descriptors(), IsEmpty());
    EXPECT_TRUE(table_.cleared);
    EXPECT_EQ(table_.network_id, 0x0720u);
    EXPECT_EQ(table_.table_id_extension, 0x0720u);
    EXPECT_EQ(table_.table_id, 0x40u);
}

TEST_F(Nit, ClearLetsGoOfTransportStreamsBeforeNetworkDescriptors) {
    std::vector<std::string> farewells;
    table_.descriptors = {says_farewell("network", farewells)};
    table_.transport_streams.push_back({1, 9, {says_farewell("transport stream", farewells)}});
    table_.clear();
    EXPECT_THAT(farewells, ElementsAre("transport stream", "network"));
}

TEST_F(Nit, DestructionLetsGoOfTransportStreamsBeforeNetworkDescriptors) {
    std::vector<std::string> farewells;
    auto table = std::make_unique<nit>();
    table->descriptors = {says_farewell("network", farewells)};
    table->transport_streams.push_back({1, 9, {says_farewell("transport stream", farewells)}});
    std::unique_ptr<psi_table> base = std::move(table);
    base.reset();
    EXPECT_THAT(farewells, ElementsAre("transport stream", "network"));
}

TEST_F(Nit, IsParsedAndClearedThroughItsBase) {
    psi_table& base = table_;
    parse_exactly(base, nit_section(0x0720, {}, transport_stream(1, 9)));
    EXPECT_THAT(table_.transport_streams, SizeIs(1));
    base.clear();
    EXPECT_THAT(table_.transport_streams, IsEmpty());
}

TEST_F(Nit, CopiedRecordsShareTheirDescriptorsWhichOutliveTheTable) {
    auto table = std::make_unique<nit>();
    parse_exactly(*table, network_0x0720);
    const nit::nit_transport_stream_t copy = table->transport_streams[0];
    EXPECT_EQ(copy.descriptors, table->transport_streams[0].descriptors);
    const auto of_network = table->get_descriptor<stream_identifier_descriptor>(0x52);
    const auto of_stream =
        table->get_descriptor_from<ts_information_descriptor>(0xCD, copy.descriptors);
    table.reset();
    EXPECT_EQ(of_network->component_tag, 0x07);
    EXPECT_EQ(of_stream->ts_name, "Orvix");
}

TEST_F(Nit, KeepsItsFieldsInOrder) {
    EXPECT_THAT((std::vector<const void*>{&table_.descriptors, &table_.network_id,
                                          &table_.transport_streams}),
                AreInMemoryOrder());
    const nit::nit_transport_stream_t stream;
    EXPECT_THAT((std::vector<const void*>{&stream.transport_stream_id, &stream.original_network_id,
                                          &stream.descriptors}),
                AreInMemoryOrder());
}

}  // namespace
}  // namespace orvix::si_parser
