#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "datagram_socket.h"
#include "rtp_order.h"
#include "source.h"

namespace orvix::inputs {

/// Takes the stream out of datagrams that come with RTP around it, or plain.
///
/// Which of the two is told by what comes: a plain datagram begins with the sync byte of a packet,
/// one of RTP with its version, and that byte behind the header. What has been told once stays,
/// because a plain one that begins within a packet may look like RTP; unless `sure_after` in a row
/// speak for the other.
class datagram_payloads {
public:
    static constexpr unsigned int sure_after = 8;

    /// Appends the payload to `to`, when it is its turn.
    void push(const std::uint8_t* datagram, std::size_t size, std::vector<std::uint8_t>& to);
    /// Appends what was kept back for what is missing.
    void give_up(std::vector<std::uint8_t>& to) { order_.give_up(to); }
    bool holds_any() const { return order_.holds_any(); }

    std::uint64_t datagrams() const { return datagrams_; }
    std::uint64_t malformed() const { return malformed_; }
    const rtp_counts& rtp() const { return order_.counts(); }

private:
    enum class kind : std::uint8_t { unknown, plain, rtp };

    static kind kind_of(const std::uint8_t* datagram, std::size_t size);
    void decide(kind seen);

    kind told_ = kind::unknown;
    unsigned int speak_for_other_ = 0;  ///< in a row
    rtp_order order_;
    std::uint64_t datagrams_ = 0;
    std::uint64_t malformed_ = 0;
};

/// A multicast group or a port of this machine.
class network_source : public source {
public:
    /// Throws source_error.
    explicit network_source(const network_address& address)
        : socket_(address), is_multicast_(address.at.is_multicast()) {}

    std::size_t read(std::uint8_t* to, std::size_t room, clock::time_point until,
                     int wake) override;
    bool has_ended() const override { return false; }
    bool is_stale() const override;
    const network_counts* network() const override { return &counts_; }
    std::string notice() const override;

private:
    void receive();
    std::size_t take_pending(std::uint8_t* to, std::size_t room);

    datagram_socket socket_;
    bool is_multicast_;
    clock::time_point last_datagram_ = clock::now();
    datagram_payloads payloads_;
    network_counts counts_ = {0, 0, 0, {}, socket_.buffer_bytes()};
    std::vector<std::uint8_t> pending_;  ///< what one `receive` yields at most
    std::size_t taken_ = 0;              ///< of `pending_`
};

}  // namespace orvix::inputs
