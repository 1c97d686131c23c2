#include <bitstream/mpeg/psi.h>
#include <bitstream/mpeg/ts.h>
#include <section_feed/section_collector.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "packet_fields.h"

namespace orvix::section_feed {

namespace {

constexpr std::size_t largest_section = PSI_PRIVATE_MAX_SIZE + PSI_HEADER_SIZE;
constexpr std::uint8_t stuffing = 0xFF;  // where a table_id would stand: no section any more

// Of a packet with payload; at or past the packet's end if the adaptation field leaves none.
std::size_t payload_offset(const std::uint8_t* packet) {
    if (!ts_has_adaptation(packet)) return TS_HEADER_SIZE;
    return std::size_t{TS_HEADER_SIZE} + 1 + ts_get_adaptation(packet);
}

// A repeated packet is the same but for its clock reference, which stands in the adaptation field.
bool same_payload(const std::uint8_t* left, const std::uint8_t* right) {
    const std::size_t offset = payload_offset(left);
    return ts_get_unitstart(left) == ts_get_unitstart(right) && offset == payload_offset(right) &&
           std::memcmp(left + offset, right + offset, TS_SIZE - offset) == 0;
}

}  // namespace

const char* to_string(drop_reason reason) {
    switch (reason) {
        case drop_reason::transport_error:
            return "transport_error";
        case drop_reason::scrambled:
            return "scrambled";
        case drop_reason::discontinuity:
            return "discontinuity";
        case drop_reason::bad_adaptation:
            return "bad_adaptation";
        case drop_reason::bad_pointer:
            return "bad_pointer";
        case drop_reason::unfinished:
            return "unfinished";
        case drop_reason::bad_length:
            return "bad_length";
    }
    return "";
}

// The PID's place in the stream and the section that is being put together.
struct section_collector::assembly {
    assembly(std::uint16_t of, const drop_handler& dropped) : pid(of), on_dropped(dropped) {}

    const std::uint16_t pid;
    const drop_handler& on_dropped;
    pid_counts counts;
    bool synchronised = false;  // a packet with payload came; `last_packet` is it
    bool repeated = false;      // and it came twice
    std::array<std::uint8_t, TS_SIZE> last_packet = {};
    std::size_t used = 0;  // 0: no section has begun
    std::array<std::uint8_t, largest_section + 1> bytes = {};

