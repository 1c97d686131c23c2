#include "guide.h"

#include <algorithm>

namespace orvix::broadcast {

using namespace si_parser;

namespace {

constexpr const char* brazil = "BRA";

template <typename Descriptor>
boost::shared_ptr<Descriptor> find(const psi_table& table, unsigned int tag,
                                   const descriptor_list& list) {
    return table.get_descriptor_from<Descriptor>(tag, list);
}

bool is_present_following(std::uint32_t table_id) { return table_id == 0x4E || table_id == 0x4F; }

bool is_timed(const programme& p) {
    // Times that do not fit into the library's 32 bits have become negative ones.
    return p.start >= 0 && p.duration != undefined_duration;
}

/// Whether two accounts under one event_id can be of one programme. Where their times have nothing
/// in common, the event has moved or another one has got its event_id.
bool may_be_same(const programme& a, const programme& b) {
    if (!is_timed(a) || !is_timed(b) || a.start == b.start) return true;
    return a.start < b.start + b.duration && b.start < a.start + a.duration;
}

/// Nothing but spaces, the one that does not break included.
bool is_blank(const std::string& text) {
    return text.find_first_not_of(" \xC2\xA0") == std::string::npos;
}

programme make_programme(const eit& section, const eit::event& event) {
    programme p;
    p.event_id = event.event_id;
    p.start = event.start_time;
    p.duration = event.duration;
    if (const auto told = find<short_event_descriptor>(section, 0x4D, event.descriptors)) {
        p.language = told->ISO_639_language_code;
        if (!is_blank(told->event_name)) p.name = told->event_name;
        if (!is_blank(told->text)) p.text = told->text;
    }
    if (const auto content = find<content_descriptor>(section, 0x54, event.descriptors)) {
        for (const auto& entry : content->contents) p.content_nibbles.push_back(entry.first);
    }
    if (const auto parental = find<parental_descriptor>(section, 0x55, event.descriptors)) {
        const auto rating = parental->ratings.find(brazil);
        if (rating != parental->ratings.end()) p.rating = rating->second;
    }
    return p;
}

/// What the newer account of an event leaves out, the older one supplies.
void supply(programme& newer, const programme& older) {
    if (!is_timed(newer) && is_timed(older)) {
        newer.start = older.start;
        newer.duration = older.duration;
    }
    if (newer.name.empty()) {
        newer.language = older.language;
        newer.name = older.name;
    }
    if (newer.text.empty()) newer.text = older.text;
    if (newer.content_nibbles.empty()) newer.content_nibbles = older.content_nibbles;
    if (!newer.rating) newer.rating = older.rating;
}

/// 90 of 0x0130, which is hhmm in BCD; nothing of what cannot be an offset.
std::optional<utc_offset> minutes_of(std::uint16_t bcd) {
    const auto digit = [bcd](int shift) { return bcd >> shift & 0xF; };
    for (const int shift : {12, 8, 4, 0}) {
        if (digit(shift) > 9) return std::nullopt;
    }
    const int hours = digit(12) * 10 + digit(8);
    const int minutes = digit(4) * 10 + digit(0);
    if (hours >= 12 || minutes >= 60) return std::nullopt;
    return utc_offset(hours * 60 + minutes);
}

}  // namespace

void guide::take(const table_ref& table) {
    if (const auto* const section = std::get_if<const pat*>(&table)) take(**section);
    if (const auto* const section = std::get_if<const sdt*>(&table)) take(**section);
    if (const auto* const section = std::get_if<const nit*>(&table)) take(**section);
    if (const auto* const section = std::get_if<const eit*>(&table)) take(**section);
    if (const auto* const section = std::get_if<const tot*>(&table)) take(**section);
}

void guide::take(const pat& section) {
    if (section.current_next_indicator == 0) return;
    for (const auto& [program_number, pid] : section.program_map) pmt_pids_[program_number] = pid;
}

void guide::take(const sdt& section) {
    if (section.current_next_indicator == 0) return;
    const stream_key stream = {section.original_network_id, section.transport_stream_id};
    named_services& sdt = sdts_[{stream, section.table_id}];
    if (sdt.version_number != section.version_number) sdt.names.clear();
    sdt.version_number = section.version_number;
    for (const auto& service : section.services) {
        const auto named = find<service_descriptor>(section, 0x48, service.descriptors);
        sdt.names[service.service_id] = named ? named->service_name : "";
        streams_of_services_[{section.original_network_id, service.service_id}] = stream;
    }
}

void guide::take(const nit& section) {
    if (section.current_next_indicator == 0) return;
    for (const auto& stream : section.transport_streams) {
        const auto information = find<ts_information_descriptor>(section, 0xCD, stream.descriptors);
        if (!information) continue;
        remote_control_keys_[{stream.original_network_id, stream.transport_stream_id}] =
            information->remote_control_key_id;
    }
}

void guide::take(const eit& section) {
    if (section.current_next_indicator == 0) return;
    const service_key service = {section.original_network_id, section.service_id};
    streams_of_services_.try_emplace(
        service, stream_key{section.original_network_id, section.transport_stream_id});

    told_sections& sections = eits_[service][section.table_id];
    told_events told;
    told.order = ++order_;
    told.version_number = section.version_number;
    told.on_air = is_present_following(section.table_id) && section.section_number == 0;
    for (const eit::event& event : section.events) {
        told.events.push_back(make_programme(section, event));
    }
    told_events& before = sections[section.section_number];
    if (told.on_air) {
        // It was on air, so it belongs into the guide, also when the tables have dropped it.
        if (!before.events.empty()) past_[service].push_back(std::move(before));
    }
    before = std::move(told);
    // A new version may have fewer sections, in the table or in this segment of eight.
    for (auto s = sections.begin(); s != sections.end();) {
        const bool same_segment = s->first / 8 == section.section_number / 8;
        const bool beyond_end = s->first > section.last_section_number ||
                                (same_segment && s->first > section.segment_last_section_number);
        const bool gone = beyond_end && s->second.version_number != section.version_number;
        s = gone ? sections.erase(s) : std::next(s);
    }
}

void guide::take(const tot& section) {
    const auto offset = section.get_descriptor<localtime_offset_descriptor>(0x58);
    if (!offset || offset->country_code != brazil) return;
    // Counted from Brasilia's clock, which is the broadcast's. The library drops the polarity:
    // all of Brazil but some islands lies west of it. No place in Brazil is three hours away, so
    // such an offset counts from UTC.
    const std::optional<utc_offset> west = minutes_of(offset->local_time_offset);
    if (!west) return;
    viewers_offset_ = *west >= -brasilia ? -*west : brasilia - *west;
}

std::set<guide::service_key> guide::services() const {
    std::set<service_key> all;
    for (const auto& [key, sdt] : sdts_) {
        const std::uint32_t original_network_id = std::get<0>(key).first;
        for (const auto& named : sdt.names) all.insert({original_network_id, named.first});
    }
    for (const auto& eit : eits_) all.insert(eit.first);
    return all;
}

std::string guide::number_of(const service_key& service) const {
    constexpr std::uint32_t one_seg_pmt_pid = 0x1FC8;
    constexpr std::uint32_t one_seg_kind = 3;
    const auto key = remote_control_keys_.find(streams_of_services_.at(service));
    if (key == remote_control_keys_.end()) return "";

    const std::uint32_t service_id = service.second;
    const std::uint32_t number = service_id & 7;
    const auto pid = pmt_pids_.find(service_id);
    const bool has_one_seg_pid = pid != pmt_pids_.end() && pid->second >= one_seg_pmt_pid &&
                                 pid->second < one_seg_pmt_pid + 8;
    std::uint32_t minor = number + 1;
    if (has_one_seg_pid) {
        minor = 31 + pid->second - one_seg_pmt_pid;
    } else if (pid == pmt_pids_.end() && (service_id >> 3 & 3) == one_seg_kind) {
        minor = 31 + number;  // of another transport stream, whose PMTs are not here
    }
    return std::to_string(key->second) + "." + std::to_string(minor);
}

std::string guide::name_of(const service_key& service) const {
    for (const auto& [key, sdt] : sdts_) {
        const std::uint32_t original_network_id = std::get<0>(key).first;
        if (original_network_id != service.first) continue;
        const auto named = sdt.names.find(service.second);
        if (named != sdt.names.end() && !named->second.empty()) return named->second;
    }
    return "";
}

std::vector<programme> guide::events_of(const service_key& service) const {
    std::vector<told_events> newest_first;
    if (const auto past = past_.find(service); past != past_.end()) newest_first = past->second;
    if (const auto tables = eits_.find(service); tables != eits_.end()) {
        for (const auto& [table_id, sections] : tables->second) {
            for (const auto& [section_number, told] : sections) newest_first.push_back(told);
        }
    }
    std::sort(newest_first.begin(), newest_first.end(),
              [](const told_events& a, const told_events& b) { return a.order > b.order; });

    // Of the accounts under one event_id the newest holds, and those of what was on air at another
    // time. The others tell where a schedule had the event before.
    struct account {
        programme event;
        bool holds;
    };
    std::vector<account> accounts;
    std::map<std::uint32_t, std::vector<std::size_t>> indexes_of_events;
    for (const told_events& told : newest_first) {
        for (const programme& event : told.events) {
            std::vector<std::size_t>& indexes = indexes_of_events[event.event_id];
            const auto known = std::find_if(
                indexes.rbegin(), indexes.rend(),
                [&](const std::size_t i) { return may_be_same(accounts[i].event, event); });
            const bool was_on_air = told.on_air && is_timed(event);
            if (known == indexes.rend()) {
                const bool is_newest = indexes.empty();
                indexes.push_back(accounts.size());
                accounts.push_back({event, is_newest || was_on_air});
            } else {
                supply(accounts[*known].event, event);
                accounts[*known].holds = accounts[*known].holds || was_on_air;
            }
        }
    }

    std::vector<programme> events;
    for (account& a : accounts) {
        if (a.holds) events.push_back(std::move(a.event));
    }
    return events;
}

guide_contents guide::contents(const std::set<std::uint16_t>& wanted) const {
    guide_contents all;
    for (const service_key& service : services()) {
        channel c;
        std::tie(c.original_network_id, c.service_id) = service;
        if (!wanted.empty() && wanted.count(static_cast<std::uint16_t>(c.service_id)) == 0)
            continue;
        c.name = name_of(service);
        c.number = number_of(service);

        std::map<std::time_t, programme> by_start;
        for (programme& event : events_of(service)) {
            if (!is_timed(event)) {
                ++all.untimed_events;
            } else if (event.name.empty()) {
                ++all.unnamed_events;
            } else if (!by_start.try_emplace(event.start, std::move(event)).second) {
                ++all.covered_events;
            }
        }
        for (auto& [start, event] : by_start) c.programmes.push_back(std::move(event));
        if (c.programmes.empty()) {
            ++all.services_untold;
        } else {
            all.channels.push_back(std::move(c));
        }
    }
    return all;
}

}  // namespace orvix::broadcast
