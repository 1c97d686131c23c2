#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <isdb_sections.h>
#include <log_capture.h>
#include <parse_exactly.h>
#include <si_parser/pmt.h>
#include <si_parser/psi_table.h>

#include <atomic>
#include <boost/smart_ptr/weak_ptr.hpp>
#include <cstdint>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "table_matchers.h"

namespace orvix::si_parser {
namespace {

using namespace orvix::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

static_assert(std::is_same_v<descriptor_ptr, boost::shared_ptr<descriptor>>);
static_assert(std::is_same_v<decltype(descriptor::tag), uint8_t>);
static_assert(std::is_same_v<decltype(descriptor::data), unsigned char*>);
static_assert(std::is_same_v<decltype(descriptor::length), uint8_t>);
static_assert(std::has_virtual_destructor_v<descriptor>);

/// A lookup takes its list by value.
[[maybe_unused]] constexpr descriptor_ptr (psi_table::*lookup_by_value)(
    unsigned int, descriptor_list) const = &psi_table::get_descriptor_from;

const bytes unknown = test::descriptor(0xAA, {1, 2, 3});

int component_tag_of(const descriptor_ptr& d) {
    return boost::dynamic_pointer_cast<stream_identifier_descriptor>(d)->component_tag;
}

// --- The walk ---

class DescriptorLoop : public testing::Test {
protected:
    log_capture log_;
};

TEST_F(DescriptorLoop, KeepsKnownDescriptorsInOrderAndSkipsOthers) {
    const descriptor_list list = parse_loop(describe_service(1, "Orvix", "One") + unknown +
                                            describe_stream_identifier(7) + unknown);
    ASSERT_THAT(list, Tags(0x48, 0x52));
    EXPECT_TRUE(boost::dynamic_pointer_cast<service_descriptor>(list[0]));
    EXPECT_EQ(component_tag_of(list[1]), 7);
}

TEST_F(DescriptorLoop, OfNoBytesDoesNothing) {
    descriptor_list list = parse_loop(describe_stream_identifier(7));
    log_capture log;
    psi_table table;
    table._parse_descriptors_into(nullptr, 0, list);
    table._parse_descriptors(nullptr, 0);
    EXPECT_THAT(list, Tags(0x52));
    EXPECT_THAT(table.get_descriptors(), IsEmpty());
    EXPECT_EQ(log.text(), "");
}

TEST_F(DescriptorLoop, AppendsToTheListThatItIsGiven) {
    const exact_block first(describe_stream_identifier(1));
    const exact_block second(describe_stream_identifier(2));
    psi_table table;
    descriptor_list list;
    table._parse_descriptors_into(first.data(), first.size(), list);
    table._parse_descriptors_into(second.data(), second.size(), list);
    ASSERT_THAT(list, Tags(0x52, 0x52));
    EXPECT_EQ(component_tag_of(list[0]), 1);
    EXPECT_EQ(component_tag_of(list[1]), 2);
    EXPECT_THAT(table.get_descriptors(), IsEmpty());
}

TEST_F(DescriptorLoop, OfTheTableAppendsToItsOwnList) {
    const exact_block loop(describe_stream_identifier(1));
    psi_table table;
    table._parse_descriptors(loop.data(), loop.size());
    table._parse_descriptors(loop.data(), loop.size());
    EXPECT_THAT(table.get_descriptors(), Tags(0x52, 0x52));
}

TEST_F(DescriptorLoop, TakesAServiceWithoutABodyFromTheDescriptorsBehindIt) {
    const bytes loop = {0x48, 0x00, 0x52, 0x01, 0x07};
    const bytes spare = bytes{3} + raw("ABC");  // the service_name, by the loop's last bytes
    const descriptor_list list = parse_loop(loop, spare);
    ASSERT_THAT(list, Tags(0x48, 0x52));
    const auto service = boost::dynamic_pointer_cast<service_descriptor>(list[0]);
    EXPECT_EQ(service->service_type, 0x52);
    EXPECT_EQ(service->service_provider_name, "");  // one control code
    EXPECT_EQ(service->service_name, "ABC");
    EXPECT_EQ(component_tag_of(list[1]), 7);
}

TEST_F(DescriptorLoop, BuildsAnOverrunningDescriptorFromWhatFollowsAndEnds) {
    const std::string long_name(195, 'x');
    const bytes service = describe_service(1, "", long_name);
    ASSERT_EQ(service[1], 198);
    const bytes loop(service.begin(), service.begin() + 10);
    const bytes behind(service.begin() + 10, service.end());
    const descriptor_list list = parse_loop(loop, behind + describe_stream_identifier(7));
    ASSERT_THAT(list, Tags(0x48));
    EXPECT_EQ(list[0]->length, 198);
    EXPECT_EQ(boost::dynamic_pointer_cast<service_descriptor>(list[0])->service_name, long_name);
}

TEST_F(DescriptorLoop, EndsWhereADescriptorEndsAtItsSize) {
    const bytes behind = describe_stream_identifier(9);
    EXPECT_THAT(parse_loop(describe_stream_identifier(7), behind), Tags(0x52));
}

TEST_F(DescriptorLoop, TakesADescriptorThatStartsInItsLastByte) {
    const bytes last_tag = {0x52};
    const bytes spare = {0x01, 0x09};  // descriptor_length, component_tag
    const descriptor_list list = parse_loop(describe_stream_identifier(7) + last_tag, spare);
    ASSERT_THAT(list, Tags(0x52, 0x52));
    EXPECT_EQ(component_tag_of(list[1]), 9);
}

TEST_F(DescriptorLoop, OfOneByteReadsItsLengthFromBehindTheLoop) {
    const descriptor_list list = parse_loop({0x52}, {0x01, 0x09});
    ASSERT_THAT(list, Tags(0x52));
    EXPECT_EQ(list[0]->length, 1);
    EXPECT_EQ(component_tag_of(list[0]), 9);

    EXPECT_THAT(parse_loop({0xAA}, {0xFF}), IsEmpty());
}

TEST_F(DescriptorLoop, WalksAsFarAsItsSizeSays) {
    bytes loop;
    for (int i = 0; i < 1000; ++i) loop = std::move(loop) + describe_stream_identifier(1);
    EXPECT_THAT(parse_loop(loop), SizeIs(1000));
}

// --- The descriptor's own fields ---

TEST_F(DescriptorLoop, FillsTagLengthAndTheAddressOfTheTag) {
    const exact_block loop(unknown + describe_service(1, "Orvix", "One") +
                           describe_stream_identifier(7));
    psi_table table;
    table._parse_descriptors(loop.data(), loop.size());
    const descriptor_list& list = table.get_descriptors();
    ASSERT_THAT(list, SizeIs(2));
    EXPECT_EQ(list[0]->tag, 0x48);
    EXPECT_EQ(list[0]->data, loop.data() + 5);
    EXPECT_EQ(list[0]->length, 11);
    EXPECT_EQ(list[1]->tag, 0x52);
    EXPECT_EQ(list[1]->data, loop.data() + 18);
    EXPECT_EQ(list[1]->length, 1);
}

TEST(Descriptor, IsEmptyWhenNew) {
    const descriptor d;
    EXPECT_EQ(d.tag, 0);
    EXPECT_EQ(d.data, nullptr);
    EXPECT_EQ(d.length, 0);
}

TEST(Descriptor, HoldsTagDataAndLengthInThisOrder) {
    const descriptor d;
    const std::vector<const void*> fields = {&d, &d.tag, &d.data, &d.length};
    EXPECT_THAT(fields, AreInMemoryOrder());
}

// --- The dispatch ---

struct known_tag {
    int tag;
    const std::type_info* type;
    bytes written;
};

const std::vector<known_tag>& known_tags() {
    static const std::vector<known_tag> tags = {
        {0x00, &typeid(application_descriptor), describe_application({}, 0, 0, 0)},
        {0x01, &typeid(application_name_descriptor),
         describe_application_names(application_name("por", "Guia"))},
        {0x02, &typeid(transport_protocol_descriptor_oc), describe_object_carousel(1, 2)},
        {0x02, &typeid(transport_protocol_descriptor_oc), describe_data_carousel(1, 2)},
        {0x02, &typeid(transport_protocol_descriptor_ip), describe_ip_transport(1, 0, {})},
        {0x04, &typeid(ginga_location_descriptor), describe_ginga_location(0x04, "/", "", "A")},
        {0x07, &typeid(ginga_location_descriptor), describe_ginga_location(0x07, "/", "", "A")},
        {0x0B, &typeid(icon_information_descriptor), describe_icon("icon", 1)},
        {0x48, &typeid(service_descriptor), describe_service(1, "Orvix", "One")},
        {0x4D, &typeid(short_event_descriptor), describe_short_event("por", "Jornal", "")},
        {0x50, &typeid(component_descriptor), describe_component(1, 0xB3, 0, "por")},
        {0x52, &typeid(stream_identifier_descriptor), describe_stream_identifier(7)},
        {0x54, &typeid(content_descriptor), describe_content({0x10, 0x00})},
        {0x55, &typeid(parental_descriptor), describe_parental_ratings(parental_rating("BRA", 1))},
        {0x58, &typeid(localtime_offset_descriptor),
         describe_local_time_offsets(
             local_time_offset("BRA", 1, 1, 0x0300, utc_time(40587, 0), 0x0200))},
        {0xCD, &typeid(ts_information_descriptor), describe_ts_information(4, "Orvix")},
    };
    return tags;
}

TEST(DescriptorDispatch, BuildsTheClassOfEachKnownTag) {
    const log_capture log;
    for (const known_tag& known : known_tags()) {
        const descriptor_list list = parse_loop(known.written);
        ASSERT_THAT(list, Tags(known.tag));
        const descriptor& built = *list[0];
        EXPECT_EQ(typeid(built), *known.type) << known.tag;
    }
}

TEST(DescriptorDispatch, BuildsAllOfThemInOneLoopOfAnyTable) {
    const log_capture log;
    bytes loop;
    std::vector<int> tags;
    for (const known_tag& known : known_tags()) {
        loop = std::move(loop) + known.written;
        tags.push_back(known.tag);
    }
    // The IP transport reads by positions in the whole loop: see its own tests.
    const bytes spare(300);
    EXPECT_EQ(tags_of(parse_loop(loop, spare)), tags);
}

TEST(DescriptorDispatch, BuildsNothingForAnyOtherTag) {
    const log_capture log;
    std::set<int> known;
    for (const known_tag& each : known_tags()) known.insert(each.tag);
    for (int tag = 0x00; tag <= 0xFF; ++tag) {
        if (known.count(tag) != 0) continue;
        EXPECT_THAT(parse_loop(test::descriptor(static_cast<std::uint8_t>(tag), bytes(16))),
                    IsEmpty())
            << tag;
    }
}

TEST(DescriptorDispatch, SkipsATransportOfAnotherProtocolInSilence) {
    for (const int protocol_id : {0x0000, 0x0003, 0x0005, 0x0101, 0x0102, 0xFFFF}) {
        log_capture log;
        const bytes transport =
            describe_transport_protocol(static_cast<std::uint16_t>(protocol_id), 1, {}, {0x02});
        EXPECT_THAT(parse_loop(transport + describe_stream_identifier(7)), Tags(0x52));
        EXPECT_THAT(log.messages(),
                    ElementsAre("i [0] type [0x2] size 10", "i [7] type [0x52] size 10"));
    }
}

TEST(DescriptorDispatch, KeepsTheFieldsThatAllTransportsShare) {
    const log_capture log;
    const bytes remote = remote_connection(0x0721, 0x0722, 0x0723);
    for (const bytes& written :
         {describe_object_carousel(0x81, 2, remote), describe_data_carousel(0x81, 2, remote),
          describe_ip_transport(0x81, 0, {}, remote)}) {
        const auto transport = parse_descriptor<transport_protocol_descriptor>(written);
        EXPECT_EQ(transport->protocol_id, written[3]);
        EXPECT_EQ(transport->transport_protocol_label, 0x81);
        EXPECT_TRUE(transport->remote_connection);
        EXPECT_EQ(transport->original_network_id, 0x0721);
        EXPECT_EQ(transport->transport_stream_id, 0x0722);
        EXPECT_EQ(transport->service_id, 0x0723);
    }
    EXPECT_FALSE(parse_descriptor<transport_protocol_descriptor>(describe_object_carousel(1, 2))
                     ->remote_connection);
}

TEST(DescriptorDispatch, DerivesEveryClassFromTheBase) {
    static_assert(std::is_base_of_v<descriptor, application_descriptor>);
    static_assert(std::is_base_of_v<descriptor, application_name_descriptor>);
    static_assert(std::is_base_of_v<descriptor, component_descriptor>);
    static_assert(std::is_base_of_v<descriptor, content_descriptor>);
    static_assert(std::is_base_of_v<descriptor, ginga_location_descriptor>);
    static_assert(std::is_base_of_v<descriptor, icon_information_descriptor>);
    static_assert(std::is_base_of_v<descriptor, localtime_offset_descriptor>);
    static_assert(std::is_base_of_v<descriptor, parental_descriptor>);
    static_assert(std::is_base_of_v<descriptor, service_descriptor>);
    static_assert(std::is_base_of_v<descriptor, short_event_descriptor>);
    static_assert(std::is_base_of_v<descriptor, stream_identifier_descriptor>);
    static_assert(std::is_base_of_v<descriptor, transport_protocol_descriptor>);
    static_assert(std::is_base_of_v<descriptor, ts_information_descriptor>);
    static_assert(
        std::is_base_of_v<transport_protocol_descriptor, transport_protocol_descriptor_oc>);
    static_assert(
        std::is_base_of_v<transport_protocol_descriptor, transport_protocol_descriptor_ip>);

    const log_capture log;
    const descriptor_ptr ip = parse_loop(describe_ip_transport(1, 0, {})).at(0);
    EXPECT_TRUE(boost::dynamic_pointer_cast<transport_protocol_descriptor_ip>(ip));
    EXPECT_TRUE(boost::dynamic_pointer_cast<transport_protocol_descriptor>(ip));
    EXPECT_FALSE(boost::dynamic_pointer_cast<transport_protocol_descriptor_oc>(ip));
    EXPECT_FALSE(boost::dynamic_pointer_cast<service_descriptor>(ip));
}

// --- Log lines ---

TEST(DescriptorLog, HasALineForEachDescriptorBeforeItIsBuilt) {
    log_capture log;
    parse_loop(describe_service(1, "Orvix", "One") + unknown + describe_stream_identifier(7));
    EXPECT_THAT(log.statements(),
                ElementsAre("<parse> DEBUG: i [0] type [0x48] size 21",
                            "<parse> DEBUG: prov name [Orvix]", "<parse> DEBUG: service name [One]",
                            "<parse> DEBUG: i [13] type [0xaa] size 21",
                            "<parse> DEBUG2: Unknown descriptor aa",
                            "<parse> DEBUG: i [18] type [0x52] size 21"));
    EXPECT_EQ(log.lines()[0].file, "si_parser/src/psi_table.cpp");
    EXPECT_EQ(log.lines()[4].file, "si_parser/src/psi_table.cpp");
}

TEST(DescriptorLog, PrintsTagsWithoutLeadingZeros) {
    log_capture log;
    parse_loop(test::descriptor(0x0A));
    EXPECT_THAT(log.messages(), ElementsAre("i [0] type [0xa] size 2", "Unknown descriptor a"));
}

TEST(DescriptorLog, PrintsTheLoopsSizeNotTheDescriptors) {
    log_capture log;
    parse_loop(describe_service(1, "A", "BC") + bytes{0xAA}, {0x00});
    EXPECT_EQ(log.messages().at(0), "i [0] type [0x48] size 9");

    log_capture ten_bytes;
    parse_loop(describe_service(1, "AB", "CDE"));
    EXPECT_EQ(ten_bytes.messages().at(0), "i [0] type [0x48] size 10");
}

TEST(DescriptorLog, IsWrittenAtItsLevels) {
    const auto lines_at = [](OrvixLog::Level level) {
        log_capture log(level);
        parse_loop(unknown);
        return log.lines().size();
    };
    EXPECT_EQ(lines_at(OrvixLog::INFO), 0u);
    EXPECT_EQ(lines_at(OrvixLog::DEBUG), 1u);
    EXPECT_EQ(lines_at(OrvixLog::DEBUG1), 1u);
    EXPECT_EQ(lines_at(OrvixLog::DEBUG2), 2u);
}

// --- Lookups ---

class DescriptorLookup : public testing::Test {
protected:
    DescriptorLookup()
        : loop_(describe_service(1, "Orvix", "One") + describe_stream_identifier(1) +
                describe_stream_identifier(2)) {
        table_._parse_descriptors(loop_.data(), loop_.size());
    }

