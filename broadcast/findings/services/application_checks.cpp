#include "application_checks.h"

#include <broadcast/findings/wording.h>
#include <broadcast/programs.h>
#include <broadcast/readings/section_loops.h>
#include <broadcast/table_ids.h>

#include <algorithm>
#include <set>

extern "C" {
#include <bitstream/mpeg/psi.h>
}

namespace orvix::broadcast {

namespace {

constexpr std::uint8_t private_sections = 0x05;  // a stream_type

// A table that has never come is missed after so many times its limit.
constexpr double never = 2;

/// Whether a receiver starts an application with this application_control_code from this service:
/// not so where it is to end one, or only names one that another service has.
bool is_for_starting(unsigned int control_code) {
    constexpr unsigned int destroy = 3;
    constexpr unsigned int kill = 4;
    constexpr unsigned int remote = 6;
    return control_code != destroy && control_code != kill && control_code != remote;
}

/// A transport protocol descriptor (ETSI TS 102 809 5.3.6.1).
struct transport {
    std::uint8_t label = 0;
    std::optional<std::uint8_t> component_tag;  ///< of a carousel in the same service
};

void add_transport(std::vector<transport>& to, span d) {
    constexpr unsigned int object_carousel = 1;
    constexpr unsigned int data_carousel = 4;
    constexpr std::size_t header = DESC_HEADER_SIZE + 4;
    if (d.size() < header) return;
    const unsigned int protocol_id = d.u16(2);
    const bool remote_connection = (d.u8(5) & 0x80) != 0;
    transport one = {static_cast<std::uint8_t>(d.u8(4)), std::nullopt};
    const bool is_carousel = protocol_id == object_carousel || protocol_id == data_carousel;
    if (is_carousel && !remote_connection && d.size() > header) {
        one.component_tag = static_cast<std::uint8_t>(d.u8(header));
    }
    to.push_back(one);
}

/// The transport_protocol_labels of an application descriptor (ETSI TS 102 809 5.3.5.3).
span labels_in(span d) {
    constexpr std::size_t profiles = DESC_HEADER_SIZE + 1;
    constexpr std::size_t flags_and_priority = 2;
    if (d.size() < profiles) return {};
    return d.behind(profiles + d.u8(DESC_HEADER_SIZE) + flags_and_priority);
}

/// What a loop of the AIT says of transports.
struct transports {
    std::vector<transport> all;
    span labels;  ///< of those that the application takes
};

transports transports_in(span loop) {
    constexpr std::uint8_t application = 0x00;
    constexpr std::uint8_t transport_protocol = 0x02;
    transports found;
    for_each_descriptor(loop, [&](span d) {
        if (d.u8(0) == application) found.labels = labels_in(d);
        if (d.u8(0) == transport_protocol) add_transport(found.all, d);
    });
    return found;
}

}  // namespace

// --- What the AITs say ---

void application_checks::take(const sighting& seen) {
    const bool is_ait = seen.bytes[0] == table_ids::ait && seen.size >= PSI_HEADER_SIZE_SYNTAX1;
    if (!is_ait || !seen.where.pid || !psi_get_current(seen.bytes)) return;
    has_come_[*seen.where.pid] = true;
    const table_key key = {*seen.where.pid, psi_get_tableidext(seen.bytes)};
    // What was forgotten with its PMT comes again as a repeat.
    if (seen.is_new || !is_known(seen, key)) take_ait(seen, key);
}

bool application_checks::is_known(const sighting& seen, const table_key& key) const {
    const auto known = tables_.find(key);
    return known != tables_.end() && known->second.version_number == psi_get_version(seen.bytes) &&
           known->second.sections.count(psi_get_section(seen.bytes)) != 0;
}

void application_checks::take_ait(const sighting& seen, const table_key& key) {
    const std::uint8_t version_number = psi_get_version(seen.bytes);
    const bool is_new_table = tables_.count(key) == 0;
    table& known = tables_[key];
    if (!is_new_table && known.version_number != version_number) {
        for (const auto& [section_number, applications] : known.sections) forget(applications);
        known.sections.clear();
        pace_.changed(to_.now(), to_.limit_of(finding_kind::pmt_rare));
    }
    known.version_number = version_number;
    keep(known, seen);
    if (known.sections.empty()) tables_.erase(key);
}

void application_checks::keep(table& known, const sighting& seen) {
    const section_loops loops = find_loops(seen.bytes, seen.size);
    const std::vector<transport> common = transports_in(loops.descriptors).all;
    std::vector<application>& in_place = known.sections[psi_get_section(seen.bytes)];
    forget(in_place);
    in_place.clear();
    for (const sent_record& record : loops.records) {
        if (!loops.well_formed) break;  // nobody can tell what it says
        const span entry(record.entry, 9);
        if (!is_for_starting(entry.u8(6))) continue;
        if (!application_bound_.admits(applications_)) continue;
        application one;
        one.organisation_id = entry.u16(0) << 16 | entry.u16(2);
        one.application_id = static_cast<std::uint16_t>(entry.u16(4));

        const auto add = [&](const transport& way) {
            one.has_transport = true;
            if (!way.component_tag || !tag_bound_.admits(tags_)) return;
            one.carousels.push_back(*way.component_tag);
            ++tags_;
        };
        const transports own = transports_in(record.descriptors);
        for (const transport& way : own.all) add(way);
        for (const transport& way : common) {
            const span& labels = own.labels;
            const bool is_named =
                std::find(labels.begin(), labels.end(), way.label) != labels.end();
            if (is_named || labels.empty()) add(way);
        }
        in_place.push_back(std::move(one));
        ++applications_;
    }
    if (in_place.empty()) known.sections.erase(psi_get_section(seen.bytes));
}

void application_checks::forget(const std::vector<application>& all) {
    applications_ -= all.size();
    for (const application& one : all) tags_ -= one.carousels.size();
}

void application_checks::forget_what_is_gone() {
    for (auto known = tables_.begin(); known != tables_.end();) {
        ++looked_at_;
        if (stream_->known_programs.has_applications_on(known->first.first)) {
            ++known;
            continue;
        }
        for (const auto& [section_number, applications] : known->second.sections) {
            forget(applications);
        }
        known = tables_.erase(known);
    }
}

// --- What that comes to ---

void application_checks::packets_passed() {
    if (pace_.is_due(to_.now()) && is_settled()) review();
}

void application_checks::end() {
    if (pace_.is_settled(to_.now()) && is_settled()) review();
}

/// Where a PMT has changed, its AIT follows.
bool application_checks::is_settled() const {
    const std::optional<double> now = to_.now().seconds;
    const std::optional<double> changed = pmts_.changed();
    return !now || !changed || *now - *changed >= to_.limit_of(finding_kind::ait_rare);
}

void application_checks::review() {
    if (!stream_) return;
    looked_at_ = 0;
    forget_what_is_gone();
    const std::map<std::uint16_t, double> before = std::exchange(announced_, {});
    to_.begin_review();
    pmts_.for_each([&](std::uint16_t service_id, const std::vector<sent_stream>& streams) {
        for (const sent_stream& stream : streams) {
            if (stream.announces_applications && to_.now().seconds) {
                const auto since = before.find(stream.elementary_pid);
                announced_[stream.elementary_pid] =
                    since == before.end() ? *to_.now().seconds : since->second;
            }
        }
        check_service(service_id, streams);
    });
    looked_at_ += to_.end_review(
        {finding_kind::application_announced_missing, finding_kind::application_unreachable});
    pace_.reviewed(to_.now(), looked_at_);
}

void application_checks::check_service(std::uint16_t service_id,
                                       const std::vector<sent_stream>& streams) {
    tag_set tags;
    std::set<std::uint16_t> pids;  // a stream that is named twice is looked at once
    for (const sent_stream& stream : streams) {
        if (stream.component_tag) tags[*stream.component_tag] = true;
        if (stream.stream_type == private_sections) pids.insert(stream.elementary_pid);
        if (stream.announces_applications) check_announcement(service_id, stream.elementary_pid);
    }
    looked_at_ += 1 + streams.size();
    for (const std::uint16_t pid : pids) {
        for (auto known = tables_.lower_bound({pid, 0});
             known != tables_.end() && known->first.first == pid; ++known) {
            for (const auto& [section_number, applications] : known->second.sections) {
                for (const application& one : applications) check(service_id, pid, one, tags);
            }
        }
    }
}

/// Without a clock nothing tells how long to wait for an AIT.
void application_checks::check_announcement(std::uint16_t service_id, std::uint16_t pid) {
    const auto since = announced_.find(pid);
    if (has_come_[pid] || since == announced_.end()) return;
    const double waited = *to_.now().seconds - since->second;
    if (waited <= never * to_.limit_of(finding_kind::ait_rare)) return;
    to_.stands({finding_kind::application_announced_missing, {pid, service_id, 0}, {}, {}, {}},
               [&] {
                   return "the PMT of " + wording::service(service_id) + " announces an AIT on " +
                          wording::pid(pid) + ", but none has come in " +
                          wording::span_of_time(waited) + ": receivers find no applications";
               });
}

void application_checks::check(std::uint16_t service_id, std::uint16_t pid, const application& one,
                               const tag_set& tags) {
    looked_at_ += 1 + one.carousels.size();
    const auto missing = std::find_if(one.carousels.begin(), one.carousels.end(),
                                      [&](std::uint8_t tag) { return !tags[tag]; });
    if (one.has_transport && missing == one.carousels.end()) return;
    const std::uint64_t item = std::uint64_t{one.organisation_id} << 16 | one.application_id;
    to_.stands({finding_kind::application_unreachable, {pid, service_id, item}, {}, {}, {}}, [&] {
        const std::string name = "application " + wording::hex(one.application_id, 4) +
                                 " (organisation_id " + wording::hex(one.organisation_id, 8) +
                                 ") of " + wording::service(service_id);
        if (!one.has_transport) {
            return name + " has no transport protocol descriptor: receivers cannot load it";
        }
        return name + " is to come in the carousel of component_tag " + wording::hex(*missing, 2) +
               ", which no stream of the service's PMT has: receivers cannot load it";
    });
}

}  // namespace orvix::broadcast
