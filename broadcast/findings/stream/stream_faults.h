#pragma once

#include <broadcast/findings/ledger.h>
#include <broadcast/findings/review_pace.h>
#include <broadcast/observer.h>

#include <map>
#include <optional>
#include <string>

namespace orvix::broadcast {

/// What is wrong with packets and clock references, and with how sections are laid out in packets.
class stream_faults {
public:
    explicit stream_faults(ledger& to) : to_(to) {}

    void take(const packet_gap& skipped);
    void take(std::uint16_t pid, section_feed::packet_fault what);
    void take(const section_feed::clock_reference& reference);
    void take_drop(std::uint16_t pid, section_feed::drop_reason why);
    void take_wrong_crc(const place& where, std::uint8_t table_id);

    /// Looks for PCRs that have not come for long, too.
    void packets_passed();

private:
    struct last_reference {
        std::optional<double> seconds;
        bool is_late = false;  ///< the next one
    };
    std::string rare_words(std::uint16_t pid, double seconds) const;
    void note_jump(std::uint16_t pid, double difference);

    ledger& to_;
    std::map<std::uint16_t, last_reference> last_references_;  ///< by PID
    review_pace pace_;
};

}  // namespace orvix::broadcast
