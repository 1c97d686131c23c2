#pragma once

#include <section_writer.h>

#include <cstdint>

namespace orvix::test {

/// A datagram of RTP (RFC 3550 5.1) around a payload.
inline bytes rtp(unsigned int sequence_number, const bytes& payload, std::uint32_t ssrc = 1) {
    return section_writer()
        .bits(2, 2)   // version
        .bits(1, 0)   // padding
        .bits(1, 0)   // extension
        .bits(4, 0)   // CSRC count
        .bits(1, 0)   // marker
        .bits(7, 33)  // payload type: MPEG-2 TS
        .bits(16, sequence_number & 0xFFFF)
        .bits(32, 0)  // timestamp
        .bits(32, ssrc)
        .append(payload);
}

}  // namespace orvix::test
