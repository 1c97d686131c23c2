#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace orvix::broadcast {

/// How much of one kind a broadcast may make us keep. Whoever keeps it asks before each addition;
/// what does not fit any more is left out and counted, and what is kept stays right.
struct bound {
    std::string_view what;  ///< in the plural, as a message names them: "programmes"
    std::size_t most = 0;
    std::uint64_t left_out = 0;

    /// Whether one more fits beside the `kept` ones; counts it as left out if not.
    bool admits(std::size_t kept) {
        if (kept < most) return true;
        ++left_out;
        return false;
    }
};

}  // namespace orvix::broadcast
