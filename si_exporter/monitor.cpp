#include "monitor.h"

#include <broadcast/names.h>
#include <broadcast/readings/span.h>
#include <broadcast/table_ids.h>

#include <ctime>
#include <utility>

namespace orvix::si_exporter {

using namespace broadcast;

namespace {

constexpr std::string_view tables[] = {"pat", "pmt", "sdt", "nit", "eit", "ait", "tdt", "tot"};

constexpr double time_between_looks = 1;  // seconds

// In seconds. A clock is told every 30, and has not gone where three are lost.
constexpr double longest_without_clock = 120;

/// Those of this transport stream whose versions tell something: schedules change all the time.
bool has_told_version(std::uint8_t table_id) {
    switch (table_id) {
        case table_ids::pat:
        case table_ids::pmt:
        case table_ids::nit_actual:
        case table_ids::sdt_actual:
        case table_ids::present_following_actual:
        case table_ids::ait:
            return true;
        default:
            return false;
    }
}

}  // namespace

monitor::monitor(settings how, machine_time now)
    : how_(how),
      now_(now),
      last_packet_(now.steady),
      findings_(findings::settings{
          how.limits, [this](const finding& changed) { finding_changed(changed); },
          [this](const table_interval& came) { intervals_[came.limit].add(came.seconds); },
          ended_findings::forgotten}),
      stream_("", *this, {}) {
    for (const std::string_view table : tables) sections_[table] = 0;
    for (std::size_t kind = 0; kind < finding_kinds; ++kind) {
        const finding_rule& rule = rule_of(static_cast<finding_kind>(kind));
        findings_seen_[{rule.kind, rule.how_bad}] = {};
    }
}

void monitor::filled(std::size_t size, machine_time now) {
    if (silent_seconds(now) >= longest_silence) findings_.interrupted();
    now_ = now;
    bytes_ += size;
    const std::uint64_t packets = stream_.reader().packets();
    stream_.filled(size);
    if (stream_.reader().packets() != packets) last_packet_ = now.steady;
    look_at_services();
}

void monitor::pass(machine_time now) {
    now_ = now;
    look_at_services();
}

/// Now and then: a stream may change its services with each section.
void monitor::look_at_services() {
    if (now_.steady - last_look_ < time_between_looks) return;
    last_look_ = now_.steady;
    if (std::exchange(has_new_services_, false)) {
        traffic_.follow(services_.told().services, stream_.counts());
    }
    traffic_.look(now_.steady, stream_.counts());
}

bool monitor::is_up(machine_time now) const {
    return stream_.reader().packets() > 0 && silent_seconds(now) < longest_silence;
}

bool monitor::is_up(const told_service& service, machine_time now) const {
    return traffic_.has_come_since(now.steady - longest_silence, service, stream_.counts());
}

std::uint64_t monitor::bytes(const told_service& service) const {
    return traffic_.packets(service, stream_.counts()) * packet_bytes;
}

std::map<std::string_view, std::uint64_t> monitor::left_out() const {
    std::map<std::string_view, std::uint64_t> sums = {
        {versions_limit_.what, versions_limit_.left_out}};
    for (const auto& some : {stream_.bounds(), services_.bounds(), findings_.bounds()}) {
        for (const bound& b : some) sums[b.what] += b.left_out;
    }
    return sums;
}

void monitor::finding_changed(const finding& changed) {
    finding_counts& counts = findings_seen_[{changed.kind, changed.how_bad}];
    if (changed.in_force) {
        ++counts.in_force;
        ++counts.begun;
    } else {
        --counts.in_force;
    }
}

void monitor::stream_begins(const stream_facts& of) { findings_.stream_begins(of); }

void monitor::packets_passed(std::uint64_t last_packet) { findings_.packets_passed(last_packet); }

void monitor::gap(const packet_gap& skipped) { findings_.gap(skipped); }

void monitor::packet_fault(const section_feed::packet& packet, std::uint16_t pid,
                           section_feed::packet_fault what) {
    findings_.packet_fault(packet, pid, what);
}

void monitor::clock_reference(const section_feed::clock_reference& reference) {
    findings_.clock_reference(reference);
}

void monitor::dropped(std::uint16_t pid, std::uint64_t packet, section_feed::drop_reason why) {
    ++dropped_[static_cast<std::size_t>(why)];
    findings_.dropped(pid, packet, why);
}

void monitor::section(const sighting& seen) {
    const std::string_view table = names::table_kind(seen.bytes[0]);
    if (!table.empty()) ++sections_[table];
    findings_.section(seen);
    if (!seen.is_new || seen.table == nullptr) return;
    services_.take(seen);
    has_new_services_ = true;
    take_version(seen);
    take_time(seen);
}

void monitor::refused(const place& where, const refusal& what) {
    ++refused_[static_cast<std::size_t>(what.why.why)];
    findings_.refused(where, what);
}

void monitor::take_version(const sighting& seen) {
    const span bytes(seen.bytes, seen.size);
    if (!has_told_version(seen.bytes[0])) return;
    const bool is_current = (bytes.u8(5) & 0x01) != 0;
    if (!is_current) return;
    const table_key key = {seen.where.pid.value_or(0), seen.bytes[0],
                           static_cast<std::uint16_t>(bytes.u16(3))};
    const unsigned int version_number = bytes.u8(5) >> 1 & 0x1F;
    const auto known = versions_.find(key);
    if (known == versions_.end()) {
        if (versions_limit_.admits(versions_.size())) versions_[key].number = version_number;
    } else if (known->second.number != version_number) {
        known->second.number = version_number;
        ++known->second.changes;
    }
}

void monitor::take_time(const sighting& seen) {
    std::optional<std::time_t> told;
    if (const auto* const tdt = std::get_if<const si_parser::tdt*>(seen.table)) {
        told = (*tdt)->utc_time;
    } else if (const auto* const tot = std::get_if<const si_parser::tot*>(seen.table)) {
        told = (*tot)->utc_time;
    }
    if (!told || *told == undefined_time) return;
    clock_ = {static_cast<double>(utc_of(*told)) - now_.utc, now_.steady};
}

std::optional<double> monitor::clock_offset(machine_time now) const {
    const bool is_told = clock_ && now.steady - clock_->told_at <= longest_without_clock;
    if (!is_told || !is_up(now)) return std::nullopt;
    return clock_->ahead;
}

std::int64_t monitor::utc_of(std::time_t broadcast_clock) const {
    return as_sent(broadcast_clock) - std::chrono::seconds(how_.clock_ahead_of_utc).count();
}

}  // namespace orvix::si_exporter
