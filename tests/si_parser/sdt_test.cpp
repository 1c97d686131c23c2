#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <isdb_sections.h>
#include <log_capture.h>
#include <parse_exactly.h>
#include <si_parser/sdt.h>

#include <boost/smart_ptr/weak_ptr.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "table_matchers.h"

namespace orvix::si_parser {
namespace {

using namespace orvix::test;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::FieldsAre;
using testing::IsEmpty;
using testing::SizeIs;

using service_info = sdt::sdt_service_info_t;

static_assert(std::is_same_v<decltype(sdt::transport_stream_id), uint32_t>);
static_assert(std::is_same_v<decltype(sdt::original_network_id), uint32_t>);
static_assert(std::is_same_v<decltype(service_info::service_id), uint32_t>);
static_assert(std::is_same_v<decltype(service_info::EIT_schedule_flag), uint32_t>);
static_assert(std::is_same_v<decltype(service_info::EIT_present_following_flag), uint32_t>);
static_assert(std::is_same_v<decltype(service_info::running_status), uint32_t>);
static_assert(std::is_same_v<decltype(service_info::free_CA_mode), uint32_t>);

/// A service entry whose third byte, between service_id and running_status, is given whole.
bytes service_with_third_byte(std::uint16_t service_id, std::uint8_t third_byte) {
    return section_writer()
        .bits(16, service_id)
        .bits(8, third_byte)
        .bits(3, 0)    // running_status
        .bits(1, 0)    // free_CA_mode
        .bits(12, 0);  // descriptors_loop_length
}

bytes services(const std::vector<std::uint16_t>& ids) {
    bytes loop;
    for (const std::uint16_t id : ids) loop = std::move(loop) + service(id, 4, 0);
    return loop;
}

/// The first eleven bytes of a section of `size` bytes.
bytes sdt_start(std::uint16_t size) {
    return section_writer()
        .bits(8, 0x42)                                   // table_id
        .bits(4, 0xF)                                    // section_syntax_indicator, reserved
        .bits(12, static_cast<std::uint16_t>(size - 3))  // section_length
        .bits(16, 0x0721)                                // transport_stream_id
        .bits(8, 0xC1)     // reserved, version_number, current_next_indicator
        .bits(16, 0x0000)  // section_number, last_section_number
        .bits(16, 0x0720)  // original_network_id
        .bits(8, 0xFF);    // reserved_future_use
}

class Sdt : public testing::Test {
protected:
    std::vector<uint32_t> ids() const {
        std::vector<uint32_t> ids;
        for (const service_info& each : table_.services) ids.push_back(each.service_id);
        return ids;
    }

    void hold_one_service() {
        parse_exactly(table_,
                      sdt_section(0x0721, 0x0720,
                                  service(0xE760, 4, 1, describe_service(1, "Orvix", "Orvix HD"))));
    }

    void expect_the_service() const {
        EXPECT_EQ(table_.transport_stream_id, 0x0721u);
        EXPECT_EQ(table_.original_network_id, 0x0720u);
        EXPECT_THAT(table_.services, ElementsAre(FieldsAre(0xE760, 1, 1, 4, 1, Tags(0x48))));
        EXPECT_FALSE(table_.cleared);
    }

    void expect_only_the_identifiers() const {
        EXPECT_EQ(table_.transport_stream_id, 0x0721u);
        EXPECT_EQ(table_.original_network_id, 0x0720u);
        EXPECT_THAT(table_.services, IsEmpty());
    }

