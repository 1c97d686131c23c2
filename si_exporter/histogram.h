#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace orvix::si_exporter {

/// How often a table came after how many seconds.
struct histogram {
    // Between the shortest interval that a table may have and the longest that one is given.
    static constexpr std::array<double, 13> bounds = {0.025, 0.05, 0.1, 0.2, 0.5, 1, 2,
                                                      3,     5,    10,  20,  30,  60};
    /// As many as came after at most the bound of the same place, and more than the one before;
    /// the last one has what came later than all.
    std::array<std::uint64_t, bounds.size() + 1> counts = {};
    double sum = 0;

    void add(double seconds) {
        std::size_t place = 0;
        while (place < bounds.size() && seconds > bounds[place]) ++place;
        ++counts[place];
        sum += seconds;
    }
};

}  // namespace orvix::si_exporter
