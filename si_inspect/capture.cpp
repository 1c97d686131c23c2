#include "capture.h"

#include <algorithm>
#include <utility>

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

constexpr std::uint16_t pat_pid = 0x0000;
constexpr std::uint16_t nit_pid = 0x0010;
constexpr std::uint16_t sdt_pid = 0x0011;
constexpr std::uint16_t eit_pid = 0x0012;
constexpr std::uint16_t tdt_pid = 0x0014;
// Events of mobile and of fixed reception where they have PIDs of their own.
constexpr std::uint16_t m_eit_pid = 0x0026;
constexpr std::uint16_t l_eit_pid = 0x0027;

constexpr std::uint16_t fixed_pids[] = {pat_pid, nit_pid,   sdt_pid,  eit_pid,
                                        tdt_pid, m_eit_pid, l_eit_pid};

bool is_fixed(std::uint16_t pid) {
    return std::find(std::begin(fixed_pids), std::end(fixed_pids), pid) != std::end(fixed_pids);
}

std::size_t pid_of(const section_feed::packet& p) {
    return static_cast<std::size_t>(p.bytes[1] & 0x1F) << 8 | p.bytes[2];
}

}  // namespace

capture::capture(std::string name, tables_view& to, const section_feed::gate_options& options)
    : name_(std::move(name)),
      to_(to),
      collector_([this](const section_feed::section& found) { take(found); },
                 [this](const section_feed::section& found, const section_feed::gate_result& why) {
                     refuse(found, why);
                 },
                 options) {
    for (const std::uint16_t pid : fixed_pids) collector_.follow(pid);
}

void capture::filled(std::size_t size) {
    reader_.filled(size);
    push_packets();
}

void capture::push_packets() {
    section_feed::packet p;
    while (!to_.done() && reader_.next(p)) {
        seen_pids_.set(pid_of(p));
        collector_.push(p);
    }
}

void capture::end() {
    reader_.finish();
    push_packets();
    collector_.finish();
}

void capture::count() {
    totals& counts = to_.counts();
    counts.packets += reader_.packets();
    counts.pids |= seen_pids_;
    counts.skipped_bytes += reader_.skipped_bytes();
    counts.sync_losses += reader_.sync_losses();
    for (const auto& [pid, of_pid] : collector_.counts()) {
        for (std::size_t i = 0; i < section_feed::drop_reasons; ++i) {
            if (of_pid.dropped[i] == 0) continue;
            counts.dropped[pid][static_cast<section_feed::drop_reason>(i)] += of_pid.dropped[i];
        }
    }
}

place capture::place_of(const section_feed::section& found) const {
    return {name_, found.packet_index, found.pid};
}

void capture::take(const section_feed::section& found) {
    const std::optional<table_ref> table =
        to_.take(place_of(found), found.bytes, found.size, programs_.services_of(found.pid));
    if (table) follow_references(*table, found.pid);
}

void capture::refuse(const section_feed::section& found, const section_feed::gate_result& why) {
    to_.refuse(place_of(found), {why, found.bytes, found.size});
}

void capture::follow_references(const table_ref& table, std::uint16_t pid) {
    if (const auto* const pat = std::get_if<const si_parser::pat*>(&table); pat && pid == pat_pid) {
        // A programme that comes back is read anew, and so are its references.
        for (const std::uint16_t gone : programs_.take(**pat)) to_.forget(gone);
    } else if (const auto* const pmt = std::get_if<const si_parser::pmt*>(&table)) {
        programs_.take(**pmt, pid);
    } else {
        return;
    }

    const std::set<std::uint16_t> wanted = programs_.pids();
    for (const std::uint16_t gone : followed_) {
        if (wanted.count(gone) == 0 && !is_fixed(gone)) collector_.unfollow(gone);
    }
    for (const std::uint16_t found : wanted) collector_.follow(found);
    followed_ = wanted;
}

}  // namespace orvix::si_inspect
