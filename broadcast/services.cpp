#include "services.h"

#include <algorithm>
#include <set>

#include "channel_number.h"
#include "names.h"
#include "programs.h"
#include "readings/broadcast_text.h"
#include "readings/descriptor_bodies.h"
#include "readings/readings.h"
#include "table_ids.h"
#include "utf8.h"

namespace orvix::broadcast {

using namespace si_parser;

namespace {

constexpr std::uint16_t pat_pid = 0x0000;

constexpr std::uint8_t private_sections = 0x05;  // a stream_type
constexpr std::uint16_t ait_data_component = 0x00A3;

std::uint16_t low16(std::uint32_t value) { return static_cast<std::uint16_t>(value); }

template <typename Descriptor>
boost::shared_ptr<Descriptor> find(const psi_table& table, unsigned int tag,
                                   const descriptor_list& list) {
    return table.get_descriptor_from<Descriptor>(tag, list);
}

/// Texts of the AIT are UTF-8 in some broadcasts, ISO/IEC 8859-15 in most.
std::string utf8_of(const std::string& text) {
    return is_utf8(text) ? text : from_iso_8859_15(text);
}

std::string_view kind_of(const service_stream& stream) {
    return stream.carries_applications
               ? "applications"
               : names::stream_kind(stream.stream_type, stream.component_tag);
}

// --- What a record of a table says ---

service_stream make_stream(const pmt::stream_info_type& told) {
    service_stream stream;
    stream.elementary_pid = low16(told.elementary_PID);
    stream.stream_type = static_cast<std::uint8_t>(told.stream_type);
    const bool has_tag =
        std::any_of(told.descriptors.begin(), told.descriptors.end(),
                    [](const descriptor_ptr& d) { return d->tag == 0x50 || d->tag == 0x52; });
    if (has_tag) stream.component_tag = static_cast<std::uint8_t>(told.component_tag);
    stream.language = told.ISO_639_language_code;
    return stream;
}

/// What the receiver passes over.
void add_skipped(service_stream& to, const skipped_descriptor& skipped) {
    constexpr std::uint8_t iso_639_language = 0x0A;
    constexpr std::uint8_t data_component = 0xFD;
    constexpr std::size_t header = 2;
    const bool is_whole = skipped.body_size == skipped.length;
    const span body(skipped.body, skipped.body_size);
    if (skipped.tag == iso_639_language && is_whole && to.language.empty()) {
        to.language = languages_of({skipped.body - header, header + skipped.body_size});
    } else if (skipped.tag == data_component && body.size() >= 2) {
        to.carries_applications = to.carries_applications || body.u16(0) == ait_data_component;
    }
}

std::string network_name_of(const readings& sent) {
    constexpr std::uint8_t network_name = 0x40;
    for (const skipped_descriptor& skipped : sent.skipped) {
        if (skipped.record || skipped.tag != network_name) continue;
        return broadcast_text({skipped.body, skipped.body_size});
    }
    return {};
}

service_application make_application(const ait& section, const ait::ait_application_info_t& told) {
    service_application application;
    application.organisation_id = told.organisation_id;
    application.application_id = low16(told.application_id);
    application.application_type = low16(section.application_type);
    application.application_control_code = static_cast<std::uint8_t>(told.application_control_code);
    const auto named = find<application_name_descriptor>(section, 0x01, told.descriptors);
    if (named && !named->names.empty()) application.name = utf8_of(named->names.front().name);
    return application;
}

std::optional<event_on_air::parental_rating> rating_of(const parental_descriptor& parental) {
    const auto& ratings = parental.ratings;
    auto country = ratings.find("BRA");
    if (country == ratings.end()) country = ratings.begin();
    if (country == ratings.end()) return std::nullopt;
    return event_on_air::parental_rating{country->first, country->second};
}

event_on_air make_event(const eit& section, const eit::event& told) {
    event_on_air event;
    event.event_id = low16(told.event_id);
    event.start_time = told.start_time;
    event.duration = told.duration;
    if (const auto named = find<short_event_descriptor>(section, 0x4D, told.descriptors)) {
        event.name = named->event_name;
    }
    if (const auto content = find<content_descriptor>(section, 0x54, told.descriptors)) {
        for (const auto& entry : content->contents) event.content_nibbles.push_back(entry.first);
    }
    if (const auto parental = find<parental_descriptor>(section, 0x55, told.descriptors)) {
        event.rating = rating_of(*parental);
    }
    return event;
}

}  // namespace

std::string in_words(const service_stream& stream) {
    std::string words(kind_of(stream));
    if (!stream.language.empty()) words += ' ' + stream.language;
    return words;
}

void services::take(const sighting& seen) {
    if (!seen.is_new || seen.table == nullptr) return;
    std::visit(
        [&](const auto* section) {
            if (section->current_next_indicator != 0) take_table(*section, seen);
        },
        *seen.table);
}

// --- Which services there are ---

services::known_service* services::find_or_add(std::uint16_t service_id) {
    const auto known = services_.find(service_id);
    if (known != services_.end()) return &known->second;
    return service_limit_.admits(services_.size()) ? &services_[service_id] : nullptr;
}

void services::forget_if_untold(known_services::iterator service) {
    const known_service& known = service->second;
    if (!known.pmt_pid && !known.pmt && !known.sdt) services_.erase(service);
}

void services::take_table(const pat& section, const sighting& seen) {
    if (seen.where.pid.value_or(pat_pid) != pat_pid) return;
    pat_transport_stream_id_ = low16(section.table_id_extension);
    listing::service_ids listed;
    for (const auto& [program_number, pid] : section.program_map) {
        const bool is_nit = program_number == 0;
        if (!is_nit) listed.push_back(low16(program_number));
    }
    // Those that go make room for those that come.
    for (const std::uint16_t gone : pat_.take(section, *pat_transport_stream_id_, listed)) {
        leave_pat(gone);
    }
    for (const std::uint16_t service_id : listed) {
        known_service* const service = find_or_add(service_id);
        if (service == nullptr) continue;
        const std::uint16_t pid = low16(section.program_map.at(service_id));
        const bool has_moved = service->pmt && service->pmt->pid.value_or(pid) != pid;
        if (has_moved) service->pmt.reset();
        service->pmt_pid = pid;
    }
}

/// Whether a receiver of 1-seg services finds the service's PMT, for which it needs no PAT.
bool services::is_one_seg(const known_service& known) {
    return known.pmt && known.pmt->pid && is_one_seg_pmt_pid(*known.pmt->pid);
}

void services::leave_pat(std::uint16_t service_id) {
    const auto service = services_.find(service_id);
    if (service == services_.end()) return;  // there was no room for it
    known_service& known = service->second;
    known.pmt_pid.reset();
    if (!is_one_seg(known)) known.pmt.reset();
    forget_if_untold(service);
}

bool services::is_expected(const pmt& section, std::optional<std::uint16_t> pid) const {
    if (!pid) return true;
    const auto service = services_.find(low16(section.program_number));
    const bool is_in_pat = service != services_.end() && service->second.pmt_pid;
    return is_in_pat ? service->second.pmt_pid == pid : is_one_seg_pmt_pid(*pid);
}

void services::take_table(const pmt& section, const sighting& seen) {
    const std::optional<std::uint16_t> pid = seen.where.pid;
    if (!is_expected(section, pid)) return;
    known_service* const service = find_or_add(low16(section.program_number));
    if (service == nullptr) return;

    program_map told;
    told.pid = pid;
    told.pcr_pid = low16(section.PCR_PID);
    for (const auto& stream : section.streams) told.streams.push_back(make_stream(stream));
    const readings sent = read_broadcast(seen.bytes, seen.size, *seen.table);
    for (const skipped_descriptor& skipped : sent.skipped) {
        if (skipped.record) add_skipped(told.streams.at(*skipped.record), skipped);
    }
    service->pmt = std::move(told);
}

void services::take_table(const sdt& section, const sighting& /*seen*/) {
    if (section.table_id != table_ids::sdt_actual) return;
    sdt_identifiers_ = {low16(section.transport_stream_id), low16(section.original_network_id)};
    listing::service_ids listed;
    for (const auto& told : section.services) listed.push_back(low16(told.service_id));
    const std::uint64_t table = section.original_network_id << 16 | section.transport_stream_id;
    for (const std::uint16_t gone : sdt_.take(section, table, listed)) leave_sdt(gone);

    for (const auto& told : section.services) {
        known_service* const service = find_or_add(low16(told.service_id));
        if (service == nullptr) continue;
        description now;
        if (const auto named = find<service_descriptor>(section, 0x48, told.descriptors)) {
            now.name = named->service_name;
            now.service_type = named->service_type;
        }
        service->sdt = std::move(now);
    }
}

void services::leave_sdt(std::uint16_t service_id) {
    const auto service = services_.find(service_id);
    if (service == services_.end()) return;  // there was no room for it
    service->second.sdt.reset();
    forget_if_untold(service);
}

// --- What else is told of them ---

void services::take_table(const nit& section, const sighting& seen) {
    if (section.table_id != table_ids::nit_actual) return;
    const std::uint16_t network_id = low16(section.network_id);
    const bool is_same = network_ && network_->network_id == network_id &&
                         network_->version_number == section.version_number;
    if (!is_same) network_ = network{network_id, section.version_number, {}, 0};

    network_section& in_place = network_->sections[section.section_number];
    network_->streams -= in_place.streams.size();
    in_place.name = network_name_of(read_broadcast(seen.bytes, seen.size, *seen.table));
    in_place.streams.clear();
    for (const auto& told : section.transport_streams) {
        if (!stream_limit_.admits(network_->streams)) continue;
        network_stream stream = {low16(told.transport_stream_id), low16(told.original_network_id),
                                 std::nullopt, ""};
        const auto named = find<ts_information_descriptor>(section, 0xCD, told.descriptors);
        if (named) {
            stream.remote_control_key_id = named->remote_control_key_id;
            stream.ts_name = named->ts_name;
        }
        in_place.streams.push_back(std::move(stream));
        ++network_->streams;
    }
}

void services::take_table(const eit& section, const sighting& /*seen*/) {
    if (section.table_id != table_ids::present_following_actual) return;
    if (section.section_number > 1) return;
    events_original_network_id_ = low16(section.original_network_id);
    const std::uint16_t service_id = low16(section.service_id);
    const auto known = events_.find(service_id);
    const bool is_known = known != events_.end();
    if (!is_known && (section.events.empty() || !event_limit_.admits(events_.size()))) return;

    events& on_air = is_known ? known->second : events_[service_id];
    const bool is_present = section.section_number == 0;
    std::optional<event_on_air>& in_place = is_present ? on_air.present : on_air.following;
    in_place.reset();
    if (!section.events.empty()) in_place = make_event(section, section.events.front());
    if (is_present && section.last_section_number == 0) on_air.following.reset();
    if (!on_air.present && !on_air.following) events_.erase(service_id);
}

void services::take_table(const ait& section, const sighting& seen) {
    if (!seen.where.pid) return;  // nothing says whose it is
    const ait_key key = {*seen.where.pid, section.table_id_extension};
    const auto known = aits_.find(key);
    if (known == aits_.end() && section.applications.empty()) return;
    signalled_applications& table = known == aits_.end() ? aits_[key] : known->second;
    if (table.version_number != section.version_number) {
        applications_ -= table.applications;
        table = {section.version_number, {}, 0};
    }

    std::vector<service_application>& in_place = table.sections[section.section_number];
    table.applications -= in_place.size();
    applications_ -= in_place.size();
    in_place.clear();
    for (const auto& told : section.applications) {
        if (!application_limit_.admits(applications_)) continue;
        in_place.push_back(make_application(section, told));
        ++table.applications;
        ++applications_;
    }
    if (in_place.empty()) table.sections.erase(section.section_number);
    if (table.applications == 0) aits_.erase(key);
}

// --- The answer ---

bool services::is_tunable(const known_service& known) const {
    return !pat_.has_come() || known.pmt_pid || is_one_seg(known);
}

const services::network_stream* services::own_network_stream() const {
    if (!network_) return nullptr;
    std::optional<std::uint16_t> own = pat_transport_stream_id_;
    if (!own && sdt_identifiers_) own = sdt_identifiers_->transport_stream_id;
    const network_stream* found = nullptr;
    for (const auto& [section_number, section] : network_->sections) {
        for (const network_stream& stream : section.streams) {
            if (own ? stream.transport_stream_id == *own : network_->streams == 1) {
                if (found == nullptr) found = &stream;
            }
        }
    }
    return found;
}

std::optional<std::vector<service_application>> services::applications_on(
    const std::vector<service_stream>& streams) const {
    std::optional<std::vector<service_application>> all;
    std::set<std::uint16_t> told;
    for (const service_stream& stream : streams) {
        if (stream.stream_type != private_sections) continue;
        if (!told.insert(stream.elementary_pid).second) continue;
        for (auto table = aits_.lower_bound({stream.elementary_pid, 0});
             table != aits_.end() && table->first.first == stream.elementary_pid; ++table) {
            if (!all) all.emplace();
            for (const auto& [section_number, applications] : table->second.sections) {
                all->insert(all->end(), applications.begin(), applications.end());
            }
        }
    }
    return all;
}

told_service services::told(std::uint16_t service_id, const known_service& known,
                            const network_stream* stream) const {
    told_service service;
    service.service_id = service_id;
    service.program_map_pid = known.pmt_pid;
    if (known.sdt) {
        service.is_described = true;
        service.name = known.sdt->name;
        service.service_type = known.sdt->service_type;
    }
    if (known.pmt) {
        if (!service.program_map_pid) service.program_map_pid = known.pmt->pid;
        service.pcr_pid = known.pmt->pcr_pid;
        service.streams = known.pmt->streams;
        for (service_stream& s : *service.streams) {
            const auto ait = aits_.lower_bound({s.elementary_pid, 0});
            if (ait != aits_.end() && ait->first.first == s.elementary_pid) {
                s.carries_applications = s.stream_type == private_sections;
            }
        }
        service.applications = applications_on(known.pmt->streams);
    }
    if (stream != nullptr && stream->remote_control_key_id) {
        service.number =
            channel_number(*stream->remote_control_key_id, service_id, service.program_map_pid);
    }
    if (const auto on_air = events_.find(service_id); on_air != events_.end()) {
        service.present = on_air->second.present;
        service.following = on_air->second.following;
    }
    return service;
}

told_services services::told() const {
    told_services all;
    all.original_network_id = events_original_network_id_;
    const network_stream* const stream = own_network_stream();
    if (network_) {
        all.network_id = network_->network_id;
        for (const auto& [section_number, section] : network_->sections) {
            if (all.network_name.empty()) all.network_name = section.name;
        }
    }
    if (stream != nullptr) {
        all.transport_stream_id = stream->transport_stream_id;
        all.original_network_id = stream->original_network_id;
        all.ts_name = stream->ts_name;
    }
    if (sdt_identifiers_) {
        all.transport_stream_id = sdt_identifiers_->transport_stream_id;
        all.original_network_id = sdt_identifiers_->original_network_id;
    }
    if (pat_transport_stream_id_) all.transport_stream_id = pat_transport_stream_id_;

    for (const auto& [service_id, known] : services_) {
        if (is_tunable(known)) all.services.push_back(told(service_id, known, stream));
    }
    return all;
}

bool services::is_in_sdt(std::uint16_t service_id) const {
    const auto service = services_.find(service_id);
    return service != services_.end() && service->second.sdt;
}

std::vector<std::uint16_t> services::not_in_pat() const {
    std::vector<std::uint16_t> all;
    for (const auto& [service_id, known] : services_) {
        if (known.sdt && !known.pmt_pid) all.push_back(service_id);
    }
    return all;
}

std::vector<bound> services::bounds() const {
    return {service_limit_, event_limit_, stream_limit_, application_limit_};
}

}  // namespace orvix::broadcast
