#include "views/findings_view.h"

namespace orvix::si_inspect {

using namespace broadcast;

std::vector<bound> findings_view::bounds() const {
    std::vector<bound> all = view::bounds();
    if (!findings_) return all;
    for (const bound& b : findings_->bounds()) all.push_back(b);
    return all;
}

void findings_view::input_began(const std::string& name, bool is_live) {
    if (findings_) counts().add(findings_->bounds());  // of the input before
    file_ = name;
    ledger::change_handler on_change;
    if (is_live)
        on_change = [this](const finding& changed) { to_.finding_changed(file_, changed); };
    findings_.emplace(
        findings::settings{how_.limits, std::move(on_change), {}, ended_findings::kept});
}

void findings_view::input_ended() {
    findings_->end();
    const std::vector<finding> all = findings_->told();
    for (const finding& f : all) has_error_ = has_error_ || f.how_bad == severity::error;
    to_.findings(file_, all);
    if (!how_.sections && !findings_->had_clock()) {
        notice_("no PCRs: what takes a clock to be found is left out");
    }
}

bool findings_view::show(const sighting& seen) {
    findings_->section(seen);
    return false;
}

void findings_view::see_refusal(const place& where, const refusal& what) {
    findings_->refused(where, what);
}

void findings_view::stream_begins(const stream_facts& of) { findings_->stream_begins(of); }

void findings_view::packets_passed(std::uint64_t last_packet) {
    findings_->packets_passed(last_packet);
}

void findings_view::gap(const packet_gap& skipped) { findings_->gap(skipped); }

void findings_view::packet_fault(const section_feed::packet& packet, std::uint16_t pid,
                                 section_feed::packet_fault what) {
    findings_->packet_fault(packet, pid, what);
}

void findings_view::clock_reference(const section_feed::clock_reference& reference) {
    findings_->clock_reference(reference);
}

void findings_view::dropped(std::uint16_t pid, std::uint64_t packet,
                            section_feed::drop_reason why) {
    findings_->dropped(pid, packet, why);
}

}  // namespace orvix::si_inspect
