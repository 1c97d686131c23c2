#include <bitstream/mpeg/ts.h>
#include <section_feed/packet_reader.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <utility>

namespace orvix::section_feed {

namespace {

constexpr std::size_t transport_packet = 188;
constexpr unsigned int packet_sizes[] = {188, 192, 204};
constexpr std::size_t smallest_packet = 188;
constexpr std::size_t largest_packet = 204;
constexpr std::uint16_t null_pid = 0x1FFF;

// A lock of which more headers are impossible is none. Damage makes few of them; of random bytes
// more than half are.
constexpr unsigned int most_impossible_of_a_lock = 3;  // a third

// So many sync bytes in a row may begin a stream: other bytes show them once in gigabytes, unless
// they repeat.
constexpr unsigned int sync_bytes_of_a_lock = 5;
// Whatever repeats is told from packets by so many headers: most show a PID a second time.
constexpr unsigned int headers_of_a_lock = 32;
// From a sync byte to behind the last header of any packets that begin less than a packet later.
constexpr std::size_t run_bytes = (sync_bytes_of_a_lock + 1) * largest_packet;
constexpr std::size_t lock_bytes = (headers_of_a_lock + 1) * largest_packet;

// A lost packet is looked for so many packets ahead.
constexpr unsigned int packets_searched = 3;

constexpr std::size_t smallest_buffer = 16 * 1024;

constexpr std::size_t longest_time_code = 4;
constexpr std::size_t time_code(unsigned int packet_size) {
    return packet_size == 192 ? longest_time_code : 0;
}

// Whether packets have such a header: it takes five bytes.
bool is_possible(const std::uint8_t* header) {
    if (!ts_has_adaptation(header)) return ts_has_payload(header);
    const unsigned int room = TS_SIZE - TS_HEADER_SIZE - 1;
    const unsigned int length = ts_get_adaptation(header);
    return ts_has_payload(header) ? length < room : length == room;
}

// The continuity_counters of the PIDs in a row of packets.
class counters {
public:
    enum class step : std::uint8_t { unknown, continued, jumped };

