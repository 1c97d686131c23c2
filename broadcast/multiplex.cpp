#include "multiplex.h"

#include <section_feed/section_gate.h>

#include <algorithm>
#include <utility>

namespace orvix::broadcast {

namespace {

constexpr std::uint16_t pat_pid = 0x0000;
// Behind them come the PIDs that a PAT or PMT has to name.
constexpr std::uint16_t last_reserved_pid = 0x002F;

std::uint16_t pid_of(const section_feed::packet& p) {
    return static_cast<std::uint16_t>((p.bytes[1] & 0x1F) << 8 | p.bytes[2]);
}

}  // namespace

multiplex::multiplex(std::string name, observer& to, const settings& how)
    : name_(std::move(name)),
      how_(how),
      to_(to),
      intake_(to, how),
      collector_([this](const section_feed::section& found) { take(found); },
                 [this](const section_feed::section& found, const section_feed::gate_result& why) {
                     refuse(found, why);
                 },
                 intake_.gate_options(),
                 [this](std::uint16_t pid, section_feed::drop_reason why) {
                     // What the stream's end cuts off is no fault of it.
                     if (!is_ended_) to_.dropped(pid, packet_, why);
                 }),
      programs_({[this](std::uint16_t pid) {
                     collector_.follow(pid);
                     newly_referred_.push_back(pid);
                 },
                 [this](std::uint16_t pid) {
                     if (!is_always_followed(pid)) collector_.unfollow(pid);
                 },
                 [this](std::uint16_t pid) { intake_.forget(pid); }}) {
    for (std::uint16_t pid = pat_pid; pid <= last_reserved_pid; ++pid) collector_.follow(pid);
    for (std::uint16_t pid = first_one_seg_pmt_pid; pid <= last_one_seg_pmt_pid; ++pid) {
        collector_.follow(pid);
    }
    for (const std::uint16_t pid : how_.pids) collector_.follow(pid);
    to_.stream_begins({clock_, counts_, programs_});
}

bool multiplex::is_always_followed(std::uint16_t pid) const {
    return pid <= last_reserved_pid || is_one_seg_pmt_pid(pid) || how_.pids.count(pid) != 0;
}

void multiplex::filled(std::size_t size) {
    reader_.filled(size);
    push_packets();
}

void multiplex::push_packets() {
    section_feed::packet p;
    while (!intake_.is_over() && reader_.next(p)) {
        observe(p);
        early_pmts_.push(p);
        collector_.push(p);
    }
}

void multiplex::observe(const section_feed::packet& p) {
    packet_ = p.index;
    if (reader_.skipped_bytes() != skipped_bytes_) observe_gap(p.index);
    const section_feed::packet_fault fault = counts_.push(p);
    if (fault != section_feed::packet_fault::none) to_.packet_fault(p, pid_of(p), fault);
    const section_feed::clock_reference* const reference = clock_.push(p);
    if (reference != nullptr) to_.clock_reference(*reference);
    if (p.index % packets_between_looks == 0) to_.packets_passed(p.index);
}

void multiplex::observe_gap(std::uint64_t next_packet) {
    packet_gap skipped;
    skipped.next_packet = next_packet;
    skipped.bytes =
        reader_.skipped_bytes() - std::exchange(skipped_bytes_, reader_.skipped_bytes());
    skipped.sync_lost = reader_.sync_losses() != std::exchange(sync_losses_, reader_.sync_losses());
    to_.gap(skipped);
}

void multiplex::end() {
    reader_.finish();
    push_packets();
    if (reader_.skipped_bytes() != skipped_bytes_) observe_gap(reader_.packets());
    is_ended_ = true;
    collector_.finish();
}

place multiplex::place_of(const section_feed::section& found) const {
    place where;
    where.file = name_;
    where.number = found.packet_index;
    where.pid = found.pid;
    return where;
}

void multiplex::take(const section_feed::section& found) {
    sighting seen;
    seen.where = place_of(found);
    seen.size = found.size;
    seen.known_programs = &programs_;
    seen.seconds = clock_.seconds(found.packet_index);
    const table_ref* const table = intake_.admit(seen, found.bytes);
    if (table != nullptr) follow_references(*table, found.pid);
}

void multiplex::refuse(const section_feed::section& found, const section_feed::gate_result& why) {
    intake_.refuse(place_of(found), {why, found.bytes, found.size});
}

void multiplex::follow_references(const table_ref& table, std::uint16_t pid) {
    if (const auto* const pat = std::get_if<const si_parser::pat*>(&table); pat && pid == pat_pid) {
        programs_.take(**pat);
    } else if (const auto* const pmt = std::get_if<const si_parser::pmt*>(&table)) {
        programs_.take(**pmt, pid);
    }
    take_early_pmts();
}

void multiplex::take_early_pmts() {
    for (const std::uint16_t pid : std::exchange(newly_referred_, {})) {
        for (early_pmts::pmt_section& early : early_pmts_.take(pid)) {
            const std::size_t size = early.bytes.size() - 1;
            const section_feed::section found = {early.bytes.data(), size, pid, early.packet_index};
            const section_feed::gate_result why =
                section_feed::check_section(found.bytes, size, intake_.gate_options());
            if (why.admitted()) {
                take(found);
            } else {
                refuse(found, why);
            }
        }
    }
    if (programs_.has_whole_pat()) early_pmts_.stop();
}

std::vector<bound> multiplex::bounds() const { return {programs_.limit(), intake_.places()}; }

}  // namespace orvix::broadcast
