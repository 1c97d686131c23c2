#include <bitstream/mpeg/ts.h>
#include <section_feed/stream_clock.h>

#include <algorithm>
#include <cmath>

#include "packet_fields.h"

namespace orvix::section_feed {

namespace {

constexpr std::size_t pids = 0x2000;
constexpr double ticks_per_second = 27e6;
constexpr std::uint64_t ticks_of_wrap = (std::uint64_t{1} << 33) * 300;

// PCRs are at most so far apart, in seconds; a difference that is no larger is no jump. Streams
// whose null packets were left out have no steady rate, and so no place that says much.
constexpr double longest_interval = 0.1;
constexpr double jump = 0.1;
// Before there is a rate, nothing but this tells a jump from two PCRs in a row.
constexpr double longest_start = 1;

// A PID that sends so many while the clock sends none is the clock from then on: half a second to
// two and a half, as far apart as PCRs commonly are.
constexpr unsigned int references_to_take_over = 25;

}  // namespace

struct stream_clock::pid_state {
    bool seen = false;
    bool announced = false;  // since the last PCR
    std::uint64_t ticks = 0;
    std::uint64_t index = 0;
    std::optional<double> seconds;  // of the clock, at `index`
    std::uint64_t counted_at = 0;  // the value of clock_references_ since which `unanswered` counts
    unsigned int unanswered = 0;
};

stream_clock::stream_clock() : pids_(pids) {}
stream_clock::~stream_clock() = default;

const clock_reference* stream_clock::look_closer(const packet& p) {
    if (ts_get_transporterror(p.bytes)) return nullptr;
    const std::uint16_t pid = ts_get_pid(p.bytes);
    std::unique_ptr<pid_state>& state = pids_[pid];
    if (state && discontinuity_announced(p.bytes)) state->announced = true;
    if (!carries_pcr(p.bytes)) return nullptr;

    if (!state) state = std::make_unique<pid_state>();
    reference_ = compare(p, *state);
    const std::uint64_t packets = p.index - state->index;
    const std::optional<std::uint16_t> clock_before = pid_;
    if (is_clock(pid, *state)) {
        if (running_) {
            advance(reference_, clock_before != pid_, packets);
        } else {
            start(reference_, packets);
        }
    }

    state->seen = true;
    state->announced = false;
    state->ticks = reference_.ticks;
    state->index = p.index;
    state->seconds = seconds(p.index);
    return &reference_;
}

clock_reference stream_clock::compare(const packet& p, const pid_state& before) const {
    clock_reference now;
    now.pid = ts_get_pid(p.bytes);
    now.packet_index = p.index;
    now.ticks = (tsaf_get_pcr(p.bytes) * 300 + tsaf_get_pcrext(p.bytes)) % ticks_of_wrap;
    now.first = !before.seen;
    if (now.first) return now;

    now.announced = before.announced;
    now.by_value = static_cast<double>((now.ticks + ticks_of_wrap - before.ticks) % ticks_of_wrap) /
                   ticks_per_second;
    if (before.seconds) {
        now.by_place = *seconds(p.index) - *before.seconds;
        now.jumped = !now.announced && now.by_value > longest_interval &&
                     std::abs(now.by_value - *now.by_place) > jump;
    }
    return now;
}

// Whether the PID is the clock, now that it sends a PCR.
bool stream_clock::is_clock(std::uint16_t pid, pid_state& state) {
    if (pid_ && pid != *pid_) {
        if (state.counted_at != clock_references_) {
            state.counted_at = clock_references_;
            state.unanswered = 0;
        }
        if (++state.unanswered < references_to_take_over) return false;
    }
    pid_ = pid;
    ++clock_references_;
    return true;
}

void stream_clock::start(const clock_reference& now, std::uint64_t packets) {
    if (now.announced || now.by_value <= 0 || now.by_value > longest_start) return;
    running_ = true;
    started_ = now.packet_index;
    seconds_per_packet_ = now.by_value / static_cast<double>(packets);
    first_seconds_per_packet_ = seconds_per_packet_;
    last_index_ = now.packet_index;
    last_seconds_ = static_cast<double>(now.packet_index) * seconds_per_packet_;
}

void stream_clock::advance(const clock_reference& now, bool taken_over, std::uint64_t packets) {
    const double at_this_rate = *seconds(now.packet_index);
    reached_ = *seconds(now.packet_index - 1);
    last_index_ = now.packet_index;
    const bool counts_anew = now.announced || now.jumped;
    last_seconds_ = counts_anew || taken_over ? at_this_rate : last_seconds_ + now.by_value;
    if (!counts_anew && now.by_value > 0) {
        seconds_per_packet_ = now.by_value / static_cast<double>(packets);
    }
}

std::optional<double> stream_clock::seconds(std::uint64_t packet_index) const {
    if (!running_) return {};
    if (packet_index <= started_) {
        return static_cast<double>(packet_index) * first_seconds_per_packet_;
    }
    const std::uint64_t packets = packet_index - std::min(packet_index, last_index_);
    return std::max(reached_, last_seconds_ + static_cast<double>(packets) * seconds_per_packet_);
}

std::optional<double> stream_clock::bits_per_second() const {
    if (!running_) return {};
    return TS_SIZE * 8 / seconds_per_packet_;
}

}  // namespace orvix::section_feed
