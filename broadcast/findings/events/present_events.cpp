#include "present_events.h"

#include <broadcast/findings/wording.h>
#include <broadcast/programs.h>
#include <broadcast/table_ids.h>

#include "event_words.h"

namespace orvix::broadcast {

using namespace si_parser;

void present_events::take(const place& where, const eit& section) {
    const bool is_present =
        section.table_id == table_ids::present_following_actual && section.section_number == 0;
    if (!is_present || !where.pid) return;
    const auto service_id = static_cast<std::uint16_t>(section.service_id);
    const auto known = events_.find({*where.pid, service_id});
    const bool is_known = known != events_.end();
    if (!is_known && (section.events.empty() || !bound_.admits(events_.size()))) return;

    const bool is_same = is_known && !section.events.empty() &&
                         section.events.front().event_id == known->second.event_id;
    if (is_known && !is_same) {
        // The next one may be over too: it counts for itself.
        to_.ends(finding_kind::event_over, {where.pid, service_id, 0});
        events_.erase(known);
    }
    if (section.events.empty()) return;
    const eit::event& event = section.events.front();
    events_[{*where.pid, service_id}] = {static_cast<std::uint16_t>(event.event_id), end_of(event),
                                         event_words(event)};
}

void present_events::packets_passed() {
    if (!stream_ || !pace_.is_due(to_.now())) return;
    look();
    pace_.reviewed(to_.now(), events_.size());
}

/// Takes what all services take, and so waits for as many packets.
void present_events::look() const {
    const std::optional<std::time_t>& time = to_.now().time;
    if (!time) return;
    const programs& known = stream_->known_programs;
    const double limit = to_.limit_of(finding_kind::event_over);
    to_.begin_review();
    for (const auto& [service, event] : events_) {
        const auto& [pid, service_id] = service;
        const bool is_gone = known.has_whole_pat() && !known.pmt_pid_of(service_id);
        if (!event.ends || is_gone) continue;
        const auto over = static_cast<double>(*time - *event.ends);
        if (over <= limit) continue;
        to_.stands({finding_kind::event_over, {pid, service_id, 0}, over, {}, {}},
                   [&, &words = event.words, id = service_id] {
                       return words + " of " + wording::service(id) + ", the present one, ended " +
                              wording::span_of_time(over) + " ago (at most " +
                              wording::span_of_time(limit) + ")";
                   });
    }
    to_.end_review({finding_kind::event_over});
}

void present_events::end() {
    if (stream_) look();
}

}  // namespace orvix::broadcast