    log_capture log_;
    sdt table_;
};

TEST_F(Sdt, IsEmptyWhenNew) {
    EXPECT_EQ(table_.transport_stream_id, 0u);
    EXPECT_EQ(table_.original_network_id, 0u);
    EXPECT_THAT(table_.services, IsEmpty());
    EXPECT_TRUE(table_.cleared);
}

TEST_F(Sdt, HoldsItsIdentifiersAndServices) {
    hold_one_service();
    expect_the_service();
    EXPECT_EQ(table_.table_id, 0x42u);
    EXPECT_EQ(table_.table_id_extension, 0x0721u);
    EXPECT_EQ(
        table_.get_descriptor_from<service_descriptor>(0x48, table_.services.at(0).descriptors)
            ->service_name,
        "Orvix HD");
    EXPECT_THAT(table_.descriptors, IsEmpty());  // it has no loop of its own
}

TEST_F(Sdt, KeepsEveryBitOfItsFields) {
    parse_exactly(table_, sdt_section(0xFEDC, 0xBA98, service(0xFFFF, 7, 0) + service(0, 0, 1)));
    EXPECT_EQ(table_.transport_stream_id, 0xFEDCu);
    EXPECT_EQ(table_.original_network_id, 0xBA98u);
    EXPECT_THAT(table_.services, ElementsAre(FieldsAre(0x0000, 1, 1, 0, 1, Tags()),
                                             FieldsAre(0xFFFF, 1, 1, 7, 0, Tags())));
}

TEST_F(Sdt, TakesTheTwoFlagsFromTheTopBitsOfTheThirdByte) {
    parse_exactly(
        table_,
        sdt_section(1, 1,
                    service_with_third_byte(0, 0xFC) + service_with_third_byte(1, 0x03) +
                        service_with_third_byte(2, 0x80) + service_with_third_byte(3, 0x40) +
                        service_with_third_byte(4, 0x3F)));
    EXPECT_THAT(table_.services,
                ElementsAre(FieldsAre(0, 1, 1, 0, 0, Tags()), FieldsAre(1, 0, 0, 0, 0, Tags()),
                            FieldsAre(2, 1, 0, 0, 0, Tags()), FieldsAre(3, 0, 1, 0, 0, Tags()),
                            FieldsAre(4, 0, 0, 0, 0, Tags())));
}

TEST_F(Sdt, SharesHandlesWithACopyOfItsService) {
    hold_one_service();
    const service_info copy = table_.services.at(0);
    EXPECT_EQ(copy.descriptors, table_.services[0].descriptors);
    table_.clear();
    EXPECT_THAT(copy, FieldsAre(0xE760, 1, 1, 4, 1, Tags(0x48)));
}

TEST_F(Sdt, KeepsItsFieldsInOrder) {
    const std::vector<const void*> fields = {&table_.descriptors, &table_.transport_stream_id,
                                             &table_.original_network_id, &table_.services};
    EXPECT_THAT(fields, AreInMemoryOrder());

    const service_info record;
    const std::vector<const void*> record_fields = {
        &record.service_id,     &record.EIT_schedule_flag, &record.EIT_present_following_flag,
        &record.running_status, &record.free_CA_mode,      &record.descriptors};
    EXPECT_THAT(record_fields, AreInMemoryOrder());
    EXPECT_EQ(record_fields.front(), static_cast<const void*>(&record));
}

// --- Order of services ---

TEST_F(Sdt, SortsByTheLowFiveBitsThenByTheWholeId) {
    parse_exactly(table_, sdt_section(1, 1, services({0x0418, 0xE760, 0x0419, 0xE761})));
    EXPECT_THAT(ids(), ElementsAre(0xE760, 0xE761, 0x0418, 0x0419));

    parse_exactly(table_, sdt_section(1, 1, services({0x0021, 0x0002, 0x0001})));
    EXPECT_THAT(ids(), ElementsAre(0x0001, 0x0021, 0x0002));
}

TEST_F(Sdt, MovesWholeRecordsWhenItSorts) {
    parse_exactly(table_,
                  sdt_section(1, 1,
                              service(0x0002, 2, 1, describe_stream_identifier(2)) +
                                  service(0x0001, 4, 0, describe_service(1, "Orvix", "One"))));
    EXPECT_THAT(table_.services, ElementsAre(FieldsAre(0x0001, 1, 1, 4, 0, Tags(0x48)),
                                             FieldsAre(0x0002, 1, 1, 2, 1, Tags(0x52))));
}

TEST_F(Sdt, SortsManyServices) {
    std::vector<std::uint16_t> on_air;
    std::vector<uint32_t> sorted;
    for (unsigned int low = 0; low < 32; ++low) {
        for (unsigned int high = 0; high < 5; ++high) sorted.push_back(high * 0x20 + low);
    }
    for (unsigned int i = 0; i < sorted.size(); ++i) {
        on_air.push_back(static_cast<std::uint16_t>(i * 67 % sorted.size()));
    }
    parse_exactly(table_, sdt_section(1, 1, services(on_air)));
    EXPECT_THAT(ids(), ElementsAreArray(sorted));
}

TEST_F(Sdt, KeepsRepeatedServices) {
    parse_exactly(table_, sdt_section(1, 1, services({7, 5, 7})));
    EXPECT_THAT(ids(), ElementsAre(5, 7, 7));
}

TEST(SdtService, ComparesNothingButItsId) {
    const auto with_id = [](uint32_t id) {
        service_info record;
        record.service_id = id;
        return record;
    };
    EXPECT_TRUE(with_id(0xE760) < with_id(0x0418));
    EXPECT_FALSE(with_id(0x0418) < with_id(0xE760));
    EXPECT_TRUE(with_id(0x0001) < with_id(0x0021));
    EXPECT_FALSE(with_id(0x0021) < with_id(0x0001));

    service_info running = with_id(5);
    running.EIT_schedule_flag = 1;
    running.running_status = 4;
    EXPECT_FALSE(running < with_id(5));
    EXPECT_FALSE(with_id(5) < running);
}

// --- Log lines ---

TEST_F(Sdt, TracesWhatItReads) {
    hold_one_service();
    EXPECT_THAT(
        log_.statements(),
        ElementsAre("<sdt> DEBUG: SDT parse size 38", "<sdt> DEBUG: offset 11",
                    "<sdt> DEBUG: service id 59232", "<sdt> DEBUG: desc length 18",
                    "<parse> DEBUG: i [0] type [0x48] size 18", "<parse> DEBUG: prov name [Orvix]",
                    "<parse> DEBUG: service name [Orvix HD]", "<sdt> DEBUG: done parsing SDT "));
    EXPECT_EQ(log_.lines()[0].file, "si_parser/src/sdt.cpp");
}

TEST_F(Sdt, TracesEachEntryInBroadcastOrder) {
    parse_exactly(table_, sdt_section(1, 1, services({2, 1})));
    EXPECT_THAT(log_.messages(),
                ElementsAre("SDT parse size 25", "offset 11", "service id 2", "desc length 0",
                            "offset 16", "service id 1", "desc length 0", "done parsing SDT "));
}

TEST_F(Sdt, WithoutServicesStillTraces) {
    const bytes section = sdt_section(0x0721, 0x0720, {});
    ASSERT_EQ(section.size(), 15u);
    parse_exactly(table_, section);
    EXPECT_THAT(table_.services, IsEmpty());
    EXPECT_EQ(table_.original_network_id, 0x0720u);
    EXPECT_THAT(log_.messages(), ElementsAre("SDT parse size 15", "done parsing SDT "));
}

TEST_F(Sdt, TracesAtDebugOnly) {
    OrvixLog::reporting_level() = OrvixLog::INFO;
    hold_one_service();
    EXPECT_EQ(log_.text(), "");
    OrvixLog::reporting_level() = OrvixLog::DEBUG;
    hold_one_service();
    EXPECT_THAT(log_.statements("sdt"), SizeIs(5));
}

// --- Reuse and refusals ---

TEST_F(Sdt, HoldsTheLastSectionOnly) {
    parse_exactly(table_, sdt_section(1, 1, services({1, 2, 3})));
    parse_exactly(table_, sdt_section(1, 1, services({4})));
    EXPECT_THAT(ids(), ElementsAre(4));
}

TEST_F(Sdt, WithoutSyntaxIndicatorChangesAndLogsNothing) {
    hold_one_service();
    log_capture log;
    bytes section = sdt_section(1, 1, services({1}));
    section[1] = section[1] & 0x7Fu;  // section_syntax_indicator
    EXPECT_EQ(answer_of(table_, section), "accepted");
    EXPECT_EQ(answer_of(table_, {0x42, 0x7F}), "accepted");
    expect_the_service();
    EXPECT_EQ(log.text(), "");
}

TEST_F(Sdt, ThatIsShortIsRefusedAndKeepsOnlyItsIdentifiers) {
    hold_one_service();
    log_capture log;
    EXPECT_EQ(answer_of(table_, {0x42, 0xF0, 0x03, 0x00, 0x01, 0xC1}),
              "parse_header: short buffer");
    expect_only_the_identifiers();
    EXPECT_TRUE(table_.cleared);
    EXPECT_THAT(log.statements(), ElementsAre("<si_parser> ERROR: Short buffer, aborting parse"));
}

TEST_F(Sdt, OfAnotherSizeThanItSaysIsRefusedAndKeepsOnlyItsIdentifiers) {
    hold_one_service();
    log_capture log;
    EXPECT_EQ(answer_of(table_, sdt_section(2, 3, services({1})) + bytes{0xFF}),
              "parse_header: section length != size");
    expect_only_the_identifiers();
    EXPECT_EQ(table_.table_id_extension, 2u);  // the refused section's
    EXPECT_THAT(log.statements(),
                ElementsAre("<si_parser> ERROR: Section length <> size, aborting parse"));

    hold_one_service();
    expect_the_service();
}

TEST_F(Sdt, ClearKeepsItsIdentifiers) {
    hold_one_service();
    const boost::weak_ptr<descriptor> dropped = table_.services.at(0).descriptors.at(0);
    table_.clear();
    expect_only_the_identifiers();
    EXPECT_TRUE(table_.cleared);
    EXPECT_TRUE(dropped.expired());
}

TEST_F(Sdt, ClearReachesTheBase) {
    exact_block loop(describe_stream_identifier(7));
    table_._parse_descriptors(loop.data(), loop.size());
    ASSERT_THAT(table_.descriptors, SizeIs(1));
    table_.clear();
    EXPECT_THAT(table_.descriptors, IsEmpty());
}

TEST_F(Sdt, ClearLetsGoOfServicesBeforeTheTablesOwnDescriptors) {
    std::vector<std::string> farewells;
    table_.descriptors = {says_farewell("table", farewells)};
    table_.services.push_back({1, 0, 0, 4, 0, {says_farewell("service", farewells)}});
    table_.clear();
    EXPECT_THAT(farewells, ElementsAre("service", "table"));
}

TEST_F(Sdt, DestructionLetsGoOfServicesBeforeTheTablesOwnDescriptors) {
    std::vector<std::string> farewells;
    auto table = std::make_unique<sdt>();
    table->descriptors = {says_farewell("table", farewells)};
    table->services.push_back({1, 0, 0, 4, 0, {says_farewell("service", farewells)}});
    std::unique_ptr<psi_table> base = std::move(table);
    base.reset();
    EXPECT_THAT(farewells, ElementsAre("service", "table"));
}

TEST_F(Sdt, ParseClearsThroughTheVirtualTable) {
    clear_counter<sdt> table;
    parse_exactly(table, sdt_section(1, 1, {}));
    EXPECT_EQ(table.clears, 1);
}

TEST_F(Sdt, IsNotHeldToItsTableIdItsCurrentNextIndicatorOrItsCrc) {
    bytes section = sdt_section(1, 1, services({1}), {0, 0, 0, 0});
    section[0] = 0x77;
    section.back() ^= 0xFFu;  // CRC_32
    EXPECT_EQ(answer_of(table_, section), "accepted");
    EXPECT_THAT(ids(), ElementsAre(1));
}

// --- Bounds ---

TEST_F(Sdt, TakesALastEntryThatStartsBeforeTheCrcFromTheCrc) {
    const bytes section = sdt_start(16) + section_writer()
                                              .bits(8, 0x12)      // service_id, first half
                                              .bits(8, 0x34)      // CRC_32, from here
                                              .bits(8, 0x40)      //
                                              .bits(16, 0x5000);  //
    ASSERT_EQ(section.size(), 16u);
    parse_exactly(table_, section);
    EXPECT_THAT(table_.services, ElementsAre(FieldsAre(0x1234, 0, 1, 2, 1, Tags())));
}

TEST_F(Sdt, HandsOnALoopLengthThatOverrunsTheSectionAndEnds) {
    const bytes section = sdt_start(20) + section_writer()
                                              .bits(16, 0xE760)  // service_id
                                              .bits(8, 0xFF)     // reserved, flags
                                              .bits(16, 0xFFFF)  // status, CA mode, loop length
                                              .append(bytes{0xAA, 0x02, 0, 0});  // CRC_32
    const bytes far_jump = {0xAB, 0xFF};
    bytes spare = describe_stream_identifier(7);
    while (spare.size() < 4095) spare = std::move(spare) + far_jump + bytes(255);
    parse_with_spare_bytes(table_, section, spare);
    EXPECT_THAT(table_.services, ElementsAre(FieldsAre(0xE760, 1, 1, 7, 1, Tags(0x52))));
    EXPECT_EQ(log_.messages().at(3), "desc length 4095");
    EXPECT_EQ(log_.messages().at(4), "i [0] type [0xaa] size 4095");
}

TEST_F(Sdt, WalksNoDescriptorLoopForALengthOfZero) {
    parse_exactly(table_, sdt_section(1, 1, service(1, 0, 0)));
    EXPECT_THAT(table_.services.at(0).descriptors, IsEmpty());
    EXPECT_THAT(log_.statements("parse"), IsEmpty());
}

}  // namespace
}  // namespace orvix::si_parser
