// What memory a parse takes from the heap.

#include <failing_allocator.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <isdb_sections.h>
#include <log_capture.h>
#include <parse_exactly.h>
#include <si_parser/iso_to_utf8.h>
#include <si_parser/psi_table.h>
#include <si_parser/tdt.h>

#include <algorithm>
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
            EXPECT_LE(text.capacity(), std::max(text.size(), std::string().capacity()));
        }
    }
}

}  // namespace
}  // namespace orvix::si_parser
