#include <bitstream/mpeg/ts.h>
#include <section_feed/stream_counts.h>

#include "packet_fields.h"

namespace orvix::section_feed {

namespace {

constexpr std::size_t all_pids = 0x2000;
constexpr std::uint16_t null_pid = 0x1FFF;

}  // namespace

stream_counts::stream_counts() : pids_(all_pids) {}
stream_counts::~stream_counts() = default;

packet_fault stream_counts::look_closer(const std::uint8_t* packet, pid_state& state) {
    if (state.counts.packets == 1) met_.push_back(ts_get_pid(packet));
    if (ts_get_transporterror(packet)) {
        ++state.counts.transport_errors;
        return packet_fault::transport_error;
    }
    if (ts_get_scrambling(packet) != 0) ++state.counts.scrambled;
    if (ts_get_pid(packet) == null_pid) return packet_fault::none;

    const bool first = state.expected == before_first;
    const unsigned int counter = ts_get_cc(packet);
    if (discontinuity_announced(packet)) {
        // Without payload too: it says from which number the next one counts on.
        if (ts_has_payload(packet) || !first) state.expect_next(counter);
        return packet_fault::none;
    }
    if (!ts_has_payload(packet)) return packet_fault::none;

    const bool continuous = first || counter == (state.expected & 0x0Fu);
    const bool same_again = (counter + 1) % 16 == (state.expected & 0x0Fu);
    if (!continuous && same_again && !state.repeated) {
        state.repeated = true;
        return packet_fault::none;
    }
    state.expect_next(counter);
    if (continuous) return packet_fault::none;
    ++state.counts.continuity_errors;
    return packet_fault::continuity;
}

}  // namespace orvix::section_feed
