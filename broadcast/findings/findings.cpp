#include "findings.h"

namespace orvix::broadcast {

namespace {

// By so many seconds PCRs go on where something is missing between them. In a shorter hole no table
// changes so often that its version comes again, and clocks are not compared so closely.
constexpr double shortest_hole = 1;

}  // namespace

void findings::set_time(std::uint64_t number, std::optional<double> seconds) {
    ledger_.set_time({number, stream_.has_value(), seconds, clock_.time(seconds)});
}

void findings::set_time(std::uint64_t packet) {
    set_time(packet, stream_ ? stream_->clock.seconds(packet) : std::nullopt);
}

void findings::stream_begins(const stream_facts& of) {
    stream_.emplace(of);
    pids_.stream_begins(of);
    tables_.stream_begins(of);
    events_.stream_begins(of);
    network_.stream_begins(of);
    announcements_.stream_begins(of);
    pmts_.stream_begins(of);
    applications_.stream_begins(of);
}

void findings::packets_passed(std::uint64_t last_packet) {
    set_time(last_packet);
    stream_faults_.packets_passed();
    pids_.packets_passed();
    tables_.packets_passed();
    events_.packets_passed();
    services_.packets_passed();
    network_.packets_passed();
    announcements_.packets_passed();
    components_.packets_passed();
    applications_.packets_passed();
}

void findings::gap(const packet_gap& skipped) {
    set_time(skipped.next_packet);
    stream_faults_.take(skipped);
}

void findings::packet_fault(const section_feed::packet& packet, std::uint16_t pid,
                            section_feed::packet_fault what) {
    set_time(packet.index);
    stream_faults_.take(pid, what);
    // Sections behind a hole may come before the next PCR, which tells how long it is.
    if (what == section_feed::packet_fault::continuity) versions_.forget(pid);
}

void findings::clock_reference(const section_feed::clock_reference& reference) {
    set_time(reference.packet_index);
    stream_faults_.take(reference);
    if (reference.jumped && reference.by_value > shortest_hole) interrupted();
}

void findings::dropped(std::uint16_t pid, std::uint64_t packet, section_feed::drop_reason why) {
    set_time(packet);
    stream_faults_.take_drop(pid, why);
}

void findings::section(const sighting& seen) {
    set_time(seen.where.number, seen.seconds);
    if (seen.where.crc_error) return stream_faults_.take_wrong_crc(seen.where, seen.bytes[0]);
    clock_.take(seen);
    if (seen.is_new) pids_.take(seen.bytes, seen.size, seen.where.pid);
    tables_.take(seen);
    versions_.take(seen);
    events_.take(seen);
    receiver_.take(seen);
    services_.take(seen);
    network_.take(seen);
    announcements_.take(seen);
    if (seen.is_new) pmts_.take(seen.bytes, seen.size, seen.where.pid, seen.seconds);
    applications_.take(seen);
}

void findings::refused(const place& where, const refusal& what) {
    set_time(where.number);
    if (what.why.why == section_feed::verdict::crc_mismatch) {
        return stream_faults_.take_wrong_crc(where, what.section[0]);
    }
    pids_.take(what.section, what.size, where.pid);
    if (what.why.why == section_feed::verdict::not_decoded) return;
    // It came, whatever the receiver makes of it.
    sighting seen;
    seen.where = where;
    seen.bytes = what.section;
    seen.size = what.size;
    seen.seconds = ledger_.now().seconds;
    receiver_.take_refused(where, what);
    if (what.size < 8) return;
    tables_.take(seen);
    announcements_.take(seen);
    pmts_.take(seen.bytes, seen.size, seen.where.pid, seen.seconds);
    applications_.take(seen);
}

void findings::interrupted() {
    clock_.forget();
    versions_.forget();
}

void findings::end() {
    if (stream_) {
        set_time(ledger_.now().number);
        tables_.end();
        pids_.end();
        events_.end();
        services_.end();
        network_.end();
        announcements_.end();
        components_.end();
        applications_.end();
    }
}

std::vector<bound> findings::bounds() const {
    std::vector<bound> all = {ledger_.limit(), tables_.limit(),        versions_.limit(),
                              pids_.limit(),   announcements_.limit(), pmts_.limit()};
    for (const auto& more :
         {events_.limits(), services_.bounds(), network_.bounds(), applications_.bounds()}) {
        all.insert(all.end(), more.begin(), more.end());
    }
    return all;
}

}  // namespace orvix::broadcast
