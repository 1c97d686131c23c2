#include <broadcast/descriptor_visit.h>
#include <gtest/gtest.h>
#include <isdb_sections.h>
#include <parse_exactly.h>
#include <si_parser/nit.h>

#include <typeinfo>

namespace orvix::broadcast {
namespace {

using test::bytes;
using test::operator+;

TEST(DescriptorVisit, HandsOverEachDescriptorOfTheLibraryAsTheClassThatItIs) {
    // A body of zeros serves them all; protocol_id stands in the first two bytes.
    const bytes none(16);
    bytes loop;
    const bytes tags = {0x00, 0x01, 0x04, 0x07, 0x0B, 0x48, 0x4D,
                        0x50, 0x52, 0x54, 0x55, 0x58, 0xCD};
    for (const std::uint8_t tag : tags) loop = loop + test::descriptor(tag, none);
    const bytes protocol_ids = {1, 2, 4};
    for (const std::uint8_t protocol_id : protocol_ids) {
        bytes transport = none;
        transport[1] = protocol_id;
        loop = loop + test::descriptor(0x02, transport);
    }
    si_parser::nit table;
    test::parse_exactly(table, test::nit_section(1, loop, {}));
    ASSERT_EQ(table.descriptors.size(), 16u);

    for (const si_parser::descriptor_ptr& handle : table.descriptors) {
        const si_parser::descriptor& d = *handle;
        int calls = 0;
        visit_descriptor(d, [&](const auto& known) {
            ++calls;
            EXPECT_TRUE(typeid(std::decay_t<decltype(known)>) == typeid(d)) << +d.tag;
            EXPECT_EQ(&known, &d);
        });
        EXPECT_EQ(calls, 1) << +d.tag;
    }
}

}  // namespace
}  // namespace orvix::broadcast
