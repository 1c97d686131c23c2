#pragma once

#include <broadcast/findings/ledger.h>
#include <broadcast/observer.h>

#include <cstdint>
#include <ctime>
#include <optional>

namespace orvix::broadcast {

/// The broadcast's own clock, by TDT and TOT: what it says between them, and whether it is right.
class broadcast_clock {
public:
    explicit broadcast_clock(ledger& to) : to_(to) {}

    /// A TDT or TOT; others say nothing.
    void take(const sighting& seen);

    /// Nothing is known of how long the stream's clock stood still.
    void forget();

    /// The time at this second of the stream; none before the broadcast has told it.
    std::optional<std::time_t> time(std::optional<double> seconds) const;

private:
    struct reading {
        std::int64_t time = 0;  ///< as sent
        std::optional<double> seconds;
    };
    void compare(const reading& now, std::uint8_t table_id);
    void check(const reading& now, std::uint8_t table_id);

    ledger& to_;
    std::optional<reading> last_;
    std::optional<reading> compared_;  ///< with which the next ones are
};

}  // namespace orvix::broadcast
