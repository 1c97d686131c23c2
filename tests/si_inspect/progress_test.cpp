#include <gtest/gtest.h>
#include <progress.h>

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

}  // namespace
}  // namespace orvix::si_inspect
