#include "stream_writer.h"

#include <algorithm>
#include <stdexcept>

namespace orvix::test {

namespace {

constexpr std::size_t header_bytes = 4;
constexpr std::uint8_t stuffing = 0xFF;

bytes written(const adaptation_field& adaptation) {
    section_writer fields;
    fields.bits(1, adaptation.discontinuity_indicator ? 1 : 0)
        .bits(2, 0)  // random_access_indicator, elementary_stream_priority_indicator
        .bits(1, adaptation.pcr ? 1 : 0)
        .bits(4, 0);  // OPCR_flag, splicing_point_flag, private data and extension flags
    if (adaptation.pcr) {
        fields
            .bits(33, *adaptation.pcr / 300)  // program_clock_reference_base
            .bits(6, 0x3F)                    // reserved
            .bits(9, *adaptation.pcr % 300);  // program_clock_reference_extension
    }
    fields.append(bytes(adaptation.stuffing_bytes, stuffing));
    const bytes content = fields;
    return section_writer().bits(8, content.size()).append(content);
}

std::size_t room_for_payload(const std::optional<adaptation_field>& adaptation) {
    const std::size_t taken = header_bytes + (adaptation ? written(*adaptation).size() : 0);
    if (taken > packet_bytes) throw std::length_error("the adaptation field exceeds the packet");
    return packet_bytes - taken;
}

}  // namespace

stream_writer& stream_writer::sections(std::uint16_t pid, const std::vector<bytes>& sections,
                                       layout how,
                                       const std::optional<adaptation_field>& adaptation) {
    if (how == layout::one_per_packet && sections.size() > 1) {
        for (const bytes& section : sections) this->sections(pid, {section}, how, adaptation);
        return *this;
    }

    bytes content;
    std::vector<std::size_t> starts;
    for (const bytes& section : sections) {
        starts.push_back(content.size());
        content = std::move(content) + section;
    }

    const std::size_t room = room_for_payload(adaptation);
    if (room < 2) throw std::length_error("the adaptation field leaves no room for a section");
    std::size_t position = 0;
    while (position < content.size()) {
        // A pointer_field takes a byte, so a section begins in this packet only if at least its
        // first byte still fits behind one.
        const auto start = std::lower_bound(starts.begin(), starts.end(), position);
        const bool unit_start = start != starts.end() && *start - position < room - 1;

        bytes payload;
        if (unit_start) payload.push_back(static_cast<std::uint8_t>(*start - position));
        // Without one, a section that would begin in the packet's last byte waits for the next.
        const std::size_t end = unit_start || start == starts.end() ? content.size() : *start;
        const std::size_t count = std::min(room - payload.size(), end - position);
        for (std::size_t i = 0; i < count; ++i) payload.push_back(content[position + i]);
        packet(pid, unit_start, payload, adaptation);
        position += count;
    }
    return *this;
}

stream_writer& stream_writer::section(std::uint16_t pid, const bytes& section) {
    return sections(pid, {section});
}

stream_writer& stream_writer::packet(std::uint16_t pid, bool payload_unit_start_indicator,
                                     const bytes& payload,
                                     const std::optional<adaptation_field>& adaptation) {
    if (payload.size() > room_for_payload(adaptation)) {
        throw std::length_error("the payload exceeds the packet");
    }
    unsigned int& counter = next_counter_[pid];
    bytes packet = section_writer()
                       .bits(8, 0x47)  // sync_byte
                       .bits(1, 0)     // transport_error_indicator
                       .bits(1, payload_unit_start_indicator ? 1 : 0)
                       .bits(1, 0)  // transport_priority
                       .bits(13, pid)
                       .bits(2, 0)  // transport_scrambling_control
                       .bits(1, adaptation ? 1 : 0)
                       .bits(1, 1)  // payload follows
                       .bits(4, counter)
                       .append(adaptation ? written(*adaptation) : bytes())
                       .append(payload);
    packet.resize(packet_bytes, stuffing);
    packets_.push_back(std::move(packet));
    counter = (counter + 1) % 16;
    return *this;
}

stream_writer& stream_writer::packet_without_payload(std::uint16_t pid,
                                                     adaptation_field adaptation) {
    adaptation.stuffing_bytes += room_for_payload(adaptation);
    packets_.push_back(section_writer()
                           .bits(8, 0x47)  // sync_byte
                           .bits(3, 0)     // error, unit start, priority
                           .bits(13, pid)
                           .bits(2, 0)    // transport_scrambling_control
                           .bits(2, 0x2)  // adaptation field only
                           .bits(4, (next_counter_[pid] + 15) % 16)
                           .append(written(adaptation)));
    return *this;
}

stream_writer& stream_writer::null_packets(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) packet(null_pid, false, {});
    return *this;
}

stream_writer& stream_writer::duplicate_packet() {
    packets_.push_back(bytes(packets_.back()));
    return *this;
}

stream_writer& stream_writer::skip_counter(std::uint16_t pid, unsigned int count) {
    next_counter_[pid] = (next_counter_[pid] + count) % 16;
    return *this;
}

bytes stream_writer::stream(std::size_t packet_size) const {
    return join_packets(packets_, packet_size);
}

bytes join_packets(const std::vector<bytes>& packets, std::size_t packet_size) {
    if (packet_size != 188 && packet_size != 192 && packet_size != 204) {
        throw std::invalid_argument("packets have 188, 192 or 204 bytes");
    }
    const bytes time_code(packet_size == 192 ? 4 : 0, 0x10);
    const bytes error_correction(packet_size == 204 ? 16 : 0, 0xEC);
    bytes stream;
    stream.reserve(packets.size() * packet_size);
    for (const bytes& packet : packets) {
        for (const bytes* part : {&time_code, &packet, &error_correction}) {
            stream.insert(stream.end(), part->begin(), part->end());
        }
    }
    return stream;
}

std::uint16_t pid_of(const bytes& packet) {
    return static_cast<std::uint16_t>((packet[1] & 0x1F) << 8 | packet[2]);
}

unsigned int continuity_counter(const bytes& packet) { return packet[3] & 0x0F; }

void set_continuity_counter(bytes& packet, unsigned int value) {
    packet[3] = static_cast<std::uint8_t>((packet[3] & 0xF0) | (value & 0x0F));
}

void set_transport_error_indicator(bytes& packet) {
    packet[1] = static_cast<std::uint8_t>(packet[1] | 0x80);
}

void set_transport_scrambling_control(bytes& packet, unsigned int value) {
    packet[3] = static_cast<std::uint8_t>((packet[3] & 0x3F) | (value & 0x3) << 6);
}

}  // namespace orvix::test
