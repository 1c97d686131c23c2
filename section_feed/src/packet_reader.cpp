#include <section_feed/packet_reader.h>

#include <algorithm>
#include <cstring>

namespace orvix::section_feed {

namespace {

constexpr std::size_t transport_packet = 188;
constexpr unsigned int packet_sizes[] = {188, 192, 204};
constexpr std::size_t largest_packet = 204;

// So many sync bytes in a row are no accident.
constexpr unsigned int sync_bytes_of_a_lock = 5;
constexpr std::size_t lock_bytes = (sync_bytes_of_a_lock - 1) * largest_packet;

// A lost packet is looked for so many packets ahead.
constexpr unsigned int packets_searched = 3;

constexpr std::size_t smallest_buffer = 16 * 1024;

constexpr std::size_t longest_time_code = 4;
constexpr std::size_t time_code(unsigned int packet_size) {
    return packet_size == 192 ? longest_time_code : 0;
}

}  // namespace

packet_reader::packet_reader() = default;
packet_reader::~packet_reader() = default;

void packet_reader::push(const std::uint8_t* bytes, std::size_t size) {
    if (size == 0) return;
    std::memcpy(room(size), bytes, size);
    filled(size);
}

std::uint8_t* packet_reader::room(std::size_t size) {
    if (size > buffer_.size() - end_) {
        const std::size_t kept = end_ - position_;
        // Twice what is needed: pieces of any size are moved so rarely that it costs no time.
        const std::size_t wanted = std::max(2 * (kept + size), smallest_buffer);
        if (wanted > buffer_.size()) {
            std::vector<std::uint8_t> larger(wanted);
            std::copy_n(buffer_.data() + position_, kept, larger.data());
            buffer_.swap(larger);
        } else {
            std::memmove(buffer_.data(), buffer_.data() + position_, kept);
        }
        hunted_ -= std::min(hunted_, position_);
        position_ = 0;
        end_ = kept;
    }
    return buffer_.data() + end_;
}

void packet_reader::finish() { finished_ = true; }

bool packet_reader::next_without_successor(packet& out) {
    for (;;) {
        if (!in_sync_ && !hunt()) return false;

        const std::size_t available = end_ - position_;
        if (available <= packet_size_) {
            if (!finished_) return false;
            if (available < transport_packet) {
                skip_to(end_);
                return false;
            }
            hand_out(out);
            // What stands behind the last packet of 192 bytes is a time code without a packet.
            position_ += std::min(available, packet_size_ - time_code(packet_size_));
            return true;
        }
        if (buffer_[position_ + packet_size_] == sync_byte) {
            hand_out(out);
            position_ += packet_size_;
            return true;
        }

        // Waiting until all bytes are there that can matter makes the result the same for pushes
        // of any size, and each byte is looked at a bounded number of times.
        const std::size_t decisive =
            (packets_searched + sync_bytes_of_a_lock - 1) * std::size_t{packet_size_};
        if (available <= decisive && !finished_) return false;
        if (resynchronise(out)) return true;
    }
}

// No packet is known: looks at every byte once for the first of a run of sync bytes.
bool packet_reader::hunt() {
    const std::size_t limit = finished_ ? end_ : end_ - std::min(end_, lock_bytes);
    while (hunted_ < limit) {
        hunted_ = find_sync_byte(hunted_, limit);
        if (hunted_ == limit) break;
        for (const unsigned int size : packet_sizes) {
            if (!is_locked(hunted_, size)) continue;
            // The first bytes of a stream may be the end of a time code.
            skip_to(hunted_ - std::min(time_code(size), hunted_ - position_));
            position_ = hunted_;
            packet_size_ = size;
            in_sync_ = true;
            return true;
        }
        ++hunted_;
    }
    // The last bytes may be the time code of a packet that is yet to come.
    skip_to(finished_ ? end_ : std::max(position_, hunted_ - std::min(hunted_, longest_time_code)));
    return false;
}

// The packet in hand is not followed by a sync byte. Where the next packet begins tells whether it
// is whole all the same: then it is handed out.
bool packet_reader::resynchronise(packet& out) {
    ++sync_losses_;
    const std::size_t found = find_again();
    if (found == end_) {
        hand_out(out);
        position_ += packet_size_ - time_code(packet_size_);
        hunted_ = position_;
        in_sync_ = false;
        return true;
    }
    if (found - position_ < packet_size_) {
        skip_to(found);
        return false;
    }
    hand_out(out);
    position_ += packet_size_;
    skip_to(found);
    return true;
}

// Where the next packet begins, `end_` if nowhere near: at a sync byte with another one behind it.
std::size_t packet_reader::find_again() const {
    std::size_t best = end_;
    unsigned int best_count = 1;
    // First where it would begin if no byte were lost: a payload that repeats may well have 0x47 at
    // the same place of every packet.
    for (unsigned int packets = 2; packets <= packets_searched; ++packets) {
        const std::size_t at = position_ + packets * std::size_t{packet_size_};
        const unsigned int count = sync_bytes_in_a_row(at, packet_size_);
        if (count > best_count) {
            best = at;
            best_count = count;
        }
    }
    // Then the nearest. Of those that would overlap with it, only one can be real.
    std::size_t limit = std::min(end_, position_ + packets_searched * std::size_t{packet_size_});
    for (std::size_t at = find_sync_byte(position_ + 1, limit); at < limit;
         at = find_sync_byte(at + 1, limit)) {
        const unsigned int count = sync_bytes_in_a_row(at, packet_size_);
        if (count < 2) continue;
        limit = std::min(limit, at + packet_size_);
        if (count > best_count) {
            best = at;
            best_count = count;
        }
    }
    return best;
}

// `limit` if there is none before it.
std::size_t packet_reader::find_sync_byte(std::size_t from, std::size_t limit) const {
    if (from >= limit) return limit;
    const void* const found = std::memchr(buffer_.data() + from, sync_byte, limit - from);
    if (found == nullptr) return limit;
    return static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - buffer_.data());
}

// Counts no more than make a lock. The end of the stream behind a whole packet is as good as a sync
// byte.
unsigned int packet_reader::sync_bytes_in_a_row(std::size_t at, unsigned int packet_size) const {
    unsigned int count = 0;
    while (count < sync_bytes_of_a_lock && at < end_ && buffer_[at] == sync_byte) {
        ++count;
        at += packet_size;
    }
    if (count == 0 || count == sync_bytes_of_a_lock || at < end_ || !finished_) return count;
    const bool last_is_whole = at - packet_size + transport_packet <= end_;
    return last_is_whole ? count + 1 : count;
}

bool packet_reader::is_locked(std::size_t at, unsigned int packet_size) const {
    if (sync_bytes_in_a_row(at, packet_size) == sync_bytes_of_a_lock) return true;

    const bool starts_the_stream =
        packets_ == 0 && skipped_bytes_ == 0 && at == position_ + time_code(packet_size);
    if (!finished_ || !starts_the_stream) return false;
    std::size_t behind = at;
    while (behind < end_ && buffer_[behind] == sync_byte) behind += packet_size;
    // A lone packet must be all there is: many a text begins with a G.
    const bool lone = behind == at + packet_size;
    return lone ? end_ - position_ == packet_size : behind >= end_;
}

void packet_reader::skip_to(std::size_t position) {
    skipped_bytes_ += position - position_;
    position_ = position;
}

}  // namespace orvix::section_feed
