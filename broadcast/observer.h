#pragma once

#include <section_feed/packet_reader.h>
#include <section_feed/section_collector.h>
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

/// What a transport stream has shown so far; lives as long as it is read.
struct stream_facts {
    const section_feed::stream_clock& clock;
    const section_feed::stream_counts& counts;
    const programs& known_programs;
};

/// Bytes between packets that belong to none.
struct packet_gap {
    std::uint64_t next_packet = 0;  ///< the number of the one behind it
    std::uint64_t bytes = 0;
    bool sync_lost = false;  ///< packets had to be found again
};

/// Is told what comes in an input, in its order.
class observer {
public:
    observer() = default;
    virtual ~observer() = default;
    observer(const observer&) = delete;
    observer& operator=(const observer&) = delete;

    /// A transport stream begins: not told of a file of bare sections.
    virtual void stream_begins(const stream_facts& /*of*/) {}
    /// Every so many packets, so that what does not come is noticed too.
    virtual void packets_passed(std::uint64_t /*last_packet*/) {}
    /// Told with the packet behind it.
    virtual void gap(const packet_gap& /*skipped*/) {}
    /// What is wrong with a packet, of any PID. Before the section that the packet ends.
    virtual void packet_fault(const section_feed::packet& /*packet*/, std::uint16_t /*pid*/,
                              section_feed::packet_fault /*what*/) {}
    virtual void clock_reference(const section_feed::clock_reference& /*reference*/) {}
    /// A packet, or the section that it belongs to, is lost.
    virtual void dropped(std::uint16_t /*pid*/, std::uint64_t /*packet*/,
                         section_feed::drop_reason /*why*/) {}
    virtual void section(const sighting& seen) = 0;
    virtual void refused(const place& where, const refusal& what) = 0;
    /// Whether it has seen enough; asked behind each section.
    virtual bool is_done() const { return false; }
};

}  // namespace orvix::broadcast
