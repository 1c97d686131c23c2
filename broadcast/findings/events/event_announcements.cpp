#include "event_announcements.h"

#include <broadcast/findings/wording.h>
#include <broadcast/programs.h>
#include <broadcast/table_ids.h>

#include <string>
#include <utility>
#include <vector>

#include "eit_flags.h"

extern "C" {
#include <bitstream/dvb/si.h>
#include <bitstream/mpeg/psi.h>
}

namespace orvix::broadcast {

namespace {

// What has not come in so many times its limit does not come.
constexpr double never = 2;

// Without a clock: when the SDT has come so often, an EIT of the same interval has had two to come
// in.
constexpr std::uint64_t times_to_miss_another = 3;

std::string name_of(bool is_schedule) {
    return is_schedule ? "EIT schedule" : "EIT present/following";
}
std::string flag_of(bool is_schedule) {
    return is_schedule ? "EIT_schedule_flag" : "EIT_present_following_flag";
}

}  // namespace

double event_announcements::limit_of(kind what) const {
    return to_.limit_of(what == schedule ? finding_kind::eit_schedule_rare
                                         : finding_kind::eit_rare);
}

void event_announcements::take(const sighting& seen) {
    const std::uint8_t table_id = seen.bytes[0];
    const bool has_header = seen.size >= EIT_HEADER_SIZE + PSI_CRC_SIZE;
    if (table_ids::is_eit_actual(table_id) && has_header) take_eit(seen);
    if (table_id == table_ids::sdt_actual && psi_get_current(seen.bytes)) take_sdt(seen);
}

void event_announcements::take_sdt(const sighting& seen) {
    const std::uint8_t section_number = psi_get_section(seen.bytes);
    ++sdt_times_[section_number];
    if (!seen.is_new || seen.table == nullptr) return;
    const si_parser::sdt& section = *std::get<const si_parser::sdt*>(*seen.table);
    const std::vector<eit_flags> flags = eit_flags_of(seen.bytes, seen.size);
    listing::service_ids listed;
    for (const eit_flags& announced : flags) listed.push_back(announced.service_id);
    const std::uint64_t table = section.original_network_id << 16 | section.transport_stream_id;
    for (const std::uint16_t gone : sdt_.take(section, table, listed)) services_.erase(gone);

    sdt_times_[section_number] = 1;
    for (const eit_flags& announced : flags) {
        const bool is_known = services_.count(announced.service_id) != 0;
        if (!is_known && !bound_.admits(services_.size())) continue;
        service& known = services_[announced.service_id];
        known.sdt_section = section_number;
        announce(known.of[present_following], present_following, announced.present_following);
        announce(known.of[schedule], schedule, announced.schedule);
    }
}

void event_announcements::announce(events& of, kind what, bool is_announced) {
    const bool was_announced = std::exchange(of.is_announced, is_announced);
    if (is_announced && !was_announced) of.since = to_.now().seconds;
    if (!is_announced && was_announced && to_.now().seconds) {
        of.may_end = *to_.now().seconds + limit_of(what);
    }
    if (is_announced) of.comes_unannounced = false;
}

void event_announcements::take_eit(const sighting& seen) {
    const auto known = services_.find(psi_get_tableidext(seen.bytes));
    if (known == services_.end()) return;
    events& of =
        known->second.of[seen.bytes[0] == table_ids::present_following_actual ? present_following
                                                                              : schedule];
    of.has_come = true;
    const bool has_events = seen.size > EIT_HEADER_SIZE + PSI_CRC_SIZE;
    const bool may_come = of.is_announced || (of.may_end && seen.seconds < of.may_end);
    if (!has_events || may_come) return;
    of.comes_unannounced = true;
    of.last_unannounced = seen.seconds;
}

void event_announcements::packets_passed() {
    if (pace_.is_due(to_.now())) review(false);
}

void event_announcements::end() { review(true); }

void event_announcements::review(bool is_end) {
    if (!stream_) return;
    to_.begin_review();
    for (auto& [service_id, known] : services_) {
        for (const kind what : kinds) check(service_id, known, what, is_end);
    }
    const std::size_t looked_at =
        to_.end_review({finding_kind::eit_announced_missing, finding_kind::eit_unannounced});
    pace_.reviewed(to_.now(), services_.size() + looked_at);
}

bool event_announcements::is_missed(const service& known, kind what, bool is_end) const {
    const events& of = known.of[what];
    if (!of.is_announced || of.has_come) return false;
    const std::optional<double> now = to_.now().seconds;
    if (now) return of.since && *now - *of.since > never * limit_of(what);
    // A schedule may take so long that nothing tells without a clock.
    return is_end && what == present_following &&
           sdt_times_[known.sdt_section] >= times_to_miss_another;
}

bool event_announcements::is_unannounced(const events& of, kind what) const {
    const std::optional<double> now = to_.now().seconds;
    const bool has_ended =
        now && of.last_unannounced && *now - *of.last_unannounced > never * limit_of(what);
    return of.comes_unannounced && !has_ended;
}

void event_announcements::check(std::uint16_t service_id, service& known, kind what, bool is_end) {
    events& of = known.of[what];
    const std::optional<double> now = to_.now().seconds;
    if (!of.since) of.since = now;  // the clock did not run then
    const finding_subject about = {{}, service_id, what};
    const bool is_in_pat = stream_->known_programs.pmt_pid_of(service_id).has_value();
    if (is_in_pat && is_missed(known, what, is_end)) {
        to_.stands({finding_kind::eit_announced_missing, about, {}, {}, {}}, [&] {
            const std::string for_long =
                now ? " in " + wording::span_of_time(*now - *of.since) : std::string();
            return "the SDT announces an " + name_of(what == schedule) + " of " +
                   wording::service(service_id) + " (" + flag_of(what == schedule) +
                   " 1), but none has come" + for_long;
        });
    }
    if (is_unannounced(of, what)) {
        to_.stands({finding_kind::eit_unannounced, about, {}, {}, {}}, [&] {
            return "an " + name_of(what == schedule) + " of " + wording::service(service_id) +
                   " comes, but the SDT does not announce it (" + flag_of(what == schedule) +
                   " 0): receivers may pass it over";
        });
    }
}

}  // namespace orvix::broadcast
