#pragma once

#include <section_feed/export.h>
#include <section_feed/packet_reader.h>
#include <section_feed/section_gate.h>

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace orvix::section_feed {

/// Why a packet was dropped, or the section that it belonged to, as a receiver's demultiplexer
/// does.
enum class drop_reason : std::uint8_t {
    transport_error,  ///< transport_error_indicator set
    scrambled,        ///< transport_scrambling_control not 0
    discontinuity,    ///< continuity_counter jumped; an unfinished section is lost with it
    bad_adaptation,   ///< adaptation_field_length leaves no payload where one is announced
    bad_pointer,      ///< pointer_field leads past the packet; an unfinished section is lost
    unfinished,       ///< a new section began, or the stream ended, before the section was whole
    bad_length,  ///< section_length above 4093; the bytes up to the next pointer_field are lost
};
constexpr std::size_t drop_reasons = 7;  ///< how many there are

/// The reason's name, as written above.
SECTION_FEED_EXPORT const char* to_string(drop_reason reason);

/// One whole section.
struct section {
    /// `size` bytes, table_id first, and one spare readable byte behind them, 0. Valid during the
    /// call.
    std::uint8_t* bytes = nullptr;
    std::size_t size = 0;            ///< section_length + 3, CRC_32 included
    std::uint16_t pid = 0;           ///< 13 bits
    std::uint64_t packet_index = 0;  ///< of the packet in which the section ended
};

/// What happened on one PID.
struct pid_counts {
    std::uint64_t packets = 0;                         ///< while the PID was followed, of any kind
    std::uint64_t admitted = 0;                        ///< sections handed out
    std::array<std::uint64_t, verdicts> refused = {};  ///< sections, by verdict of the gate
    std::array<std::uint64_t, drop_reasons> dropped = {};  ///< by drop_reason
};

/// Packets in, sections out: puts the sections of the followed PIDs together (ISO/IEC 13818-1
/// 2.4.4), drops what a receiver's demultiplexer drops, and hands out what the gate admits.
/// Everything that it leaves out is counted. One thread at a time.
///
/// A packet that is dropped for its header (transport_error, scrambled, bad_adaptation) is treated
/// as if it had never come: the continuity_counter of the next one shows the gap. A packet that
/// comes twice in a row, which is legal, is taken once. A jump that discontinuity_indicator
/// announces is no discontinuity, but a section that it cuts is unfinished. Whatever is lost,
/// sections from the next pointer_field on are collected, in the packet in hand too.
class SECTION_FEED_EXPORT section_collector {
public:
    /// Is called from within `push`; the section is gone when it returns.
    using section_handler = std::function<void(const section&)>;
    /// The same, with why the section was refused.
    using refusal_handler = std::function<void(const section&, const gate_result&)>;
    /// Is called from within `push` and `finish`, once for each packet or section that is dropped.
    using drop_handler = std::function<void(std::uint16_t pid, drop_reason)>;

    /// `on_section` is handed every admitted section, `on_refused` every whole one that the gate
    /// refuses (verdict::not_decoded included). Both may follow and unfollow PIDs, also the one in
    /// hand. What they throw passes through `push`; the rest of that packet is then lost.
    /// `on_dropped` is told of each count of `pid_counts::dropped`, and may do neither.
    explicit section_collector(section_handler on_section, refusal_handler on_refused = {},
                               gate_options options = {}, drop_handler on_dropped = {});
    ~section_collector();
    section_collector(const section_collector&) = delete;
    section_collector& operator=(const section_collector&) = delete;

    /// Collects the PID's sections from its next pointer_field on. Nothing changes if it is
    /// followed already. Throws std::out_of_range above 0x1FFF.
    void follow(std::uint16_t pid);
    /// Drops an unfinished section of the PID, uncounted; its counts stay.
    void unfollow(std::uint16_t pid);
    /// Whether the PID's packets are taken now; false above 0x1FFF.
    bool follows(std::uint16_t pid) const { return pid < pids && followed_[pid]; }

    /// Takes a packet; one of a PID that is not followed costs a look at its header.
    void push(const packet& p) {
        const unsigned int pid = (p.bytes[1] & 0x1Fu) << 8 | p.bytes[2];
        if (followed_[pid]) push_followed(p, static_cast<std::uint16_t>(pid));
    }
    /// Says that no more packets come: unfinished sections are counted and dropped.
    void finish();

    /// Counts by PID, of all PIDs ever followed.
    std::map<std::uint16_t, pid_counts> counts() const;

private:
    static constexpr std::size_t pids = 0x2000;
    struct assembly;

    void push_followed(const packet& p, std::uint16_t pid);
    void push_unit_start(assembly& state, const std::uint8_t* payload, std::size_t size,
                         const section& found);
    void collect(assembly& state, const std::uint8_t* bytes, std::size_t size,
                 const section& found);
    void deliver(assembly& state, section whole);

    section_handler on_section_;
    refusal_handler on_refused_;
    drop_handler on_dropped_;
    gate_options options_;
    std::bitset<pids> followed_;
    std::vector<std::unique_ptr<assembly>> assemblies_;  // by PID; none if it was never followed
};

}  // namespace orvix::section_feed
