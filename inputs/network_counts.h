#pragma once

#include <cstddef>
#include <cstdint>

namespace orvix::inputs {

/// What came of an RTP stream (RFC 3550), by the sequence numbers of its datagrams.
struct rtp_counts {
    std::uint64_t packets = 0;     ///< with a whole header; strays and repeats too
    std::uint64_t lost = 0;        ///< had not come when their turn was over
    std::uint64_t reordered = 0;   ///< came behind a later one
    std::uint64_t late = 0;        ///< of them, so late that they were given up already, as lost
    std::uint64_t duplicates = 0;  ///< had come before
    std::uint64_t restarts = 0;    ///< the numbers went on elsewhere, or a new sender came
};

/// What came from the network.
struct network_counts {
    std::uint64_t datagrams = 0;
    std::uint64_t malformed = 0;  ///< of them, empty, or without what an RTP stream's must have
    /// Did not fit into the socket's buffer: this program was too slow.
    std::uint64_t overflowed = 0;
    rtp_counts rtp;
    std::size_t buffer_bytes = 0;  ///< that the system granted

    /// Adds what came, but not the buffer.
    network_counts& operator+=(const network_counts& more) {
        datagrams += more.datagrams;
        malformed += more.malformed;
        overflowed += more.overflowed;
        rtp.packets += more.rtp.packets;
        rtp.lost += more.rtp.lost;
        rtp.reordered += more.rtp.reordered;
        rtp.late += more.rtp.late;
        rtp.duplicates += more.rtp.duplicates;
        rtp.restarts += more.rtp.restarts;
        return *this;
    }
};

}  // namespace orvix::inputs
