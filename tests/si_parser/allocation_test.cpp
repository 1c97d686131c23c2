// What memory a parse takes from the heap.

#include <failing_allocator.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <isdb_sections.h>
#include <log_capture.h>
#include <parse_exactly.h>
#include <si_parser/ait.h>
#include <si_parser/eit.h>
#include <si_parser/iso_to_utf8.h>
#include <si_parser/nit.h>
#include <si_parser/pat.h>
#include <si_parser/pmt.h>
#include <si_parser/psi_table.h>
#include <si_parser/sdt.h>
#include <si_parser/tdt.h>
#include <si_parser/tot.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace orvix::si_parser {
namespace {

using namespace orvix::test;

class Allocation : public testing::Test {
protected:
    log_capture log_{OrvixLog::NONE};
};

TEST_F(Allocation, IsNoneForAHeader) {
    const exact_block section(long_section(0x77, 0x1234, bytes(100)));
    psi_table table;
    const long before = allocations();
    table.parse_header(section.data(), section.size());
    EXPECT_EQ(allocations(), before);
    EXPECT_EQ(table.table_id_extension, 0x1234u);
}

TEST_F(Allocation, IsNoneForATdt) {
    const exact_block section(tdt_section(utc_time(0xC079, 0x124500)) + bytes{0xEE});
    tdt table;
    const long before = allocations();
    table.parse(section.data(), section.size());
    EXPECT_EQ(allocations(), before);
    EXPECT_EQ(table.utc_time, 750516300);
}

TEST_F(Allocation, IsNoneForTextIntoTheCallersBuffer) {
    const bytes run(5000, 0xA4);
    std::string out(3 * run.size(), '\0');
    unsigned int size = 0;
    const long before = allocations();
    iso_to_utf8(reinterpret_cast<const char*>(run.data()), static_cast<unsigned int>(run.size()),
                out.data(), &size);
    EXPECT_EQ(allocations(), before);
    EXPECT_EQ(size, out.size());
}

TEST_F(Allocation, IsJustTheStringForTextOfAnyLength) {
    for (const std::uint8_t byte : bytes{0x41, 0x80, 0xA4, 0xE9, 0x1D}) {
        for (const std::size_t length : {0u, 1u, 5u, 15u, 16u, 255u, 256u, 511u, 5000u, 1000000u}) {
            const exact_block run(bytes(length + 1, byte));
            const long before = allocations();
            const std::string text =
                iso_to_utf8_string(run.data(), static_cast<unsigned int>(length));
            const bool is_on_the_heap = text.capacity() > std::string().capacity();
            EXPECT_EQ(allocations() - before, is_on_the_heap ? 1 : 0) << +byte << " x " << length;
            EXPECT_LE(text.capacity(), std::string(text).capacity());  // what a copy takes
        }
    }
}

// --- A parse into an empty table, once its lists of records have grown ---

template <typename Table>
long allocations_of_a_parse(const bytes& section) {
    const exact_block block(section);
    Table table;
    table.parse(block.data(), block.size());
    table.clear();
    const long before = allocations();
    table.parse(block.data(), block.size());
    return allocations() - before;
}

const std::string long_name(30, 'n');

TEST_F(Allocation, OfAPatIsOneForEachProgramme) {
    EXPECT_EQ(allocations_of_a_parse<pat>(
                  pat_section(1, program(0, 0x10) + program(1, 0x100) + program(2, 0x200))),
              3);
}

TEST_F(Allocation, OfAPmtIsOneForEachDescriptorAndEachListOfThem) {
    const bytes tag = describe_stream_identifier(7);
    EXPECT_EQ(allocations_of_a_parse<pmt>(
                  pmt_section(1, 0x100, tag,
                              elementary_stream(0x1B, 0x101, tag + tag) +
                                  elementary_stream(0x0F, 0x102, test::descriptor(0xC1)) +
                                  elementary_stream(0x06, 0x103))),
              1 + 3);
}

TEST_F(Allocation, OfAnSdtHasOneMoreForEachNameThatIsLong) {
    EXPECT_EQ(allocations_of_a_parse<sdt>(
                  sdt_section(1, 1,
                              service(2, 4, 0, describe_service(1, long_name, "short")) +
                                  service(1, 4, 0, describe_service(1, long_name, long_name)))),
              2 * (1 + 1 + 1) + 1);
}

TEST_F(Allocation, OfAnEitHasOneMoreForEachListInADescriptor) {
    const bytes event_descriptors = describe_short_event("por", long_name, long_name) +
                                    describe_component(1, 0xB3, 0, "por") +
                                    describe_content({0x10, 0xFF, 0x20, 0xFF}) +
                                    describe_parental_ratings(parental_rating("BRA", 1));
    EXPECT_EQ(allocations_of_a_parse<eit>(
                  eit_section({}, event(1, utc_time(61365, 0), 0x010000, 4, 0, event_descriptors))),
              1 + 4 + 2 + 1 + 1);
}

TEST_F(Allocation, OfAnAitGrowsNoList) {
    const bytes profile = application_profile(1, 1, 0, 0);
    const bytes name = application_name("por", long_name);
    EXPECT_EQ(allocations_of_a_parse<ait>(ait_section(
                  9, {},
                  application(10, 1, 1,
                              describe_application(profile + profile + profile, 1, 3, 1) +
                                  describe_application_names(name + name + name) +
                                  describe_object_carousel(1, 0x40) +
                                  describe_ginga_location(7, "/", "", long_name)))),
              1 + 4 + 1 + (1 + 3) + 1);
}

TEST_F(Allocation, OfANitIsOneForEachDescriptorAndEachListOfThem) {
    const bytes described = describe_ts_information(4, "Orvix");
    EXPECT_EQ(allocations_of_a_parse<nit>(nit_section(
                  1, {}, transport_stream(1, 1, described) + transport_stream(2, 1, described))),
              2 * 2);
}

// --- A parse into a table that holds a section ---

/// What the second section takes from the heap.
template <typename Table>
long allocations_of_a_second_parse(const bytes& first, const bytes& second) {
    const exact_block first_block(first);
    const exact_block second_block(second);
    Table table;
    table.parse(first_block.data(), first_block.size());
    const long before = allocations();
    table.parse(second_block.data(), second_block.size());
    return allocations() - before;
}

bytes nit_of(std::size_t streams) {
    bytes loop;
    for (std::size_t i = 0; i < streams; ++i) {
        loop = loop + transport_stream(static_cast<std::uint16_t>(i), 1,
                                       describe_ts_information(4, "Orvix"));
    }
    return nit_section(1, {}, loop);
}

TEST_F(Allocation, IsNoneWhereDescriptorsAndTheirListsTakeThePlaceOfThoseBefore) {
    EXPECT_EQ(allocations_of_a_second_parse<nit>(nit_of(5), nit_of(5)), 0);
    EXPECT_EQ(allocations_of_a_second_parse<nit>(nit_of(5), nit_of(2)), 0);
    const bytes services = sdt_section(1, 1,
                                       service(2, 4, 0, describe_service(1, "short", "short")) +
                                           service(1, 4, 0, describe_service(1, "", "")));
    EXPECT_EQ(allocations_of_a_second_parse<sdt>(services, services), 0);
    const bytes described = describe_local_time_offsets(
        local_time_offset("BRA", 1, 1, 0x0300, utc_time(0xC079, 0), 0x0200));
    EXPECT_EQ(allocations_of_a_second_parse<tot>(tot_section(utc_time(61365, 0), described),
                                                 tot_section(utc_time(61366, 0), described)),
              0);
}

TEST_F(Allocation, OfASecondParseIsOneForEachLongTextListAndCountry) {
    const bytes event_descriptors = describe_short_event("por", long_name, long_name) +
                                    describe_component(1, 0xB3, 0, "por") +
                                    describe_content({0x10, 0xFF, 0x20, 0xFF}) +
                                    describe_parental_ratings(parental_rating("BRA", 1));
    const bytes section =
        eit_section({}, event(1, utc_time(61365, 0), 0x010000, 4, 0, event_descriptors));
    EXPECT_EQ(allocations_of_a_second_parse<eit>(section, section), 2 + 1 + 1);
}

TEST_F(Allocation, OfASecondAitIsOneForEachListAndLongTextInADescriptor) {
    const bytes section =
        ait_section(9, describe_object_carousel(1, 0x40),
                    application(10, 1, 1,
                                describe_application(application_profile(1, 1, 0, 0), 1, 3, 1) +
                                    describe_icon("/" + long_name, 1)));
    EXPECT_EQ(allocations_of_a_second_parse<ait>(section, section), 1 + 1);
}

TEST_F(Allocation, OfASecondParseIsForDescriptorsBeyondThoseBefore) {
    const bytes tag = describe_stream_identifier(7);
    const auto pmt_of = [&](const bytes& descriptors) {
        return pmt_section(1, 0x100, {}, elementary_stream(0x1B, 0x101, descriptors));
    };
    EXPECT_EQ(allocations_of_a_second_parse<pmt>(pmt_of(tag), pmt_of(tag + tag + tag)), 2 + 1);
}

TEST_F(Allocation, OfASecondParseIsForAllDescriptorsWhereTheOldOnesAreStillHeld) {
    const exact_block section(nit_of(3));
    nit table;
    table.parse(section.data(), section.size());
    const auto held = table.transport_streams;
    const long before = allocations();
    table.parse(section.data(), section.size());
    EXPECT_EQ(allocations() - before, 3);
    for (std::size_t i = 0; i < held.size(); ++i) {
        EXPECT_NE(held[i].descriptors.at(0), table.transport_streams[i].descriptors.at(0));
    }
}

TEST_F(Allocation, LeavesNothingBehindOfDescriptorsThatASmallerSectionDoesNotReplace) {
    const exact_block large(nit_of(40));
    const exact_block small(nit_of(1));
    nit table;
    table.parse(small.data(), small.size());
    table.transport_streams.reserve(40);
    const long before = live_blocks();
    table.parse(large.data(), large.size());
    EXPECT_EQ(live_blocks() - before, 2 * 39);
    table.parse(small.data(), small.size());
    EXPECT_EQ(live_blocks(), before);
    table.clear();
    EXPECT_EQ(live_blocks(), before - 2);
}

TEST_F(Allocation, OfALongListIsNotHandedOnToShortOnes) {
    bytes long_loop;
    for (int i = 0; i < 40; ++i) long_loop = long_loop + describe_stream_identifier(7);
    const auto nit_with = [](const bytes& descriptors) {
        return nit_section(1, {}, transport_stream(1, 1, descriptors));
    };
    const exact_block large(nit_with(long_loop));
    const exact_block small(nit_with(describe_stream_identifier(7)));
    nit table;
    table.parse(large.data(), large.size());
    EXPECT_GE(table.transport_streams.at(0).descriptors.capacity(), 40u);
    table.parse(small.data(), small.size());
    EXPECT_EQ(table.transport_streams.at(0).descriptors.capacity(), 1u);
}

}  // namespace
}  // namespace orvix::si_parser
