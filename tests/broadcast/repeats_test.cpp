#include <broadcast/repeats.h>
#include <gtest/gtest.h>
#include <isdb_sections.h>

namespace orvix::broadcast {
namespace {

using namespace test;

constexpr std::uint16_t pid = 0x0011;

class Repeats : public testing::Test {
protected:
    bool is_new(const bytes& section, std::uint16_t on = pid) {
        return known.is_new(on, section.data(), section.size());
    }
    static bytes with_extension(std::uint16_t extension) {
        return long_section(0x74, extension, {1, 2, 3});
    }

    repeats known;
};

TEST_F(Repeats, AreKnownByPlaceAndBytes) {
    EXPECT_TRUE(is_new(with_extension(1)));
    EXPECT_FALSE(is_new(with_extension(1)));
    EXPECT_TRUE(is_new(with_extension(2)));
    EXPECT_TRUE(is_new(with_extension(1), pid + 1));
    EXPECT_TRUE(is_new(long_section(0x74, 1, {1, 2, 4})));
    EXPECT_TRUE(is_new(with_extension(1))) << "it came back";
}

TEST_F(Repeats, DifferInAnyOneByte) {
    const bytes section = with_extension(1);
    for (std::size_t i = 0; i < section.size(); ++i) {
        for (int bit = 0; bit < 8; ++bit) {
            bytes other = section;
            other[i] ^= static_cast<std::uint8_t>(1 << bit);
            is_new(section);
            EXPECT_TRUE(is_new(other)) << "byte " << i << ", bit " << bit;
        }
    }
}

TEST_F(Repeats, DifferInTheirSizeAlone) {
    bytes section = with_extension(1);
    EXPECT_TRUE(is_new(section));
    section.push_back(0);
    EXPECT_TRUE(is_new(section));
    section.push_back(0);
    EXPECT_TRUE(is_new(section));
}

TEST_F(Repeats, AreThoseOfTheCurrentAndOfTheNextVersionEach) {
    const bytes current = long_section(0x74, 1, {1}, {0, 1});
    const bytes next = long_section(0x74, 1, {2}, {1, 0});
    EXPECT_TRUE(is_new(current));
    EXPECT_TRUE(is_new(next));
    EXPECT_FALSE(is_new(current));
    EXPECT_FALSE(is_new(next));
}

TEST_F(Repeats, AreToldApartByTheNetworkAndTheStreamThatTheyDescribe) {
    std::vector<bytes> sections;
    for (const std::uint8_t table_id : bytes{0x42, 0x46}) {
        for (std::uint16_t network = 1; network <= 2; ++network) {
            sections.push_back(sdt_section(1, network, {}));
            sections.back()[0] = table_id;
        }
    }
    for (const std::uint8_t table_id : bytes{0x4E, 0x4F, 0x50, 0x5F, 0x60, 0x6F}) {
        const auto eit = [&](std::uint16_t stream, std::uint16_t network) {
            return eit_section({table_id, 1, stream, network, 0, table_id}, {});
        };
        sections.insert(sections.end(), {eit(1, 1), eit(2, 1), eit(1, 2)});
    }
    for (const bytes& section : sections) EXPECT_TRUE(is_new(section));
    for (const bytes& section : sections) EXPECT_FALSE(is_new(section));
}

TEST_F(Repeats, AreForgottenByPid) {
    is_new(with_extension(1));
    is_new(with_extension(1), pid + 1);
    known.forget(pid);
    EXPECT_TRUE(is_new(with_extension(1)));
    EXPECT_FALSE(is_new(with_extension(1), pid + 1));
}

TEST_F(Repeats, StayRightWhereMorePlacesComeThanAreRemembered) {
    const std::size_t most = known.places().most;
    for (std::size_t i = 0; i < most; ++i) {
        is_new(with_extension(static_cast<std::uint16_t>(i)), static_cast<std::uint16_t>(i >> 16));
    }
    EXPECT_EQ(known.places().left_out, 0u);
    EXPECT_TRUE(is_new(with_extension(1), 0x1000));
    EXPECT_TRUE(is_new(with_extension(1), 0x1000)) << "new each time, rather than lost";
    EXPECT_EQ(known.places().left_out, 2u);
    EXPECT_FALSE(is_new(with_extension(7), 0));

    known.forget(0);
    EXPECT_TRUE(is_new(with_extension(1), 0x1000));
    EXPECT_FALSE(is_new(with_extension(1), 0x1000)) << "there is room again";
}

TEST_F(Repeats, OfTimesAreAlwaysNew) {
    const bytes tdt = {0x70, 0x70, 0x05, 0xC0, 0x79, 0x12, 0x45, 0x00};
    const bytes tot = tot_section(utc_time(61365, 0x120000), {});
    for (const bytes& time : {tdt, tot}) {
        EXPECT_TRUE(is_new(time));
        EXPECT_TRUE(is_new(time));
    }
}

}  // namespace
}  // namespace orvix::broadcast
