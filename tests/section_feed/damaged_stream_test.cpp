#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "damage.h"

namespace orvix::test {
namespace {

using testing::IsEmpty;

constexpr std::size_t all_packet_sizes[] = {188, 192, 204};
constexpr double rising[] = {0.001, 0.01, 0.05, 0.2, 0.5};
constexpr std::uint32_t seeds = 8;

std::size_t undisturbed(const damaged_broadcast& broadcast) {
    return static_cast<std::size_t>(
        std::count(broadcast.undisturbed.begin(), broadcast.undisturbed.end(), true));
}

/// Every section that the damage left alone comes once, whatever the rate.
void expect_undisturbed_sections(damage_rates (*rates_at)(double)) {
    for (const std::size_t packet_size : all_packet_sizes) {
        for (const double rate : rising) {
            for (std::uint32_t seed = 1; seed <= seeds; ++seed) {
                const auto broadcast = make_damaged_broadcast(seed, rates_at(rate), packet_size);
                const reception result = receive(broadcast, seed);
                EXPECT_THAT(result.faults, IsEmpty())
                    << "seed " << seed << ", rate " << rate << ", packets of " << packet_size;
                if (result.sections < broadcast.sections.size()) {
                    EXPECT_GT(result.counted_losses, 0u) << "seed " << seed << ", rate " << rate;
                }
            }
        }
    }
}

TEST(DamagedStream, DeliversEverythingWithoutDamage) {
    for (const std::size_t packet_size : all_packet_sizes) {
        const auto broadcast = make_damaged_broadcast(1, {}, packet_size);
        EXPECT_EQ(undisturbed(broadcast), broadcast.sections.size());
        const reception result = receive(broadcast, 1);
        EXPECT_THAT(result.faults, IsEmpty());
        EXPECT_EQ(result.sections, broadcast.sections.size());
        EXPECT_EQ(result.counted_losses, 0u);
    }
}

TEST(DamagedStream, DeliversTheRestWhenPacketsAreLost) {
    expect_undisturbed_sections([](double rate) {
        damage_rates rates;
        rates.lost = rate;
        return rates;
    });
}

TEST(DamagedStream, CountsEveryGapThatLostPacketsLeave) {
    for (std::uint32_t seed = 1; seed <= seeds; ++seed) {
        damage_rates rates;
        rates.lost = 0.05;
        const auto broadcast = make_damaged_broadcast(seed, rates);
        EXPECT_FALSE(broadcast.gaps.empty());
        EXPECT_EQ(receive(broadcast, seed).discontinuities, broadcast.gaps) << "seed " << seed;
    }
}

TEST(DamagedStream, DeliversEverythingOnceWhenPacketsAreDoubled) {
    for (const double rate : rising) {
        damage_rates rates;
        rates.doubled = rate;
        const auto broadcast = make_damaged_broadcast(1, rates);
        const reception result = receive(broadcast, 1);
        EXPECT_THAT(result.faults, IsEmpty());
        EXPECT_EQ(result.sections, broadcast.sections.size());
        EXPECT_EQ(result.counted_losses, 0u);
    }
}

TEST(DamagedStream, DeliversTheRestWhenPacketsAreSwapped) {
    expect_undisturbed_sections([](double rate) {
        damage_rates rates;
        rates.swapped = rate;
        return rates;
    });
}

TEST(DamagedStream, DeliversTheRestWhenBitsAreFlipped) {
    expect_undisturbed_sections([](double rate) {
        damage_rates rates;
        rates.flipped = rate;
        return rates;
    });
}

TEST(DamagedStream, DeliversTheRestWhenThePacketsAreTorn) {
    expect_undisturbed_sections([](double rate) {
        damage_rates rates;
        rates.torn = rate;
        return rates;
    });
}

TEST(DamagedStream, DeliversTheRestWhenEverythingHappensAtOnce) {
    expect_undisturbed_sections([](double rate) {
        return damage_rates{rate, rate, rate, rate, rate};
    });
}

// Keeps the tests above honest: the damage is there, and it leaves something to deliver.
TEST(DamagedStream, LeavesFewerSectionsUndisturbedAsTheRatesRise) {
    std::vector<std::size_t> left;
    std::vector<std::size_t> delivered;
    for (const double rate : rising) {
        const auto broadcast = make_damaged_broadcast(1, {rate, rate, rate, rate, rate});
        left.push_back(undisturbed(broadcast));
        delivered.push_back(receive(broadcast, 1).sections);
        EXPECT_GT(left.back(), 0u);
        EXPECT_GE(delivered.back(), left.back());
    }
    EXPECT_TRUE(std::is_sorted(left.rbegin(), left.rend()));
    EXPECT_LT(left.back(), left.front() / 2);
}

}  // namespace
}  // namespace orvix::test
