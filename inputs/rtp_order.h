#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "network_counts.h"

namespace orvix::inputs {

/// One datagram of RTP (RFC 3550 5.1), inside its bytes.
struct rtp_packet {
    std::uint16_t sequence_number = 0;
    std::uint32_t ssrc = 0;  ///< who sends
    const std::uint8_t* payload = nullptr;
    std::size_t size = 0;  ///< of the payload
};
/// None where the header is of another version, or does not fit.
std::optional<rtp_packet> parse_rtp(const std::uint8_t* datagram, std::size_t size);

/// Puts the payloads of RTP in order again.
///
/// A payload that is early is kept until those before it are there, or until `most_held` are kept:
/// then what is missing is lost. A number far away, and another sender, are believed when the next
/// number comes right behind: so one stray datagram disturbs nothing.
class rtp_order {
public:
    // What a network reorders comes within a few datagrams; so many of 1316 bytes are 17 ms of
    // 20 Mbit/s.
    static constexpr std::size_t most_held = 32;
    // So many may be lost in a row before the numbers are those of a sender that has restarted.
    static constexpr int most_lost = 3'000;
    // What is later is no straggler, but a restart. As many bits as `delivered_` has.
    static constexpr int most_late = 64;

    /// Appends to `to` the payloads whose turn it is.
    void push(const rtp_packet& packet, std::vector<std::uint8_t>& to);
    /// Appends what is kept: what is missing will not come any more.
    void give_up(std::vector<std::uint8_t>& to);
    bool holds_any() const { return !held_.empty(); }

    const rtp_counts& counts() const { return counts_; }

private:
    using payload = std::vector<std::uint8_t>;
    struct stray {
        std::uint32_t ssrc = 0;
        std::uint16_t sequence_number = 0;
        payload bytes;
    };

    void start(const rtp_packet& packet);
    void take_early(const rtp_packet& packet, int ahead);
    void take_late(int behind);
    void take_stray(const rtp_packet& packet, std::vector<std::uint8_t>& to);
    void deliver(const std::uint8_t* bytes, std::size_t size, std::vector<std::uint8_t>& to);
    void deliver_held(std::vector<std::uint8_t>& to);
    void skip_to_held();

    rtp_counts counts_;
    bool is_started_ = false;
    std::uint32_t ssrc_ = 0;
    std::int64_t next_ = 0;                 ///< its turn; numbers count on where 16 bits wrap
    std::int64_t latest_ = 0;               ///< the highest that came
    std::uint64_t delivered_ = 0;           ///< which of the 64 before `next_` were: bit 0 the last
    std::map<std::int64_t, payload> held_;  ///< behind `next_`, at most `most_held`
    std::optional<stray> stray_;
};

}  // namespace orvix::inputs
