#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <progress.h>

#include <vector>

namespace orvix::si_inspect {
namespace {

constexpr std::uint64_t mebibyte = 1024 * 1024;

TEST(Progress, ShowsPartRateAndTimeLeft) {
    EXPECT_EQ(progress::line(50 * mebibyte, 100 * mebibyte, 2),
              "[###############               ]   50%  25.0 MiB/s  0:02 left");
    EXPECT_EQ(progress::line(1 * mebibyte, 601 * mebibyte, 1),
              "[                              ]    0%  1.0 MiB/s  10:00 left");
}

TEST(Progress, OfAFileThatGrowsStaysComplete) {
    EXPECT_EQ(progress::line(3 * mebibyte, 2 * mebibyte, 1),
              "[##############################]  100%  3.0 MiB/s  0:00 left");
}

TEST(Progress, AtTheVeryStartKnowsNoRate) {
    EXPECT_EQ(progress::line(mebibyte, 2 * mebibyte, 0),
              "[###############               ]   50%  0.0 MiB/s");
}

using testing::Eq;
using testing::Optional;

TEST(Silence, IsToldAtEachTenTimesOfTheLast) {
    silence nothing;
    std::vector<std::uint64_t> told;
    for (int read = 0; read < 120; ++read) {
        if (const auto mebibytes = nothing.update(mebibyte, 0)) told.push_back(*mebibytes);
    }
    EXPECT_THAT(told, testing::ElementsAre(1, 10, 100));
}

TEST(Silence, BeginsAnewWithWhatIsFoundButTellsNotMoreForIt) {
    silence nothing;
    EXPECT_EQ(nothing.update(mebibyte / 2, 0), std::nullopt);
    EXPECT_EQ(nothing.update(mebibyte / 2, 1), std::nullopt);
    EXPECT_EQ(nothing.update(mebibyte / 2, 1), std::nullopt);
    EXPECT_THAT(nothing.update(mebibyte / 2, 1), Optional(Eq(1u)));
    EXPECT_EQ(nothing.update(mebibyte, 2), std::nullopt);
    EXPECT_EQ(nothing.update(9 * mebibyte, 2), std::nullopt);
    EXPECT_THAT(nothing.update(mebibyte, 2), Optional(Eq(10u)));
}

}  // namespace
}  // namespace orvix::si_inspect
