#include "network_source.h"

#include <algorithm>

namespace orvix::inputs {

namespace {

constexpr std::uint8_t sync_byte = 0x47;
// What a network holds up for so long will not come.
constexpr auto longest_hold = std::chrono::milliseconds(100);
// A group is left when its interface goes, and does not come back with it; the socket is told of
// neither. No broadcast that is on the air is silent for so long, and routers are not bothered by
// those that join again so often because theirs is off.
constexpr auto longest_silence_of_group = std::chrono::seconds(10);

}  // namespace

datagram_payloads::kind datagram_payloads::kind_of(const std::uint8_t* datagram, std::size_t size) {
    if (size > 0 && datagram[0] == sync_byte) return kind::plain;
    const auto rtp = parse_rtp(datagram, size);
    return rtp && rtp->size > 0 && rtp->payload[0] == sync_byte ? kind::rtp : kind::unknown;
}

void datagram_payloads::decide(kind seen) {
    if (seen == kind::unknown || seen == told_) {
        speak_for_other_ = 0;
    } else if (told_ == kind::unknown || ++speak_for_other_ == sure_after) {
        told_ = seen;
        speak_for_other_ = 0;
    }
}

void datagram_payloads::push(const std::uint8_t* datagram, std::size_t size,
                             std::vector<std::uint8_t>& to) {
    ++datagrams_;
    if (size == 0) {
        ++malformed_;
        return;
    }
    decide(kind_of(datagram, size));
    if (told_ != kind::rtp) {
        to.insert(to.end(), datagram, datagram + size);
    } else if (const auto packet = parse_rtp(datagram, size)) {
        order_.push(*packet, to);
    } else {
        ++malformed_;
    }
}

std::size_t network_source::read(std::uint8_t* to, std::size_t room, clock::time_point until,
                                 int wake) {
    while (taken_ == pending_.size()) {
        taken_ = 0;
        pending_.clear();
        const auto turn_over = clock::now() + longest_hold;
        const bool hurries = payloads_.holds_any() && turn_over < until;
        if (wait_for(socket_.descriptor(), hurries ? turn_over : until, wake)) {
            receive();
        } else if (hurries && clock::now() >= turn_over) {
            payloads_.give_up(pending_);
            counts_.rtp = payloads_.rtp();
        } else {
            return 0;
        }
    }
    return take_pending(to, room);
}

bool network_source::is_stale() const {
    return is_multicast_ && clock::now() - last_datagram_ > longest_silence_of_group;
}

void network_source::receive() {
    last_datagram_ = clock::now();
    socket_.receive([this](const std::uint8_t* bytes, std::size_t size) {
        payloads_.push(bytes, size, pending_);
    });
    counts_.datagrams = payloads_.datagrams();
    counts_.malformed = payloads_.malformed();
    counts_.overflowed = socket_.overflowed();
    counts_.rtp = payloads_.rtp();
}

std::size_t network_source::take_pending(std::uint8_t* to, std::size_t room) {
    const std::size_t count = std::min(room, pending_.size() - taken_);
    std::copy_n(pending_.begin() + static_cast<std::ptrdiff_t>(taken_), count, to);
    taken_ += count;
    return count;
}

std::string network_source::notice() const {
    constexpr std::size_t wanted = datagram_socket::wanted_buffer_bytes;
    if (socket_.buffer_bytes() >= wanted) return {};
    constexpr std::size_t kibibyte = 1024;
    return "the receive buffer is " + std::to_string(socket_.buffer_bytes() / kibibyte) +
           " KiB instead of " + std::to_string(wanted / kibibyte) +
           " KiB (net.core.rmem_max limits it)";
}

}  // namespace orvix::inputs
