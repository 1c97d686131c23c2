#include "event_times.h"

#include <broadcast/findings/wording.h>
#include <broadcast/table_ids.h>
#include <broadcast/times.h>

#include <algorithm>
#include <utility>

#include "event_words.h"

namespace orvix::broadcast {

using namespace si_parser;

namespace {

constexpr std::uint32_t no_pid = 0xFFFF;

/// The number of the section whose events come behind those of this one. A schedule's segments of
/// eight sections may end early.
std::uint32_t next_section_of(const eit& section) {
    constexpr std::uint32_t sections_of_a_segment = 8;
    const std::uint32_t number = section.section_number;
    const bool ends_segment =
        table_ids::is_schedule(section.table_id) && number >= section.segment_last_section_number;
    return ends_segment ? (number / sections_of_a_segment + 1) * sections_of_a_segment : number + 1;
}

std::string service_of(const eit& section) {
    return wording::service(static_cast<std::uint16_t>(section.service_id));
}

}  // namespace

void event_times::take(const place& where, const eit& section) {
    const told_section told = {where, section};
    for (const eit::event& event : section.events) check(told, event);
    forget(told);
    if (auto span = span_of(told)) remember(told, *std::move(span));
}

// --- One event ---

void event_times::check(const told_section& section, const eit::event& event) {
    const std::optional<std::int64_t> start = start_of(event);
    const finding_subject about = {section.where.pid,
                                   static_cast<std::uint16_t>(section.is.service_id), 0};
    const counted_events::event which = {about.pid, *about.service_id,
                                         static_cast<std::uint16_t>(event.event_id), start};
    const bool has_duration = event.duration != undefined_duration;
    const auto named = [&] { return event_words(event) + " of " + service_of(section.is); };

    if ((!start || !has_duration) &&
        counted_.is_first(finding_kind::event_times_undefined, which)) {
        to_.occurs({finding_kind::event_times_undefined, about, {}, {}, {}}, [&] {
            return named() + " has no " + (start ? "" : "start time") +
                   (!start && !has_duration ? " and no " : "") + (has_duration ? "" : "duration");
        });
    }
    if (is_wrapped(event.start_time) &&
        counted_.is_first(finding_kind::receiver_clock_2038, which)) {
        to_.occurs({finding_kind::receiver_clock_2038, about, {}, {}, {}}, [&] {
            return named() + " begins " + std::string(iso_time(*start, brasilia).view()) +
                   ", which the receiver takes for a time of 1901 or 1902";
        });
    }
}

// --- One after the other ---

std::optional<event_times::timed_event> event_times::timed(const eit::event& event) {
    const std::optional<std::int64_t> end = end_of(event);
    if (!end) return std::nullopt;
    return timed_event{static_cast<std::uint16_t>(event.event_id), *start_of(event), *end,
                       event_words(event)};
}

/// Compares the section's events with each other; none where there are none, or not all are known
/// to begin and to end.
std::optional<event_times::section_span> event_times::span_of(const told_section& section) {
    std::vector<timed_event> events;
    for (const eit::event& event : section.is.events) {
        if (auto known = timed(event)) events.push_back(*std::move(known));
    }
    if (events.empty()) return std::nullopt;
    const bool lacks_some = events.size() < section.is.events.size();
    std::stable_sort(events.begin(), events.end(),
                     [](const timed_event& a, const timed_event& b) { return a.start < b.start; });

    std::size_t last = 0;
    for (std::size_t i = 1; i < events.size(); ++i) {
        compare(section, events[last], events[i], lacks_some);
        if (events[i].end >= events[last].end) last = i;
    }
    if (lacks_some) return std::nullopt;
    return section_span{events.front(), events[last], next_section_of(section.is)};
}

void event_times::compare(const told_section& section, const timed_event& before,
                          const timed_event& after, bool may_lack_others) {
    const std::int64_t between = after.start - before.end;
    const finding_kind kind = between > 0 ? finding_kind::event_gap : finding_kind::event_overlap;
    const auto seconds = static_cast<double>(std::abs(between));
    const bool may_be_filled = may_lack_others && kind == finding_kind::event_gap;
    if (before.event_id == after.event_id || may_be_filled) return;
    if (seconds <= to_.limit_of(kind)) return;
    const auto service_id = static_cast<std::uint16_t>(section.is.service_id);
    const counted_events::event which = {section.where.pid, service_id, after.event_id,
                                         after.start};
    if (!counted_.is_first(kind, which)) return;
    to_.occurs({kind, {section.where.pid, service_id, 0}, seconds, {}, {}}, [&] {
        return after.words + " of " + wording::service(service_id) + " begins " +
               wording::span_of_time(seconds) +
               (kind == finding_kind::event_gap ? " behind" : " before") + " the end of " +
               before.words + " (at most " + wording::span_of_time(to_.limit_of(kind)) + ")";
    });
}

// --- From section to section ---

event_times::table_key event_times::key_of(const told_section& section) {
    return {section.where.pid.value_or(no_pid), static_cast<std::uint8_t>(section.is.table_id),
            static_cast<std::uint16_t>(section.is.service_id)};
}

/// What it replaces, and all that is of another version.
void event_times::forget(const told_section& section) {
    const auto known = tables_.find(key_of(section));
    if (known == tables_.end()) return;
    table& t = known->second;
    const bool is_another_version = t.version_number != section.is.version_number;
    kept_ -= is_another_version ? t.sections.size() : t.sections.erase(section.is.section_number);
    if (is_another_version || t.sections.empty()) tables_.erase(known);
}

void event_times::remember(const told_section& section, section_span span) {
    if (!bound_.admits(kept_)) return;
    table& known = tables_[key_of(section)];
    known.version_number = section.is.version_number;
    const std::uint32_t number = section.is.section_number;
    const auto next = known.sections.lower_bound(number);
    if (next != known.sections.begin()) {
        const section_span& before = std::prev(next)->second;
        if (before.next_section == number) compare(section, before.last, span.first, false);
    }
    const auto after = known.sections.find(span.next_section);
    if (after != known.sections.end()) compare(section, span.last, after->second.first, false);
    known.sections.emplace_hint(next, number, std::move(span));
    ++kept_;
}

}  // namespace orvix::broadcast
