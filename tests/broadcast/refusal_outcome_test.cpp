#include <broadcast/refusal_outcome.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <small_broadcast.h>

namespace orvix::broadcast {
namespace {

using test::bytes;
using testing::HasSubstr;

std::string outcome_of(const bytes& section) {
    const auto why = section_feed::check_section(section.data(), section.size());
    EXPECT_FALSE(why.admitted());
    return std::string(refusal_outcome(why));
}

bytes first_of(const bytes& section, std::ptrdiff_t size) {
    return {section.begin(), section.begin() + size};
}

TEST(RefusalOutcome, SectionsThatTheHeaderChecksRefuseAreDropped) {
    EXPECT_THAT(outcome_of(first_of(test::sdt(), 6)), HasSubstr("drops it"));
    EXPECT_THAT(outcome_of(first_of(test::sdt(), 40)), HasSubstr("drops it"));
    EXPECT_THAT(outcome_of(first_of(test::tdt(), 7)), HasSubstr("drops it"));
    EXPECT_THAT(outcome_of(first_of(test::tot(), 9)), HasSubstr("drops it"));
}

TEST(RefusalOutcome, HeadersThatPassTheChecksAreReadToTheirEnd) {
    EXPECT_THAT(outcome_of(first_of(test::sdt(), 7)), HasSubstr("reads past the section's end"));
    EXPECT_THAT(outcome_of(test::nit_section(1, bytes(1, 0x48), {})),
                HasSubstr("reads past the section's end"));
}

TEST(RefusalOutcome, SectionsWithoutSectionSyntaxIndicatorArePassedOver) {
    EXPECT_THAT(outcome_of({0x42, 0x30, 0x00}), HasSubstr("passes it over"));
}

TEST(RefusalOutcome, DamageIsTakenForContent) {
    bytes damaged = test::sdt();
    damaged.back() ^= 1;
    EXPECT_THAT(outcome_of(damaged), HasSubstr("no CRC_32"));
}

TEST(RefusalOutcome, APmtOf260BytesNeverEnds) {
    const bytes stream = test::elementary_stream(0x1B, 0x0111, test::descriptor(0x99, bytes(237)));
    const bytes section = test::pmt_section(1, 2, {}, stream);
    ASSERT_EQ(section.size(), 260u);
    EXPECT_THAT(outcome_of(section), HasSubstr("never ends"));
}

}  // namespace
}  // namespace orvix::broadcast