    void count(drop_reason reason) {
        ++counts.dropped[static_cast<std::size_t>(reason)];
        if (on_dropped) on_dropped(pid, reason);
    }
    void drop_unfinished() {
        if (used == 0) return;
        count(drop_reason::unfinished);
        used = 0;
    }
    void reset() {
        synchronised = false;
        repeated = false;
        used = 0;
    }
    bool is_repetition(const std::uint8_t* packet) const {
        return synchronised && !repeated && ts_get_cc(packet) == ts_get_cc(last_packet.data()) &&
               same_payload(packet, last_packet.data());
    }
    // Whatever has begun is lost where the continuity_counter is not the expected one.
    void check_counter(const std::uint8_t* packet, unsigned int expected) {
        if (!synchronised || ts_get_cc(packet) == expected % 16) return;
        if (discontinuity_announced(packet)) {
            drop_unfinished();
        } else {
            count(drop_reason::discontinuity);
            used = 0;
        }
    }
};

section_collector::section_collector(section_handler on_section, refusal_handler on_refused,
                                     gate_options options, drop_handler on_dropped)
    : on_section_(std::move(on_section)),
      on_refused_(std::move(on_refused)),
      on_dropped_(std::move(on_dropped)),
      options_(options),
      assemblies_(pids) {}

section_collector::~section_collector() = default;

void section_collector::follow(std::uint16_t pid) {
    if (pid >= pids) throw std::out_of_range("a PID has 13 bits");
    if (!assemblies_[pid]) assemblies_[pid] = std::make_unique<assembly>(pid, on_dropped_);
    followed_.set(pid);
}

void section_collector::unfollow(std::uint16_t pid) {
    if (!follows(pid)) return;
    followed_.reset(pid);
    assemblies_[pid]->reset();
}

void section_collector::push_followed(const packet& p, std::uint16_t pid) {
    assembly& state = *assemblies_[pid];
    ++state.counts.packets;
    const std::uint8_t* const packet = p.bytes;
    if (ts_get_transporterror(packet)) return state.count(drop_reason::transport_error);
    if (ts_get_scrambling(packet) != 0) return state.count(drop_reason::scrambled);

    if (!ts_has_payload(packet)) {
        // Does not count on; but where it announces a new beginning, it says from which number.
        if (state.synchronised && discontinuity_announced(packet)) {
            state.check_counter(packet, ts_get_cc(state.last_packet.data()));
            ts_set_cc(state.last_packet.data(), ts_get_cc(packet));
        }
        return;
    }
    const std::size_t offset = payload_offset(packet);
    if (offset >= TS_SIZE) return state.count(drop_reason::bad_adaptation);

    if (state.is_repetition(packet)) {
        state.repeated = true;
        return;
    }
    state.check_counter(packet, ts_get_cc(state.last_packet.data()) + 1u);
    std::copy_n(packet, TS_SIZE, state.last_packet.begin());
    state.synchronised = true;
    state.repeated = false;

    const section found = {state.bytes.data(), 0, pid, p.index};
    if (ts_get_unitstart(packet)) {
        push_unit_start(state, packet + offset, TS_SIZE - offset, found);
    } else if (state.used > 0) {
        collect(state, packet + offset, TS_SIZE - offset, found);
    }
}

// A payload with a pointer_field: the end of the section that has begun, then new ones.
void section_collector::push_unit_start(assembly& state, const std::uint8_t* payload,
                                        std::size_t size, const section& found) {
    const std::size_t pointer_field = *payload;
    ++payload;
    --size;
    if (pointer_field >= size) {
        state.count(drop_reason::bad_pointer);
        state.used = 0;
        return;
    }
    if (state.used > 0) {
        collect(state, payload, pointer_field, found);
        state.drop_unfinished();
        if (!state.synchronised) return;
    }
    collect(state, payload + pointer_field, size - pointer_field, found);
}

// Goes on with the section that has begun, and with those behind it, up to stuffing or the end of
// the bytes. biTStream's psi_assemble_payload drops sections above 4093 bytes without a word, while
// 4096 are legal, and allocates each section anew: it is done by hand here.
void section_collector::collect(assembly& state, const std::uint8_t* bytes, std::size_t size,
                                const section& found) {
    while (size > 0) {
        if (state.used == 0 && *bytes == stuffing) return;

        std::uint8_t* const buffer = state.bytes.data();
        const bool header_is_whole = state.used >= PSI_HEADER_SIZE;
        const std::size_t wanted = header_is_whole
                                       ? std::size_t{PSI_HEADER_SIZE} + psi_get_length(buffer)
                                       : std::size_t{PSI_HEADER_SIZE};
        const std::size_t count = std::min(size, wanted - state.used);
        std::memcpy(buffer + state.used, bytes, count);
        state.used += count;
        bytes += count;
        size -= count;
        if (state.used < PSI_HEADER_SIZE) return;

        const std::size_t section_length = psi_get_length(buffer);
        if (section_length > PSI_PRIVATE_MAX_SIZE) {
            state.count(drop_reason::bad_length);
            state.used = 0;
            return;
        }
        if (state.used < PSI_HEADER_SIZE + section_length) continue;

        deliver(state, {buffer, state.used, found.pid, found.packet_index});
        // Unfollowed during the call, and perhaps followed anew: that starts with the next packet.
        if (!state.synchronised) return;
    }
}

void section_collector::deliver(assembly& state, section whole) {
    state.used = 0;  // first: a handler may throw
    whole.bytes[whole.size] = 0;
    const gate_result result = check_section(whole.bytes, whole.size, options_);
    if (result.admitted()) {
        ++state.counts.admitted;
        if (on_section_) on_section_(whole);
    } else {
        ++state.counts.refused[static_cast<std::size_t>(result.why)];
        if (on_refused_) on_refused_(whole, result);
    }
}

void section_collector::finish() {
    for (const auto& state : assemblies_) {
        if (!state) continue;
        state->drop_unfinished();
        state->reset();
    }
}

std::map<std::uint16_t, pid_counts> section_collector::counts() const {
    std::map<std::uint16_t, pid_counts> by_pid;
    for (std::size_t pid = 0; pid < pids; ++pid) {
        if (assemblies_[pid]) {
            by_pid.emplace(static_cast<std::uint16_t>(pid), assemblies_[pid]->counts);
        }
    }
    return by_pid;
}

}  // namespace orvix::section_feed
