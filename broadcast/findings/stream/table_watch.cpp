#include "table_watch.h"

#include <broadcast/findings/events/eit_flags.h>
#include <broadcast/findings/wording.h>
#include <broadcast/programs.h>
#include <broadcast/table_ids.h>

#include <algorithm>
#include <utility>

extern "C" {
#include <bitstream/dvb/si.h>
#include <bitstream/mpeg/psi.h>
}

namespace orvix::broadcast {

namespace {

// Eight segments of three hours, of eight sections each (TR 101 211 4.1.4).
constexpr unsigned int sections_of_a_segment = 8;
constexpr unsigned int sections_of_a_day = 64;

// Beyond the first day the schedule may come so many times as slowly.
constexpr double later_days = 3;

// A table that has never come is missed after so many times its limit.
constexpr double never = 2;

// Where an interval begins and ends is known by the packet, which takes less than this.
constexpr double slack = 1e-3;
// Behind the last PCR time is counted in packets, which is right but for this: PCRs come so often.
constexpr double counted_slack = 0.1;

}  // namespace

std::optional<table_watch::interval> table_watch::interval_of(const sighting& seen) {
    const std::uint8_t table_id = seen.bytes[0];
    switch (table_id) {
        case table_ids::pat:
            return interval::pat;
        case table_ids::pmt:
            return interval::pmt;
        case table_ids::nit_actual:
            return interval::nit;
        case table_ids::sdt_actual:
            return interval::sdt;
        case table_ids::present_following_actual:
            return interval::eit;
        case table_ids::tdt:
        case table_ids::tot:
            return interval::clock;
        case table_ids::ait:
            return interval::ait;
        default:
            if (!table_ids::is_schedule_actual(table_id)) return std::nullopt;
            return table_id == table_ids::first_schedule_actual &&
                           psi_get_section(seen.bytes) < sections_of_a_day
                       ? interval::schedule_today
                       : interval::schedule_later;
    }
}

finding_kind table_watch::kind_of(interval of) {
    switch (of) {
        case interval::pat:
            return finding_kind::pat_rare;
        case interval::pmt:
            return finding_kind::pmt_rare;
        case interval::nit:
            return finding_kind::nit_rare;
        case interval::sdt:
            return finding_kind::sdt_rare;
        case interval::eit:
            return finding_kind::eit_rare;
        case interval::schedule_today:
        case interval::schedule_later:
            return finding_kind::eit_schedule_rare;
        case interval::clock:
            return finding_kind::clock_rare;
        case interval::ait:
            return finding_kind::ait_rare;
    }
    return finding_kind::pat_rare;
}

double table_watch::limit_of(interval of) const {
    const double limit = to_.limit_of(kind_of(of));
    return of == interval::schedule_later ? later_days * limit : limit;
}

finding_subject table_watch::subject_of(const key& of) {
    finding_subject about;
    if (!of.awaited) about.pid = of.pid;
    const bool is_of_a_service = of.of == interval::pmt || of.of == interval::eit ||
                                 of.of == interval::schedule_today ||
                                 of.of == interval::schedule_later;
    if (is_of_a_service) about.service_id = of.extension;
    const bool stands_alone = of.awaited && !is_of_a_service;
    if (of.of == interval::schedule_later) about.item = 1;
    if (stands_alone) about.item = static_cast<std::uint64_t>(of.of);
    return about;
}

std::string table_watch::name_of(const key& of) {
    const std::string section = " (section " + std::to_string(of.section_number) + ")";
    switch (of.of) {
        case interval::pat:
            return "PAT";
        case interval::pmt:
            return "PMT of " + wording::service(of.extension);
        case interval::nit:
            return "NIT";
        case interval::sdt:
            return "SDT";
        case interval::eit:
            return "EIT present/following of " + wording::service(of.extension) + section;
        case interval::schedule_today:
            return "EIT schedule of " + wording::service(of.extension) + section;
        case interval::schedule_later:
            return "EIT schedule beyond the first day of " + wording::service(of.extension) +
                   " (table_id " + wording::hex(of.table_id, 2) + ", section " +
                   std::to_string(of.section_number) + ")";
        case interval::clock:
            return "TOT or TDT";
        case interval::ait:
            return "AIT on " + wording::pid(of.pid);
    }
    return "";
}

void table_watch::stream_begins(const stream_facts& of) {
    stream_.emplace(of);
    for (const interval table : {interval::pat, interval::nit, interval::sdt, interval::clock}) {
        await_table({table, true, 0, 0, 0, 0}, 0);
    }
}

/// Whether the tables that refer to it still do.
bool table_watch::is_expected(const key& k) const {
    const programs& known = stream_->known_programs;
    switch (k.of) {
        case interval::pmt: {
            const std::optional<std::uint16_t> pid = known.pmt_pid_of(k.extension);
            return k.awaited ? pid.has_value() : pid == k.pid;
        }
        case interval::eit:
            return known.pmt_pid_of(k.extension) && !without_present_[k.extension];
        case interval::schedule_today:
        case interval::schedule_later:
            return known.pmt_pid_of(k.extension) && !without_schedule_[k.extension];
        case interval::ait:
            return known.has_applications_on(k.pid);
        default:
            return true;
    }
}

std::optional<table_watch::key> table_watch::key_of(const sighting& seen) {
    const std::optional<interval> of = interval_of(seen);
    if (!of || !seen.where.pid) return std::nullopt;
    key k;
    k.of = *of;
    k.pid = *seen.where.pid;
    if (of == interval::clock) return k;
    // There is one PAT, NIT and SDT of a stream, whatever they say whose they are.
    const bool is_alone = of == interval::pat || of == interval::nit || of == interval::sdt;
    k.table_id = seen.bytes[0];
    if (!is_alone) k.extension = psi_get_tableidext(seen.bytes);
    k.section_number = psi_get_section(seen.bytes);
    return k;
}

void table_watch::take(const sighting& seen) {
    const std::optional<key> k = key_of(seen);
    if (!stream_ || !k) return;
    const bool is_referring =
        k->of == interval::pat || k->of == interval::pmt || k->of == interval::sdt;
    references_have_changed_ = references_have_changed_ || (is_referring && seen.is_new);
    if (seen.is_new && k->of == interval::sdt) read_flags(seen);
    if (!seen.seconds) {
        const bool fits = early_.size() < most_early_sections;
        if (fits) early_.push_back({*k, seen.where.number, seen.is_new});
        return;
    }
    if (!early_.empty()) take_early();
    take(*k, seen.is_new, *seen.seconds);
    if (seen.is_new && k->of != interval::clock) forget_what_is_gone(*k, seen);
}

void table_watch::take_early() {
    for (const early_section& early : std::exchange(early_, {})) {
        take(early.of, early.is_new, *stream_->clock.seconds(early.packet));
    }
}

void table_watch::take(const key& k, bool is_new, double now) {
    if (!is_expected(k)) return;
    const auto awaited = entries_.find({k.of, true, 0, 0, k.extension, 0});
    if (awaited != entries_.end()) forget(awaited);
    arrived(k, is_new, now);
}

void table_watch::read_flags(const sighting& sdt) {
    for (const eit_flags& announced : eit_flags_of(sdt.bytes, sdt.size)) {
        without_present_[announced.service_id] = !announced.present_following;
        without_schedule_[announced.service_id] = !announced.schedule;
    }
}

void table_watch::arrived(const key& k, bool is_new, double now) {
    const auto known = entries_.find(k);
    if (known == entries_.end()) {
        if (!bound_.admits(entries_.size())) return;
        const auto added = entries_.emplace(k, entry{now, false, {}}).first;
        queue& q = queue_of(k);
        added->second.place = q.insert(q.end(), added);
        return;
    }
    entry& e = known->second;
    const double after = now - e.last;
    if (on_interval_) tell_interval(k, after);
    const occurrence late = {kind_of(k.of), subject_of(k), after, limit_of(k.of), {}};
    const auto words = [&] {
        return name_of(k) + " came " + wording::span_of_time(after) +
               " after the one before (at most " + wording::span_of_time(limit_of(k.of)) + ")";
    };
    if (e.is_overdue) {
        to_.worsens(late, words);
        to_.ends(late.kind, late.about);
    } else if (after > limit_of(k.of) + slack) {
        to_.occurs(late, words);
    }
    const double soon = to_.limit_of(finding_kind::section_too_soon);
    if (!is_new && after < soon - slack) {
        to_.occurs({finding_kind::section_too_soon, subject_of(k), after, {}, {}}, [&] {
            return name_of(k) + " came again after " + wording::span_of_time(after) +
                   " (at least " + wording::span_of_time(soon) + ")";
        });
    }
    queue& q = queue_of(k);
    q.splice(q.end(), e.is_overdue ? overdue_ : q, e.place);
    e.is_overdue = false;
    e.last = now;
}

void table_watch::tell_interval(const key& k, double seconds) const {
    table_interval ended;
    ended.limit = kind_of(k.of);
    ended.pid = k.pid;
    ended.service_id = subject_of(k).service_id;
    ended.table_id = k.table_id;
    ended.section_number = k.section_number;
    ended.seconds = seconds;
    ended.limit_seconds = limit_of(k.of);
    ended.later_days = k.of == interval::schedule_later;
    ended.is_late = seconds > ended.limit_seconds + slack;
    on_interval_(ended);
}

/// A section says how many others there are of its table, and in a schedule of its segment.
void table_watch::forget_what_is_gone(key k, const sighting& seen) {
    constexpr unsigned int last_of_all = 0xFF;
    const unsigned int section_number = k.section_number;
    if (table_ids::is_schedule_actual(k.table_id)) {
        const unsigned int segment_end = section_number | (sections_of_a_segment - 1);
        const unsigned int last = eit_get_segment_last_sec_number(seen.bytes);
        k.section_number = static_cast<std::uint8_t>(std::max(last, section_number));
        forget_sections(k, segment_end);
    }
    k.section_number = std::max(psi_get_lastsection(seen.bytes), k.section_number);
    forget_sections(k, last_of_all);
    if (k.of == interval::schedule_today) {
        k.of = interval::schedule_later;
        forget_sections(k, last_of_all);
    }
}

/// Those of the same table behind `first`, up to `last`.
void table_watch::forget_sections(key first, unsigned int last) {
    auto e = entries_.upper_bound(first);
    while (e != entries_.end() && e->first.of == first.of && e->first.pid == first.pid &&
           e->first.table_id == first.table_id && e->first.extension == first.extension &&
           e->first.section_number <= last) {
        forget(e++);
    }
}

void table_watch::await_table(const key& k, double since) {
    if (entries_.count(k) != 0 || !bound_.admits(entries_.size())) return;
    const auto added = entries_.emplace(k, entry{since, false, {}}).first;
    queue& q = queue_of(k);
    added->second.place = q.insert(q.end(), added);
}

void table_watch::forget(entries::iterator e) {
    const key& k = e->first;
    if (e->second.is_overdue) {
        to_.ends(k.awaited ? finding_kind::table_missing : kind_of(k.of), subject_of(k));
        overdue_.erase(e->second.place);
    } else {
        queue_of(k).erase(e->second.place);
    }
    entries_.erase(e);
}

void table_watch::packets_passed() {
    const std::optional<double> now = to_.now().seconds;
    if (!stream_ || !now) return;
    if (!early_.empty()) take_early();
    for (auto& queues : queues_) {
        for (queue& q : queues) look_for_overdue(q, *now);
    }
    if (references_have_changed_ && to_.now().number >= next_review_) look_for_unexpected(*now);
}

void table_watch::look_for_overdue(queue& q, double now) {
    while (!q.empty()) {
        const auto oldest = q.front();
        const key& k = oldest->first;
        entry& e = oldest->second;
        const double since = now - e.last;
        const double limit = limit_of(k.of);
        if (since <= (k.awaited ? never * limit : limit) + counted_slack) return;
        if (!is_expected(k)) {
            forget(oldest);
            continue;
        }
        e.is_overdue = true;
        overdue_.splice(overdue_.end(), q, e.place);
        if (k.awaited) {
            to_.begins({finding_kind::table_missing, subject_of(k), {}, {}, {}}, [&] {
                return "the " + name_of(k) + " has not come in " + wording::span_of_time(since) +
                       " (every " + wording::span_of_time(limit) + ")";
            });
        } else {
            to_.begins({kind_of(k.of), subject_of(k), since, limit, {}},
                       [&] { return overdue_words(k, since); });
        }
    }
}

std::string table_watch::overdue_words(const key& k, double since) const {
    return name_of(k) + " has not come for " + wording::span_of_time(since) + " (at most " +
           wording::span_of_time(limit_of(k.of)) + ")";
}

/// After PAT, PMT or SDT have changed. Costs what is known, and so waits for as many packets.
void table_watch::look_for_unexpected(double now) {
    references_have_changed_ = false;
    std::uint64_t looked_at = overdue_.size();
    for (auto place = overdue_.begin(); place != overdue_.end();) {
        const auto e = *place++;
        if (!is_expected(e->first)) forget(e);
    }
    stream_->known_programs.for_each_service([&](std::uint16_t service_id) {
        ++looked_at;
        const std::uint16_t pid = *stream_->known_programs.pmt_pid_of(service_id);
        const bool has_come =
            entries_.count({interval::pmt, false, pid, table_ids::pmt, service_id, 0}) != 0;
        if (!has_come) await_table({interval::pmt, true, 0, 0, service_id, 0}, now);
    });
    next_review_ = to_.now().number + looked_at;
}

void table_watch::end() {
    const std::optional<double> now = to_.now().seconds;
    if (!now) return;
    packets_passed();
    for (const auto& e : overdue_) {
        const key& k = e->first;
        if (k.awaited) continue;
        const double since = *now - e->second.last;
        to_.worsens({kind_of(k.of), subject_of(k), since, limit_of(k.of), {}},
                    [&] { return overdue_words(k, since); });
    }
}

}  // namespace orvix::broadcast
