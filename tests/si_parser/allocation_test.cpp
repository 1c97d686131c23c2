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

// --- A parse, once the table's lists of records have grown ---

template <typename Table>
long allocations_of_a_parse(const bytes& section) {
    const exact_block block(section);
    Table table;
    table.parse(block.data(), block.size());
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

}  // namespace
}  // namespace orvix::si_parser
