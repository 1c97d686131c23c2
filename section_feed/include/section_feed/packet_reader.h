#pragma once

#include <section_feed/export.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace orvix::section_feed {

/// One transport packet (ISO/IEC 13818-1 2.4.3.2) inside its reader.
struct packet {
    /// 188 bytes, sync_byte first; valid until the reader's next `push` or `room`.
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
/// error correction behind each) are told apart by where their sync bytes stand and by what follows
/// them: where five stand in a row, or all in a shorter stream that starts with a packet, every
/// size and every place of the next packet is weighed by 32 headers, and the one is believed for
/// which sync bytes, possible headers and continuing counters speak most. So 0x47 in time codes and
/// payloads, however many, lose nothing of a stream that is whole. Where more than a third of the
/// headers are impossible there are no packets.
///
/// From then on a packet is handed out as soon as the sync byte behind it is there. Where that one
/// is missing, the bytes of the next seven packets decide: a packet whose sync byte was damaged is
/// skipped alone; a packet that was cut is skipped, and the whole one behind it is not. Anything
/// else is skipped until five sync bytes stand in a row again. A header that is impossible makes
/// the next 32 be looked at: they may show that there are no packets here.
///
/// Input without a packet shows in `skipped_bytes`, which grows while `packets` does not.
///
/// What comes out does not depend on the sizes of the pushes. The time is linear in the bytes, and
/// the memory in the largest push if `next` is asked until it says false. One thread at a time.
class SECTION_FEED_EXPORT packet_reader {
public:
    packet_reader();
    ~packet_reader();
    packet_reader(const packet_reader&) = delete;
    packet_reader& operator=(const packet_reader&) = delete;

    /// Adds the next bytes of the stream, of any number. They are copied. Throws only
    /// std::bad_alloc.
    void push(const std::uint8_t* bytes, std::size_t size);
    /// The same without the copy: room for the stream's next bytes, `size` at most. It stays until
    /// the next `push` or `room`. Throws only std::bad_alloc.
    std::uint8_t* room(std::size_t size);
    /// Says how many bytes now stand in that room.
    void filled(std::size_t size) { end_ += size; }
    /// Says that no more bytes come: the last packets need no successor to be believed.
    void finish();
    /// The next packet; false where more bytes are needed, or after `finish` none is left.
    bool next(packet& out) {
        if (in_sync_ && end_ - position_ > packet_size_ &&
            buffer_[position_ + packet_size_] == sync_byte && !has_no_content(position_)) {
            hand_out(out);
            position_ += packet_size_;
            return true;
        }
        return look_closer(out);
    }

    /// 188, 192 or 204, as last seen; 0 before the first packet.
    unsigned int packet_size() const { return packet_size_; }
    std::uint64_t packets() const { return packets_; }              ///< handed out
    std::uint64_t skipped_bytes() const { return skipped_bytes_; }  ///< belonged to no packet
    /// How often packets had to be found again.
    std::uint64_t sync_losses() const { return sync_losses_; }

private:
    static constexpr std::uint8_t sync_byte = 0x47;

    void hand_out(packet& out) {
        out.bytes = buffer_.data() + position_;
        out.index = packets_++;
    }
    // Packets that may begin at a byte, and what speaks for them.
    struct candidate {
        std::size_t at = 0;
        unsigned int packet_size = 0;
        bool is_run = false;
        unsigned int headers = 0;     // without transport_error_indicator
        unsigned int impossible = 0;  // of them
        int weight = 0;
    };
    candidate find_lone_run(std::size_t from) const;
    candidate find_best(std::size_t from) const;
    candidate weigh(std::size_t at, unsigned int packet_size, unsigned int packets) const;
    static bool is_plausible(const candidate& c);
    // Neither adaptation field nor payload.
    bool has_no_content(std::size_t at) const { return (buffer_[at + 3] & 0x30) == 0; }
    bool look_closer(packet& out);
    bool hunt();
    bool resynchronise(packet& out);
    std::size_t find_again() const;
    std::size_t find_sync_byte(std::size_t from, std::size_t limit) const;
    unsigned int sync_bytes_in_a_row(std::size_t at, unsigned int packet_size) const;
    bool is_run(std::size_t at, unsigned int packet_size) const;
    void skip_to(std::size_t position);

    std::vector<std::uint8_t> buffer_;  // the stream's bytes are [position_, end_)
    std::size_t position_ = 0;  // in sync: the next packet's sync byte; else not yet skipped
    std::size_t end_ = 0;
    std::size_t hunted_ = 0;  // not in sync: no packet begins before this byte
    unsigned int packet_size_ = 0;
    bool in_sync_ = false;
    bool finished_ = false;
    std::uint64_t packets_ = 0;
    std::uint64_t skipped_bytes_ = 0;
    std::uint64_t sync_losses_ = 0;
};

}  // namespace orvix::section_feed
