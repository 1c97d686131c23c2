#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

#include "finding.h"

namespace orvix::broadcast {

/// When to look again at what has been seen, and to review what tables say together.
///
/// A look takes as long as some packets do for each thing that is looked at: it waits for so many,
/// whatever the clock says. Without a clock there is one, at the stream's end.
class review_pace {
public:
    explicit review_pace(double seconds = 0.5) : look_every_(seconds) {}

    bool is_due(const moment_of_stream& now) const {
        return now.seconds && *now.seconds >= next_look_ && now.number >= next_packet_ &&
               is_settled(now);
    }
    void reviewed(const moment_of_stream& now, std::uint64_t looked_at) {
        next_look_ = now.seconds.value_or(0) + look_every_;
        next_packet_ = now.number + looked_at;
    }

    /// A table has changed; those that have to change with it come within so many seconds.
    void changed(const moment_of_stream& now, double others_within) {
        if (now.seconds) settled_ = std::max(settled_, *now.seconds + others_within);
    }
    /// Whether no table is still on its way, after another has changed.
    bool is_settled(const moment_of_stream& now) const {
        return !now.seconds || *now.seconds >= settled_;
    }

private:
    double look_every_;  ///< in seconds, as all of these
    double next_look_ = 0;
    double settled_ = 0;
    std::uint64_t next_packet_ = 0;
};

}  // namespace orvix::broadcast