    step take(const std::uint8_t* header) {
        const std::uint16_t pid = ts_get_pid(header);
        if (pid == null_pid || !ts_has_payload(header)) return step::unknown;
        const unsigned int counter = ts_get_cc(header);
        for (std::size_t i = 0; i < used_; ++i) {
            if (last_[i].pid != pid) continue;
            const bool continued = counter == (last_[i].counter + 1) % 16;
            last_[i].counter = counter;
            return continued ? step::continued : step::jumped;
        }
        last_[used_++] = {pid, counter};
        return step::unknown;
    }

private:
    struct last {
        std::uint16_t pid;
        unsigned int counter;
    };
    std::array<last, headers_of_a_lock> last_;
    std::size_t used_ = 0;
};

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
        const std::size_t most = buffer_.max_size();
        if (size > most - kept) throw std::bad_alloc();
        const std::size_t needed = kept + size;
        // Twice what is needed: pieces of any size are moved so rarely that it costs no time.
        const std::size_t wanted =
            needed > most / 2 ? needed : std::max(2 * needed, smallest_buffer);
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

bool packet_reader::look_closer(packet& out) {
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
            if (has_no_content(position_)) {
                // No packet is like that. One that is damaged may come, but not many of them.
                const std::size_t decisive = headers_of_a_lock * std::size_t{packet_size_};
                if (available <= decisive && !finished_) return false;
                if (!is_plausible(weigh(position_, packet_size_, headers_of_a_lock))) {
                    ++sync_losses_;
                    hunted_ = position_;
                    in_sync_ = false;
                    continue;
                }
            }
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
    const std::size_t limit = finished_ ? end_ : end_ - std::min(end_, run_bytes);
    while (hunted_ < limit) {
        hunted_ = find_sync_byte(hunted_, limit);
        if (hunted_ == limit) break;
        const bool may_begin =
            std::any_of(std::begin(packet_sizes), std::end(packet_sizes),
                        [this](unsigned int size) { return is_run(hunted_, size); });
        if (!may_begin) {
            ++hunted_;
            continue;
        }
        candidate best = find_lone_run(hunted_);
        if (!best.is_run) {
            if (!finished_ && end_ - hunted_ < lock_bytes) break;
            best = find_best(hunted_);
        }
        if (!best.is_run || !is_plausible(best)) {
            // No packet of the best ones stands here, let alone of the others.
            hunted_ += smallest_packet;
            continue;
        }
        // The first bytes of a stream may be the end of a time code.
        skip_to(best.at - std::min(time_code(best.packet_size), best.at - position_));
        position_ = best.at;
        packet_size_ = best.packet_size;
        in_sync_ = true;
        return true;
    }
    // The last bytes may be the time code of a packet that is yet to come.
    skip_to(finished_ ? end_ : std::max(position_, hunted_ - std::min(hunted_, longest_time_code)));
    return false;
}

// Where only one run of sync bytes begins less than a packet later, and only headers that nothing
// speaks against stand at them, they are packets: live ones need not wait for more.
packet_reader::candidate packet_reader::find_lone_run(std::size_t from) const {
    candidate lone;
    bool found = false;
    for (const unsigned int size : packet_sizes) {
        const std::size_t limit = std::min(end_, from + size);
        for (std::size_t at = find_sync_byte(from, limit); at < limit;
             at = find_sync_byte(at + 1, limit)) {
            if (!is_run(at, size)) continue;
            if (found) return {};
            found = true;
            lone = weigh(at, size, sync_bytes_of_a_lock);
        }
    }
    // Two for a header that is possible; a counter that jumps takes both.
    lone.is_run = lone.impossible == 0 && lone.weight >= 2 * static_cast<int>(sync_bytes_of_a_lock);
    return lone;
}

// A run of sync bytes need not be that of the packets: of all that begin less than a packet later,
// whatever the size, the one for which most speaks. None begins with a header that is impossible.
packet_reader::candidate packet_reader::find_best(std::size_t from) const {
    candidate best;
    for (const unsigned int size : packet_sizes) {
        const std::size_t limit = std::min(end_, from + size);
        for (std::size_t at = find_sync_byte(from, limit); at < limit;
             at = find_sync_byte(at + 1, limit)) {
            candidate other = weigh(at, size, 1);
            if (!is_plausible(other)) continue;
            other = weigh(at, size, headers_of_a_lock);
            other.is_run = is_run(at, size);
            const auto rank = [](const candidate& c) { return std::make_pair(c.weight, c.is_run); };
            const bool earlier = rank(other) == rank(best) && at < best.at;
            if (rank(other) > rank(best) || earlier) best = other;
        }
    }
    return best;
}

bool packet_reader::is_plausible(const candidate& c) {
    return most_impossible_of_a_lock * c.impossible <= c.headers;
}

// What speaks for packets of this size from `at` on, and what against them.
packet_reader::candidate packet_reader::weigh(std::size_t at, unsigned int packet_size,
                                              unsigned int packets) const {
    candidate result;
    result.at = at;
    result.packet_size = packet_size;
    counters counters;
    for (; packets > 0 && at < end_; --packets, at += packet_size) {
        const std::uint8_t* const header = buffer_.data() + at;
        if (*header != sync_byte) continue;
        ++result.weight;
        constexpr std::size_t header_and_length = TS_HEADER_SIZE + 1;
        if (end_ - at < header_and_length || ts_get_transporterror(header)) continue;
        ++result.headers;
        if (!is_possible(header)) {
            ++result.impossible;
            --result.weight;
            continue;
        }
        ++result.weight;
        const counters::step step = counters.take(header);
        if (step == counters::step::continued) result.weight += 2;
        if (step == counters::step::jumped) result.weight -= 2;
    }
    return result;
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
    candidate best;
    best.at = end_;
    // First where it would begin if no byte were lost: a payload that repeats may well have 0x47 at
    // the same place of every packet.
    for (unsigned int packets = 2; packets <= packets_searched; ++packets) {
        const std::size_t at = position_ + packets * std::size_t{packet_size_};
        if (sync_bytes_in_a_row(at, packet_size_) < 2) continue;
        const candidate here = weigh(at, packet_size_, sync_bytes_of_a_lock);
        if (here.weight > best.weight) best = here;
        break;
    }
    // Then the nearest. Of those that would overlap with it, only one can be real.
    std::size_t limit = std::min(end_, position_ + packets_searched * std::size_t{packet_size_});
    for (std::size_t at = find_sync_byte(position_ + 1, limit); at < limit;
         at = find_sync_byte(at + 1, limit)) {
        if (sync_bytes_in_a_row(at, packet_size_) < 2) continue;
        limit = std::min(limit, at + packet_size_);
        const candidate other = weigh(at, packet_size_, sync_bytes_of_a_lock);
        if (other.weight > best.weight) best = other;
    }
    return best.at;
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

// A run that may be one of packets.
bool packet_reader::is_run(std::size_t at, unsigned int packet_size) const {
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
