#include "rtp_order.h"

#include <utility>

namespace orvix::inputs {

namespace {

constexpr std::size_t fixed_header = 12;

unsigned int u16(const std::uint8_t* at) { return static_cast<unsigned int>(at[0]) << 8 | at[1]; }
std::uint32_t u32(const std::uint8_t* at) { return std::uint32_t{u16(at)} << 16 | u16(at + 2); }

}  // namespace

std::optional<rtp_packet> parse_rtp(const std::uint8_t* datagram, std::size_t size) {
    if (size < fixed_header || datagram[0] >> 6 != 2) return std::nullopt;
    const bool has_padding = (datagram[0] & 0x20) != 0;
    const bool has_extension = (datagram[0] & 0x10) != 0;
    std::size_t header = fixed_header + 4u * (datagram[0] & 0x0Fu);  // behind the CSRCs
    if (has_extension) {
        if (size < header + 4) return std::nullopt;
        header += 4 + 4u * u16(datagram + header + 2);
    }
    if (size < header) return std::nullopt;
    std::size_t end = size;
    if (has_padding) {
        const std::size_t padding = datagram[size - 1];
        if (padding == 0 || padding > size - header) return std::nullopt;
        end -= padding;
    }
    rtp_packet found;
    found.sequence_number = static_cast<std::uint16_t>(u16(datagram + 2));
    found.ssrc = u32(datagram + 8);
    found.payload = datagram + header;
    found.size = end - header;
    return found;
}

void rtp_order::push(const rtp_packet& packet, std::vector<std::uint8_t>& to) {
    ++counts_.packets;
    if (!is_started_) start(packet);
    // As far from the one whose turn it is as 16 bits can tell.
    const int ahead =
        static_cast<std::int16_t>(packet.sequence_number - static_cast<std::uint16_t>(next_));
    const bool is_near = ahead < most_lost && ahead >= -most_late;
    if (packet.ssrc != ssrc_ || !is_near) return take_stray(packet, to);
    stray_.reset();
    if (ahead < 0) return take_late(-ahead);
    if (ahead > 0) {
        take_early(packet, ahead);
        if (held_.size() > most_held) skip_to_held();
    } else {
        if (next_ < latest_) ++counts_.reordered;
        deliver(packet.payload, packet.size, to);
    }
    deliver_held(to);
}

void rtp_order::start(const rtp_packet& packet) {
    is_started_ = true;
    ssrc_ = packet.ssrc;
    next_ = packet.sequence_number;
    latest_ = next_;
    delivered_ = 0;
}

void rtp_order::take_early(const rtp_packet& packet, int ahead) {
    const std::int64_t number = next_ + ahead;
    const bool is_added =
        held_.try_emplace(number, packet.payload, packet.payload + packet.size).second;
    if (!is_added) {
        ++counts_.duplicates;
    } else if (number < latest_) {
        ++counts_.reordered;
    } else {
        latest_ = number;
    }
}

void rtp_order::take_late(int behind) {
    const bool was_delivered = ((delivered_ >> (behind - 1)) & 1) != 0;
    if (was_delivered) {
        ++counts_.duplicates;
    } else {
        ++counts_.reordered;
        ++counts_.late;
    }
}

void rtp_order::take_stray(const rtp_packet& packet, std::vector<std::uint8_t>& to) {
    const bool follows_stray =
        stray_ && stray_->ssrc == packet.ssrc &&
        static_cast<std::uint16_t>(stray_->sequence_number + 1) == packet.sequence_number;
    if (!follows_stray) {
        stray_ = {packet.ssrc, packet.sequence_number,
                  payload(packet.payload, packet.payload + packet.size)};
        return;
    }
    ++counts_.restarts;
    give_up(to);
    const payload first = std::exchange(stray_, std::nullopt)->bytes;
    start(packet);
    --next_;
    deliver(first.data(), first.size(), to);
    deliver(packet.payload, packet.size, to);
}

void rtp_order::deliver(const std::uint8_t* bytes, std::size_t size,
                        std::vector<std::uint8_t>& to) {
    to.insert(to.end(), bytes, bytes + size);
    latest_ = next_ > latest_ ? next_ : latest_;
    ++next_;
    delivered_ = delivered_ << 1 | 1;
}

void rtp_order::deliver_held(std::vector<std::uint8_t>& to) {
    while (!held_.empty() && held_.begin()->first == next_) {
        const payload first = std::move(held_.begin()->second);
        held_.erase(held_.begin());
        deliver(first.data(), first.size(), to);
    }
}

/// What is missing before the first that is kept is lost.
void rtp_order::skip_to_held() {
    const std::int64_t missing = held_.begin()->first - next_;
    counts_.lost += static_cast<std::uint64_t>(missing);
    next_ += missing;
    delivered_ = missing < most_late ? delivered_ << missing : 0;
}

void rtp_order::give_up(std::vector<std::uint8_t>& to) {
    while (!held_.empty()) {
        skip_to_held();
        deliver_held(to);
    }
}

}  // namespace orvix::inputs
