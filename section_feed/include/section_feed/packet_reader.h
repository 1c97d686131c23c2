#pragma once

#include <section_feed/export.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace orvix::section_feed {

/// One transport packet (ISO/IEC 13818-1 2.4.3.2) inside its reader.
struct packet {
    /// 188 bytes, sync_byte first; valid until the reader's next `push`.
    const std::uint8_t* bytes = nullptr;
    /// Counts the packets handed out before this one.
    std::uint64_t index = 0;
};

/// Finds transport packets in any bytes: a file or a pipe goes in, piece by piece, and packets of
/// 188 bytes come out.
///
///     packet_reader reader;
///     while (read some bytes) {
///         reader.push(bytes, size);
///         while (reader.next(p)) ...;
///     }
///     reader.finish();
///     while (reader.next(p)) ...;
///
/// Packets of 188 bytes, of 192 (four bytes of time code before each) and of 204 (sixteen bytes of
/// error correction behind each) are told apart by where their sync bytes stand. What is not a
/// packet is skipped and counted, and the packets behind it are found again. One thread at a time.
class SECTION_FEED_EXPORT packet_reader {
public:
    packet_reader();
    ~packet_reader();
    packet_reader(const packet_reader&) = delete;
    packet_reader& operator=(const packet_reader&) = delete;

    /// Adds the next bytes of the stream, of any number. They are copied. Throws only
    /// std::bad_alloc.
    void push(const std::uint8_t* bytes, std::size_t size);
    /// Says that no more bytes come: the last packets need no successor to be believed.
    void finish();
    /// The next packet; false where more bytes are needed, or after `finish` none is left.
    bool next(packet& out);

    /// 188, 192 or 204, as last seen; 0 before the first packet.
    unsigned int packet_size() const;
    std::uint64_t packets() const;        ///< handed out
    std::uint64_t skipped_bytes() const;  ///< belonged to no packet
    std::uint64_t sync_losses() const;    ///< how often packets had to be found again
};

}  // namespace orvix::section_feed
