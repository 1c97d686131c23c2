#pragma once

#include <section_feed/packet_reader.h>
#include <section_feed/stream_clock.h>
#include <section_feed/stream_counts.h>

#include <cstddef>
#include <cstdint>
#include <optional>

#include "place.h"
#include "table_ref.h"

namespace orvix::broadcast {

class programs;

/// A section that the gate admitted; valid during the call that hands it over.
struct sighting {
    place where;
    const std::uint8_t* bytes = nullptr;
    std::size_t size = 0;
    /// Whether it differs from the last one that stood in its place. A time always does.
    bool is_new = false;
    /// What a receiver makes of it. Null for a repeat that nobody wants to see again, and for a
    /// section that the library passes over: one without section_syntax_indicator.
    const table_ref* table = nullptr;
    /// What PAT and PMTs said before it; null in a file of bare sections.
    const programs* known_programs = nullptr;
    /// Of the stream, from its first packet to that in which the section ended; none where no PCRs
    /// tell it (yet).
    std::optional<double> seconds;
};

/// Is told what comes in an input, in its order.
class observer {
public:
    observer() = default;
    virtual ~observer() = default;
    observer(const observer&) = delete;
    observer& operator=(const observer&) = delete;

    /// What is wrong with a packet, of any PID. Before the section that the packet ends.
    virtual void packet_fault(const section_feed::packet& /*packet*/, std::uint16_t /*pid*/,
                              section_feed::packet_fault /*what*/) {}
    virtual void clock_reference(const section_feed::clock_reference& /*reference*/) {}
    virtual void section(const sighting& seen) = 0;
    virtual void refused(const place& where, const refusal& what) = 0;
    /// Whether it has seen enough; asked behind each section.
    virtual bool is_done() const { return false; }
};

}  // namespace orvix::broadcast
