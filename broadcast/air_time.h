#pragma once

#include <cstdint>
#include <ctime>
#include <optional>

#include "observer.h"

namespace orvix::broadcast {

/// The time that a TDT or TOT tells, `undefined_time` included; none for other tables.
std::optional<std::time_t> time_in(const table_ref& table);

/// When a stream was on air: the broadcast's clock (TDT, TOT) at its first and its last packet,
/// counted on from the tables that tell it by the stream's own clock.
class air_time {
public:
    struct span {
        std::int64_t begin = 0;  ///< as sent, on the broadcast's clock
        std::int64_t end = 0;
    };

    /// A TDT or TOT; others say nothing.
    void take(const sighting& seen);

    /// `seconds` is how long the stream lasted. None where no time came that the stream's clock
    /// can be set by.
    std::optional<span> told(std::optional<double> seconds) const;

private:
    struct reading {
        std::int64_t time = 0;
        double seconds = 0;
    };
    std::optional<reading> first_;
    std::optional<reading> last_;
};

}  // namespace orvix::broadcast
