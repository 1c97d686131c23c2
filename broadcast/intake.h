#pragma once

#include <section_feed/section_gate.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "observer.h"
#include "repeats.h"
#include "table_decoder.h"

namespace orvix::broadcast {

struct intake_settings {
    bool check_crc = true;        ///< else sections with a wrong CRC_32 are taken, and marked
    bool decode_repeats = false;  ///< else the observer gets repeats without their table
    /// Set when no more sections are to be taken; looked at between packets.
    const std::atomic<bool>* interrupted = nullptr;
};

/// What every kind of input does with a section: asks the gate, tells repeats, decodes, hands on.
class intake {
public:
    intake(observer& to, const intake_settings& how) : to_(to), how_(how) {}

    section_feed::gate_options gate_options() const { return {how_.check_crc}; }

    /// Takes a section that the gate admitted, with a spare byte behind it. `seen` says where, when
    /// and how large it is. Returns its table if it is new: valid until the next call.
    const table_ref* admit(sighting seen, std::uint8_t* section);
    void refuse(const place& where, const refusal& what);

    /// What comes on this PID from now on is new.
    void forget(std::uint16_t pid) { repeats_.forget(pid); }
    const bound& places() const { return repeats_.places(); }

    /// Whether the observer wants no more, or the reading was interrupted.
    bool is_over() const {
        return is_done_ ||
               (how_.interrupted != nullptr && how_.interrupted->load(std::memory_order_relaxed));
    }

private:
    observer& to_;
    intake_settings how_;
    repeats repeats_;
    table_decoder decoder_;
    std::optional<table_ref> table_;
    bool is_done_ = false;
};

}  // namespace orvix::broadcast
