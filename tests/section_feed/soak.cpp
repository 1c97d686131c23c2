// Damages broadcasts at random until the time is over; see scripts/soak.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>

#include "damage.h"

namespace {

using namespace orvix::test;

constexpr std::size_t packet_sizes[] = {188, 192, 204};

/// Everything about a trial follows from its seed. False if it found a fault.
bool run_trial(std::uint32_t seed) {
    std::mt19937 random(seed);
    const auto rate = [&random] {
        constexpr double rates[] = {0, 0, 0.001, 0.01, 0.05, 0.2};
        return rates[random() % 6];
    };
    damage_rates rates;
    rates.lost = rate();
    rates.doubled = rate();
    rates.swapped = rate();
    rates.flipped = rate();
    rates.torn = rate();
    const std::size_t packet_size = packet_sizes[random() % 3];

    const reception result = receive(make_damaged_broadcast(seed, rates, packet_size), seed);
    for (const std::string& fault : result.faults) {
        std::fprintf(stderr, "seed %u: %s\n", seed, fault.c_str());
    }
    return result.faults.empty();
}

}  // namespace

// soak SECONDS runs random seeds for so long; soak 0 SEED repeats one.
int main(int argc, char** argv) {
    if (argc == 3) {
        return run_trial(static_cast<std::uint32_t>(std::strtoul(argv[2], nullptr, 10))) ? 0 : 1;
    }
    const auto seconds = std::chrono::seconds(argc > 1 ? std::strtol(argv[1], nullptr, 10) : 60);
    const auto end = std::chrono::steady_clock::now() + seconds;
    std::random_device any;
    unsigned long trials = 0;
    do {
        if (!run_trial(any())) return 1;
        ++trials;
    } while (std::chrono::steady_clock::now() < end);
    std::printf("%lu damaged broadcasts, no fault\n", trials);
}
