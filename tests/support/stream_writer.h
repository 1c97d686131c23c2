#pragma once

// Lays sections out as transport packets (ISO/IEC 13818-1 2.4.3 and 2.4.4).

#include <section_writer.h>

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace orvix::test {

constexpr std::size_t packet_bytes = 188;
constexpr std::uint16_t null_pid = 0x1FFF;

/// What an adaptation field says. Its length follows from what it holds.
struct adaptation_field {
    bool discontinuity_indicator = false;
    std::optional<std::uint64_t> pcr;  ///< program_clock_reference, in ticks of 27 MHz
    std::size_t stuffing_bytes = 0;    ///< 0xFF, behind the fields
};

enum class layout : std::uint8_t {
    packed,          ///< a section begins right behind the one before, in the same packet
    one_per_packet,  ///< every section begins a packet; 0xFF fills the packet in which it ends
};

/// Writes packets in the order of the calls and keeps a continuity_counter for each PID.
class stream_writer {
public:
    /// The sections on `pid`, the last one filled up with 0xFF. Every packet carries `adaptation`.
    stream_writer& sections(std::uint16_t pid, const std::vector<bytes>& sections,
                            layout how = layout::packed,
                            const std::optional<adaptation_field>& adaptation = {});
    /// One section that begins in a packet of its own.
    stream_writer& section(std::uint16_t pid, const bytes& section);

    /// One packet with the next counter of its PID. `payload` is all that stands behind the header
    /// (the pointer_field included); 0xFF fills the packet. Throws std::length_error if it is too
    /// long.
    stream_writer& packet(std::uint16_t pid, bool payload_unit_start_indicator,
                          const bytes& payload,
                          const std::optional<adaptation_field>& adaptation = {});
    /// One packet that is all adaptation field; the counter of its PID stays.
    stream_writer& packet_without_payload(std::uint16_t pid, adaptation_field adaptation = {});
    stream_writer& null_packets(std::size_t count = 1);
    /// The packet before once more, its counter too.
    stream_writer& duplicate_packet();
    /// Leaves out `count` values of the counter, as if so many packets had been lost.
    stream_writer& skip_counter(std::uint16_t pid, unsigned int count = 1);

    /// The packets so far, 188 bytes each; whoever tests damage may change them.
    std::vector<bytes>& packets() { return packets_; }
    const std::vector<bytes>& packets() const { return packets_; }
    bytes& last_packet() { return packets_.back(); }

    /// All packets as a stream of packets of `packet_size` bytes; see `join_packets`.
    bytes stream(std::size_t packet_size = packet_bytes) const;

private:
    std::vector<bytes> packets_;
    std::map<std::uint16_t, unsigned int> next_counter_;
};

/// Packets one behind the other: as they are (188), with four bytes of time code before each (192)
/// or with sixteen bytes behind each (204). The added bytes contain no 0x47.
bytes join_packets(const std::vector<bytes>& packets, std::size_t packet_size = packet_bytes);

std::uint16_t pid_of(const bytes& packet);
unsigned int continuity_counter(const bytes& packet);
void set_continuity_counter(bytes& packet, unsigned int value);
void set_transport_error_indicator(bytes& packet);
void set_transport_scrambling_control(bytes& packet, unsigned int value);

}  // namespace orvix::test
