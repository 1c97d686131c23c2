#pragma once

// A broadcast, what a bad line makes of it, and which of its sections must arrive all the same.

#include <section_writer.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace orvix::test {

/// How likely each kind of damage is, per packet.
struct damage_rates {
    double lost = 0;
    double doubled = 0;
    double swapped = 0;  ///< with the packet behind it
    double flipped = 0;  ///< a bit of it, not of the sync byte
    /// A sync byte flipped, bytes lost or bytes inserted. Comes at least eight packets after the
    /// one before, so that the packets between can be found again.
    double torn = 0;
};

struct damaged_broadcast {
    bytes stream;
    std::vector<std::uint16_t> pids;
    std::vector<bytes> sections;  ///< as sent, no two of them equal
    /// By section: every packet that carries a byte of it arrives undamaged, and of the packets
    /// that show its PID none comes between them but a repetition.
    std::vector<bool> undisturbed;
    /// By PID, if packets are lost and nothing else happens to them: how often.
    std::map<std::uint16_t, std::uint64_t> gaps;
};

/// The same for the same seed, on every machine.
damaged_broadcast make_damaged_broadcast(std::uint32_t seed, const damage_rates& rates,
                                         std::size_t packet_size = 188);

/// What reader and collector made of it.
struct reception {
    std::size_t sections = 0;
    std::uint64_t counted_losses = 0;  ///< skipped bytes, drops and refusals together
    std::map<std::uint16_t, std::uint64_t> discontinuities;
    /// One sentence for each undisturbed section that did not come exactly once, and for each
    /// section that was never sent.
    std::vector<std::string> faults;
};

/// Pushes the stream in pieces whose sizes depend on `seed`.
reception receive(const damaged_broadcast& broadcast, std::uint32_t seed);

}  // namespace orvix::test
