#include "guide.h"

#include <algorithm>

#include "channel_number.h"

namespace orvix::broadcast {

using namespace si_parser;

namespace {

/// Sets the value of `key`, unless that would be one entry too many.
template <typename Map, typename Key, typename Value>
void set_within(bound& limit, Map& map, const Key& key, const Value& value) {
    const auto known = map.find(key);
    if (known != map.end()) {
        known->second = value;
    } else if (limit.admits(map.size())) {
        map.emplace(key, value);
    }
}

/// Of those that SDTs give a service, the first one that says anything.
template <typename Names>
std::string first_name(const Names& names) {
    const auto told = std::find_if(names.begin(), names.end(),
                                   [](const auto& name) { return !is_blank(name.second); });
    return told == names.end() ? "" : told->second;
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

void guide::take(const table_ref& table, span section) {
    if (const auto* const read = std::get_if<const pat*>(&table)) take(**read);
    if (const auto* const read = std::get_if<const sdt*>(&table)) take(**read);
    if (const auto* const read = std::get_if<const nit*>(&table)) take(**read);
    if (const auto* const read = std::get_if<const eit*>(&table)) take(**read, section);
    if (const auto* const read = std::get_if<const tot*>(&table)) take(**read);
}

void guide::take(const pat& section) {
    if (section.current_next_indicator == 0) return;
    for (const auto& [program_number, pid] : section.program_map) {
        set_within(programs_limit_, pmt_pids_, program_number, pid);
    }
}

void guide::take(const sdt& section) {
    if (section.current_next_indicator == 0) return;
    const stream_key stream = {section.original_network_id, section.transport_stream_id};
    const sdt_key told_by = {stream, section.table_id};
    const auto before = sdts_.find(told_by);
    if (before != sdts_.end() && before->second.version_number != section.version_number) {
        forget_names(told_by);
    }

    for (const auto& told : section.services) {
        const service_key key = {section.original_network_id, told.service_id};
        const auto known = services_.find(key);
        const bool is_new = known == services_.end() || known->second.names.count(told_by) == 0;
        if (is_new && !names_limit_.admits(names_)) continue;
        service* const named = find_or_add(key, stream);
        if (named == nullptr) continue;
        named->stream = stream;
        const auto names = section.get_descriptor_from<service_descriptor>(0x48, told.descriptors);
        named->names[told_by] = names ? names->service_name : "";
        if (is_new) {
            ++names_;
            sdts_[told_by].named.push_back(key);
        }
    }
    if (const auto now = sdts_.find(told_by); now != sdts_.end()) {
        now->second.version_number = section.version_number;
    }
}

/// Of an SDT whose version has passed.
void guide::forget_names(const sdt_key& of) {
    for (const service_key& key : sdts_[of].named) {
        const auto known = services_.find(key);
        known->second.names.erase(of);
        --names_;
        if (known->second.names.empty() && !known->second.has_eit) services_.erase(known);
    }
    sdts_.erase(of);
}

void guide::take(const nit& section) {
    if (section.current_next_indicator == 0) return;
    for (const auto& stream : section.transport_streams) {
        const auto information =
            section.get_descriptor_from<ts_information_descriptor>(0xCD, stream.descriptors);
        if (!information) continue;
        const stream_key key = {stream.original_network_id, stream.transport_stream_id};
        const std::uint8_t number = information->remote_control_key_id;
        set_within(streams_limit_, remote_control_keys_, key, number);
    }
}

void guide::take(const eit& section, span bytes) {
    if (section.current_next_indicator == 0) return;
    service* const known = find_or_add({section.original_network_id, section.service_id},
                                       {section.original_network_id, section.transport_stream_id});
    if (known == nullptr) return;
    known->has_eit = true;
    known->events.take(section, bytes, ++order_, limits_);
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

/// Null where there is no room for another service.
guide::service* guide::find_or_add(const service_key& key, const stream_key& stream) {
    const auto known = services_.find(key);
    if (known != services_.end()) return &known->second;
    if (!services_limit_.admits(services_.size())) return nullptr;
    service& added = services_[key];
    added.stream = stream;
    return &added;
}

std::string guide::number_of(const service_key& key, const service& of) const {
    const auto remote_control_key = remote_control_keys_.find(of.stream);
    if (remote_control_key == remote_control_keys_.end()) return "";
    const auto pid = pmt_pids_.find(key.second);
    return channel_number(
        remote_control_key->second, key.second,
        pid == pmt_pids_.end() ? std::nullopt : std::optional<std::uint32_t>(pid->second));
}

std::vector<bound> guide::bounds() const {
    return {services_limit_, names_limit_,      programs_limit_,
            streams_limit_,  limits_.announced, limits_.bytes};
}

guide_contents guide::contents(const std::set<std::uint16_t>& wanted) const {
    guide_contents all;
    all.viewers_offset = viewers_offset_;
    all.forgotten = limits_.forgotten;
    for (const auto& [key, known] : services_) {
        const auto service_id = static_cast<std::uint16_t>(key.second);
        if (!wanted.empty() && wanted.count(service_id) == 0) continue;

        std::map<std::time_t, programme> by_start;
        for (programme& event : known.events.merged()) {
            if (!event.is_timed()) {
                ++all.untimed_events;
            } else if (event.name.empty()) {
                ++all.unnamed_events;
            } else if (!by_start.try_emplace(event.start, std::move(event)).second) {
                ++all.covered_events;
            }
        }
        if (by_start.empty()) {
            ++all.services_untold;
            continue;
        }
        channel c;
        c.original_network_id = key.first;
        c.service_id = key.second;
        c.name = first_name(known.names);
        c.number = number_of(key, known);
        c.programmes.reserve(by_start.size());
        std::time_t end = 0;
        for (auto& [start, event] : by_start) {
            if (start < end) ++all.overlaps;
            end = std::max(end, event.end());
            c.programmes.push_back(std::move(event));
        }
        all.channels.push_back(std::move(c));
    }
    return all;
}

}  // namespace orvix::broadcast
