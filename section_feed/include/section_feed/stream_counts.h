#pragma once

#include <section_feed/export.h>
#include <section_feed/packet_reader.h>

#include <cstdint>
#include <vector>

namespace orvix::section_feed {

/// What came on one PID, by the headers of its packets.
struct packet_counts {
    std::uint64_t packets = 0;            ///< of any kind
    std::uint64_t transport_errors = 0;   ///< transport_error_indicator set
    std::uint64_t continuity_errors = 0;  ///< continuity_counter jumped, unannounced
    std::uint64_t scrambled = 0;  ///< transport_scrambling_control not 0: no fault in itself
};

/// What is wrong with a packet's header.
enum class packet_fault : std::uint8_t { none, transport_error, continuity };

/// Counts the packets of every PID, also of those that nobody follows: one look at each header, in
/// memory for all PIDs there are. One thread at a time.
///
/// The continuity_counter (ISO/IEC 13818-1 2.4.3.3) counts packets with payload; one more packet
/// with the counter of the one before is the repetition that is legal, and where
/// discontinuity_indicator announces it the counter may begin anywhere. After a jump it goes on
/// from where it jumped to. A packet with transport_error_indicator is counted on the PID that it
/// shows and otherwise treated as if it had never come. Null packets (PID 0x1FFF) have no counter.
class SECTION_FEED_EXPORT stream_counts {
public:
    stream_counts();
    ~stream_counts();
    stream_counts(const stream_counts&) = delete;
    stream_counts& operator=(const stream_counts&) = delete;

    /// Counts the packet, and says what is wrong with it.
    packet_fault push(const packet& p) {
        const std::uint8_t* const header = p.bytes;
        pid_state& state = pids_[(header[1] & 0x1Fu) << 8 | header[2]];
        ++state.counts.packets;
        const bool ordinary =
            header[1] < 0x80 && (header[3] & without_adaptation) == state.expected;
        if (!ordinary) return look_closer(header, state);
        state.expect_next(header[3]);
        return packet_fault::none;
    }

    /// Of a PID up to 0x1FFF.
    const packet_counts& of(std::uint16_t pid) const { return pids_[pid].counts; }
    /// The PIDs that have sent anything, by their first packets.
    const std::vector<std::uint16_t>& pids() const { return met_; }

private:
    // The fourth byte of a header: scrambling, adaptation, payload (2, 1, 1 bits), the counter.
    static constexpr std::uint8_t without_adaptation = 0xDF;
    static constexpr std::uint8_t clear_payload = 0x10;
    static constexpr std::uint8_t before_first = 0x20;  // no packet's fourth byte looks so

    struct pid_state {
        packet_counts counts;
        // What the next clear packet with payload says in its fourth byte.
        std::uint8_t expected = before_first;
        bool repeated = false;  // the last packet with payload came twice

        void expect_next(unsigned int counter) {
            expected = static_cast<std::uint8_t>(clear_payload | ((counter + 1) & 0x0F));
            repeated = false;
        }
    };

    packet_fault look_closer(const std::uint8_t* packet, pid_state& state);

    std::vector<pid_state> pids_;
    std::vector<std::uint16_t> met_;
};

}  // namespace orvix::section_feed