    const log_capture building_;
    const exact_block loop_;
    psi_table table_;
};

TEST_F(DescriptorLookup, FindsTheFirstOfATag) {
    log_capture log;
    const descriptor_ptr found = table_.get_descriptor_from(0x52, table_.get_descriptors());
    EXPECT_EQ(found, table_.get_descriptors()[1]);
    EXPECT_EQ(component_tag_of(found), 1);
    EXPECT_THAT(log.statements(), ElementsAre("<parse> DEBUG: get_descriptor_from: FOUND"));
    EXPECT_EQ(log.lines()[0].file, "si_parser/src/psi_table.cpp");
}

TEST_F(DescriptorLookup, OfAMissingTagGivesAnEmptyHandle) {
    log_capture log;
    EXPECT_FALSE(table_.get_descriptor(0x4D));
    EXPECT_FALSE(table_.get_descriptor_from(0x4D, table_.get_descriptors()));
    EXPECT_FALSE(table_.get_descriptor_from(0x52, {}));
    const std::string not_found = "<parse> DEBUG: get_descriptor_from: NOT FOUND";
    EXPECT_THAT(log.statements(), ElementsAre(not_found, not_found, not_found));
    EXPECT_EQ(log.lines()[0].file, "si_parser/src/psi_table.cpp");
}

TEST_F(DescriptorLookup, IsSilentAtInfo) {
    log_capture log(OrvixLog::INFO);
    table_.get_descriptor(0x52);
    table_.get_descriptor(0x4D);
    EXPECT_EQ(log.text(), "");

    OrvixLog::reporting_level() = OrvixLog::DEBUG;
    table_.get_descriptor(0x52);
    table_.get_descriptor(0x4D);
    EXPECT_THAT(log.messages(),
                ElementsAre("get_descriptor_from: FOUND", "get_descriptor_from: NOT FOUND"));
}

TEST_F(DescriptorLookup, SearchesTheTablesOwnList) {
    EXPECT_EQ(table_.get_descriptor(0x48), table_.get_descriptors()[0]);
    EXPECT_EQ(table_.get_descriptor(0x52), table_.get_descriptors()[1]);
}

TEST_F(DescriptorLookup, ComparesTheWholeNumberWithTheTag) {
    EXPECT_FALSE(table_.get_descriptor(0x148));
    EXPECT_FALSE(table_.get_descriptor_from(0x152, table_.get_descriptors()));
}

TEST_F(DescriptorLookup, LeavesItsListAlone) {
    const descriptor_list before = table_.get_descriptors();
    table_.get_descriptor(0x52);
    table_.get_descriptor_from(0x52, table_.get_descriptors());
    EXPECT_EQ(table_.get_descriptors(), before);
    EXPECT_EQ(before[1].use_count(), 2);  // the table's and this list's
}

TEST_F(DescriptorLookup, GivesAHandleThatOutlivesTheTablesOwn) {
    const descriptor_ptr found = table_.get_descriptor(0x48);
    table_.clear();
    EXPECT_EQ(found.use_count(), 1);
    EXPECT_EQ(boost::dynamic_pointer_cast<service_descriptor>(found)->service_name, "One");
}

TEST_F(DescriptorLookup, MayNameTheClass) {
    EXPECT_EQ(table_.get_descriptor<service_descriptor>(0x48)->service_name, "One");
    EXPECT_EQ(
        table_.get_descriptor_from<stream_identifier_descriptor>(0x52, table_.get_descriptors())
            ->component_tag,
        1);
    EXPECT_FALSE(table_.get_descriptor<service_descriptor>(0x52));  // another class
    EXPECT_FALSE(table_.get_descriptor<short_event_descriptor>(0x4D));
    EXPECT_FALSE(table_.get_descriptor_from<service_descriptor>(0x52, table_.get_descriptors()));
}

TEST_F(DescriptorLookup, IsPossibleInAConstantTable) {
    const psi_table& table = table_;
    EXPECT_TRUE(table.get_descriptor(0x48));
}

TEST_F(DescriptorLookup, StopsAtTheFirstMatchBeforeABrokenHandle) {
    descriptor_list list = table_.get_descriptors();
    list.push_back(descriptor_ptr());
    EXPECT_TRUE(table_.get_descriptor_from(0x52, list));
}

using DescriptorLookupDeathTest = DescriptorLookup;

TEST_F(DescriptorLookupDeathTest, AbortsOnAnEmptyHandle) {
    descriptor_list list = table_.get_descriptors();
    list.insert(list.begin(), descriptor_ptr());
    EXPECT_DEATH(table_.get_descriptor_from(0x52, list), "px != 0");
    table_.get_descriptors().insert(table_.get_descriptors().begin(), descriptor_ptr());
    EXPECT_DEATH(table_.get_descriptor(0x52), "px != 0");
}

// --- Handles ---

TEST(DescriptorHandle, OutlivesItsTableAndDestroysTheWholeObjectAtLast) {
    const log_capture log;
    const std::string long_name(60, 'x');  // in memory of its own, which the last handle frees
    descriptor_ptr handle;
    {
        psi_table table;
        const exact_block loop(describe_service(1, "", long_name));
        table._parse_descriptors(loop.data(), loop.size());
        handle = table.get_descriptors()[0];
    }
    const boost::weak_ptr<descriptor> watched = handle;
    EXPECT_EQ(boost::dynamic_pointer_cast<service_descriptor>(handle)->service_name, long_name);
    handle.reset();
    EXPECT_TRUE(watched.expired());
}

TEST(DescriptorHandle, IsReadAndReleasedOnOtherThreadsWhileTheTableGoesOn) {
    const log_capture log(OrvixLog::ERROR);
    constexpr int rounds = 50;
    constexpr int streams = 4;
    bytes loop;
    for (int i = 0; i < streams; ++i) {
        loop = std::move(loop) +
               elementary_stream(0x1B, static_cast<std::uint16_t>(0x100 + i),
                                 describe_component(1, 0xB3, static_cast<std::uint8_t>(i), "por",
                                                    "a text in memory of its own"));
    }
    const bytes section = pmt_section(1, 0x100, {}, loop);

    std::atomic<int> read{0};
    std::vector<std::thread> readers;
    pmt table;
    for (int round = 0; round < rounds; ++round) {
        parse_exactly(table, section);
        for (const pmt::stream_info_type& stream : table.streams) {
            readers.emplace_back([handle = stream.descriptors.at(0), &read]() mutable {
                const auto component = boost::dynamic_pointer_cast<component_descriptor>(handle);
                if (component->text == "a text in memory of its own") ++read;
                handle.reset();
            });
        }
        if (round % 2 == 0) table.clear();  // else the next parse lets go of the handles
        for (std::thread& reader : readers) reader.join();
        readers.clear();
    }
    EXPECT_EQ(read, rounds * streams);
}

}  // namespace
}  // namespace orvix::si_parser
