#include "hostile_streams.h"

#include <gmock/gmock.h>
#include <section_feed/section_gate.h>

#include <set>

namespace orvix::test {

namespace {

class HostileStreams : public testing::TestWithParam<hostile_stream> {};

TEST_P(HostileStreams, SendWhatTheGateAdmitsUnlessTheyAreAboutRefusals) {
    const bool is_admitted = std::string(GetParam().name) != "refusals-all-different";
    for (const std::uint32_t number : {0u, 1u, 255u, 256u, 8000u, 70'000u, 3'000'000u}) {
        const sent_section sent = GetParam().section(number);
        const auto gate = section_feed::check_section(sent.section.data(), sent.section.size());
        EXPECT_EQ(gate.admitted(), is_admitted) << number << ": " << gate.text();
    }
}

INSTANTIATE_TEST_SUITE_P(All, HostileStreams, testing::ValuesIn(hostile_streams()),
                         [](const testing::TestParamInfo<hostile_stream>& stream) {
                             std::string name = stream.param.name;
                             for (char& c : name) c = c == '-' ? '_' : c;
                             return name;
                         });

TEST(HostileStreamsRefusals, AreAllDifferent) {
    const hostile_stream& refusals = hostile_stream_of("refusals-all-different");
    std::set<std::string> texts;
    for (std::uint32_t number = 0; number < 10000; ++number) {
        const bytes section = refusals.section(number).section;
        texts.insert(section_feed::check_section(section.data(), section.size()).text());
    }
    EXPECT_EQ(texts.size(), 10000u);
}

}  // namespace

}  // namespace orvix::test
