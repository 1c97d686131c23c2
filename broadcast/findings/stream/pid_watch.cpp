#include "pid_watch.h"

#include <broadcast/findings/wording.h>
#include <broadcast/programs.h>
#include <broadcast/readings/section_loops.h>
#include <broadcast/table_ids.h>

#include <algorithm>
#include <utility>

extern "C" {
#include <bitstream/mpeg/psi.h>
}

namespace orvix::broadcast {

namespace {

constexpr std::uint16_t null_pid = 0x1FFF;
constexpr std::uint16_t last_reserved_pid = 0x002F;
constexpr std::uint16_t transmission_information_pid = 0x1FF0;

// Whatever sends nothing for so long has ended.
constexpr double silence = 10;

/// What needs no table to name it.
bool is_reserved(std::uint16_t pid) {
    return pid <= last_reserved_pid || is_one_seg_pmt_pid(pid) ||
           pid == transmission_information_pid || pid == null_pid;
}

/// The PIDs of entitlement messages (ISO/IEC 13818-1 2.6.16), which do not have to come.
std::vector<std::uint16_t> conditional_access_of(span loop) {
    constexpr std::uint8_t ca = 0x09;
    std::vector<std::uint16_t> named;
    for_each_descriptor(loop, [&](span d) {
        const bool names_a_pid = d.u8(0) == ca && d.size() >= DESC09_HEADER_SIZE;
        if (names_a_pid) named.push_back(desc09_get_pid(d.begin()));
    });
    return named;
}

void append(std::vector<std::uint16_t>& to, const std::vector<std::uint16_t>& more) {
    to.insert(to.end(), more.begin(), more.end());
}

}  // namespace

// --- What is named ---

void pid_watch::take(const std::uint8_t* section, std::size_t size,
                     std::optional<std::uint16_t> pid) {
    if (!stream_ || !pid || size < PSI_HEADER_SIZE_SYNTAX1 || !psi_get_current(section)) return;
    if (section[0] == table_ids::pmt) take_pmt(section, size, *pid);
    if (section[0] == table_ids::cat) take_cat(section, size);
}

void pid_watch::take_pmt(const std::uint8_t* section, std::size_t size, std::uint16_t pid) {
    const std::uint16_t service_id = pmt_get_program(section);
    const std::optional<std::uint16_t> expected = stream_->known_programs.pmt_pid_of(service_id);
    if (size < PMT_HEADER_SIZE || expected.value_or(pid) != pid) return;
    if (!expected && !is_one_seg_pmt_pid(pid)) return;
    if (pmts_.count(service_id) == 0 && !bound_.admits(pmts_.size())) return;

    named_pids named;
    const std::uint16_t pcr_pid = pmt_get_pcrpid(section);
    if (pcr_pid != null_pid) named.streams.push_back(pcr_pid);
    const section_loops loops = find_loops(section, size);
    append(named.others, conditional_access_of(loops.descriptors));
    for (const sent_record& stream : loops.records) {
        named.streams.push_back(pmtn_get_pid(stream.entry));
        append(named.others, conditional_access_of(stream.descriptors));
    }
    replace(pmts_[service_id], std::move(named), service_id);
}

void pid_watch::take_cat(const std::uint8_t* section, std::size_t size) {
    const span body = span(section, size).behind(CAT_HEADER_SIZE);
    const std::size_t descriptors = body.size() - std::min<std::size_t>(body.size(), PSI_CRC_SIZE);
    replace(cat_, {{}, conditional_access_of(body.first(descriptors))}, 0);
}

void pid_watch::replace(named_pids& before, named_pids now, std::uint16_t service_id) {
    for (const std::uint16_t pid : now.others) ++pids_[pid].others;
    for (const std::uint16_t pid : now.streams) {
        watched_pid& state = pids_[pid];
        if (state.streams++ == 0) {
            named_streams_.insert(pid);
            state.active = to_.now().seconds.value_or(0);
        }
        state.service_id = service_id;
    }
    for (const std::uint16_t pid : before.others) --pids_[pid].others;
    for (const std::uint16_t pid : before.streams) {
        watched_pid& state = pids_[pid];
        if (--state.streams > 0) continue;
        named_streams_.erase(pid);
        if (std::exchange(state.is_missing, false)) {
            to_.ends(finding_kind::pid_missing, {pid, {}, 0});
        }
    }
    before = std::move(now);
}

void pid_watch::forget_services_that_are_gone() {
    for (auto pmt = pmts_.begin(); pmt != pmts_.end();) {
        if (stream_->known_programs.pmt_pid_of(pmt->first)) {
            ++pmt;
        } else {
            replace(pmt->second, {}, pmt->first);
            pmt = pmts_.erase(pmt);
        }
    }
}

// --- What comes ---

/// Before that, nobody can say which PIDs have no name.
bool pid_watch::are_all_pmts_there() const {
    const programs& known = stream_->known_programs;
    return known.has_whole_pat() && pmts_.size() >= known.services();
}

/// A look takes as long as some packets do for each PID: it waits for so many, whatever the clock
/// says.
void pid_watch::packets_passed() {
    const moment_of_stream& now = to_.now();
    if (!stream_ || !pace_.is_due(now)) return;
    forget_services_that_are_gone();
    const bool is_complete = are_all_pmts_there();
    const std::vector<std::uint16_t>& sending = stream_->counts.pids();
    for (const std::uint16_t pid : sending) look_at(pid, *now.seconds, is_complete);
    for (const std::uint16_t pid : named_streams_) check_stream(pid, pids_[pid], *now.seconds);
    pace_.reviewed(now, sending.size() + named_streams_.size() + pmts_.size());
}

void pid_watch::look_at(std::uint16_t pid, double now, bool is_complete) {
    watched_pid& state = pids_[pid];
    const std::uint64_t packets = stream_->counts.of(pid).packets;
    if (packets != state.packets) {
        if (state.is_missing) worsen(pid, state, now);
        state.packets = packets;
        state.active = now;
    }
    check_name(pid, state, now, is_complete);
}

void pid_watch::worsen(std::uint16_t pid, const watched_pid& state, double now) {
    const double silent = now - state.active;
    to_.worsens({finding_kind::pid_missing, {pid, {}, 0}, silent, {}, {}},
                [&] { return missing_words(pid, state, silent); });
}

std::string pid_watch::missing_words(std::uint16_t pid, const watched_pid& state, double silent) {
    return "nothing came on " + wording::pid(pid) + " for " + wording::span_of_time(silent) +
           ", although the PMT of " + wording::service(state.service_id) + " names it";
}

void pid_watch::check_stream(std::uint16_t pid, watched_pid& state, double now) {
    const double limit = to_.limit_of(finding_kind::pid_missing);
    const double silent = now - state.active;
    const bool is_missing = silent > limit;
    if (is_missing && !std::exchange(state.is_missing, true)) {
        to_.begins({finding_kind::pid_missing, {pid, {}, 0}, silent, {}, {}},
                   [&] { return missing_words(pid, state, silent); });
    } else if (!is_missing && std::exchange(state.is_missing, false)) {
        to_.ends(finding_kind::pid_missing, {pid, {}, 0});
    }
}

void pid_watch::check_name(std::uint16_t pid, watched_pid& state, double now, bool is_complete) {
    const bool is_named = is_reserved(pid) || state.streams > 0 || state.others > 0 ||
                          stream_->known_programs.refers_to(pid);
    const bool has_gone = now - state.active > silence;
    if (is_named || has_gone || !is_complete) {
        state.unnamed.reset();
        if (std::exchange(state.is_unreferenced, false)) {
            to_.ends(finding_kind::pid_unreferenced, {pid, {}, 0});
        }
        return;
    }
    if (!state.unnamed) state.unnamed = now;
    const double sends = state.active - *state.unnamed;
    const double limit = to_.limit_of(finding_kind::pid_unreferenced);
    if (sends <= limit + look_every || state.is_unreferenced) return;
    state.is_unreferenced = true;
    to_.begins({finding_kind::pid_unreferenced, {pid, {}, 0}, {}, {}, {}},
               [&] { return wording::pid(pid) + " sends packets, but no table names it"; });
}

void pid_watch::end() {
    const std::optional<double> now = to_.now().seconds;
    for (const std::uint16_t pid : named_streams_) {
        if (now && pids_[pid].is_missing) worsen(pid, pids_[pid], *now);
    }
}

}  // namespace orvix::broadcast
