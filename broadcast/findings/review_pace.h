#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

#include "finding.h"

namespace orvix::broadcast {

/// When to review what tables say together.
///
/// A review takes as long as some packets do for each thing that it looks at: it waits for so many,
/// whatever the clock says. Without a clock there is one, at the stream's end.
class review_pace {
public:
    bool is_due(const moment_of_stream& now) const {
        return now.seconds && *now.seconds >= next_look_ && now.number >= next_packet_ &&
               is_settled(now);
    }
    void reviewed(const moment_of_stream& now, std::uint64_t looked_at) {
        next_look_ = now.seconds.value_or(0) + look_every;
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
    static constexpr double look_every = 0.5;

    double next_look_ = 0;  ///< in seconds, as is `settled_`
    double settled_ = 0;
    std::uint64_t next_packet_ = 0;
};

}  // namespace orvix::broadcast
