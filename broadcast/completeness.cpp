#include "completeness.h"

#include <algorithm>

#include "table_ids.h"
#include "times.h"

namespace orvix::broadcast {

namespace {

constexpr std::uint8_t first_extended_schedule = 0x58;

constexpr std::size_t sections_of_segment = 8;
constexpr std::size_t segments_of_day = 8;
constexpr std::size_t days_of_table = 4;

/// The first table_id of the schedule that a table is counted to.
std::uint8_t first_of(std::uint8_t table_id) {
    return table_id < first_extended_schedule ? table_ids::first_schedule_actual
                                              : first_extended_schedule;
}

void add_table(std::vector<missing_part>& to, std::uint8_t table_id,
               std::optional<std::uint16_t> service_id, const section_numbers& sections) {
    missing_part part;
    part.table_id = table_id;
    part.service_id = service_id;
    part.is_all = !sections.have_any();
    if (!part.is_all) part.sections = sections.missing();
    if (part.is_all || !part.sections.empty()) to.push_back(std::move(part));
}

missing_part all_of(std::uint8_t table_id, std::uint16_t service_id) {
    missing_part part;
    part.table_id = table_id;
    part.service_id = service_id;
    part.is_all = true;
    return part;
}

}  // namespace

void completeness::take(const sighting& seen) {
    if (!seen.is_new) return;
    if (seen.table != nullptr) {
        if (const auto* const tdt = std::get_if<const si_parser::tdt*>(seen.table)) {
            take_time((*tdt)->utc_time);
        } else if (const auto* const tot = std::get_if<const si_parser::tot*>(seen.table)) {
            take_time((*tot)->utc_time);
        }
    }
    take({seen.bytes, seen.size}, seen.where.pid);
}

void completeness::take_time(std::time_t clock) {
    if (clock != undefined_time) clock_ = as_sent(clock);
}

void completeness::take(const place& where, const refusal& what) {
    using section_feed::verdict;
    const verdict why = what.why.why;
    if (why == verdict::overrun || why == verdict::endless) {
        take({what.section, what.size}, where.pid);
    }
}

void completeness::take(span section, std::optional<std::uint16_t> pid) {
    const std::optional<sent_header> header = header_of(section);
    if (!header || !header->current_next_indicator) return;
    const std::uint8_t table_id = header->table_id;
    if (table_id == table_ids::pat && pid.value_or(0) == 0) {
        if (pat_.take(*header)) programmes_.reset();
        for (const std::uint16_t number : programmes_of(section)) programmes_.set(number);
    } else if (table_id == table_ids::pmt) {
        pmts_.set(header->table_id_extension);
    } else if (table_id == table_ids::nit_actual) {
        nit_.take(*header);
    } else if (table_id == table_ids::sdt_actual) {
        if (sdt_.take(*header)) {
            with_present_following_.reset();
            with_schedule_.reset();
        }
        for (const announced_eits& announced : announced_in(section)) {
            with_present_following_[announced.service_id] = announced.present_following;
            with_schedule_[announced.service_id] = announced.schedule;
        }
    } else if (table_id == table_ids::present_following_actual) {
        take_present_following(*header);
    } else if (table_ids::is_schedule_actual(table_id)) {
        if (const auto segment = segment_of(section)) take_schedule(*header, *segment);
    }
}

void completeness::take_present_following(const sent_header& header) {
    const std::uint16_t service_id = header.table_id_extension;
    const auto known = present_following_.find(service_id);
    if (known != present_following_.end()) {
        known->second.take(header);
    } else if (present_following_limit_.admits(present_following_.size())) {
        present_following_[service_id].take(header);
    }
}

void completeness::take_schedule(const sent_header& header, const sent_segment& segment) {
    const std::uint16_t service_id = header.table_id_extension;
    const auto key = std::make_pair(service_id, header.table_id);
    const auto known = schedules_.find(key);
    if (known == schedules_.end() && !schedule_limit_.admits(schedules_.size())) return;
    schedule_table& table = known == schedules_.end() ? schedules_[key] : known->second;
    table.sections.take(header);

    const std::size_t number = header.section_number / sections_of_segment;
    const std::size_t last_possible = number * sections_of_segment + sections_of_segment - 1;
    const std::size_t last = std::clamp<std::size_t>(segment.segment_last_section_number,
                                                     header.section_number, last_possible);
    table.segment_last[number] = static_cast<std::uint8_t>(last);

    // One that makes no sense says nothing about further tables.
    const bool makes_sense = segment.last_table_id >= header.table_id &&
                             segment.last_table_id <= table_ids::last_schedule_actual;
    last_table_ids_[{service_id, first_of(header.table_id)}] =
        makes_sense ? segment.last_table_id : header.table_id;
}

missing_parts completeness::missing() const {
    missing_parts all;
    all.clock = clock_;
    add_table(all.parts, table_ids::pat, std::nullopt, pat_);
    add_table(all.parts, table_ids::nit_actual, std::nullopt, nit_);
    add_table(all.parts, table_ids::sdt_actual, std::nullopt, sdt_);
    add_missing_pmts(all.parts);
    add_missing_present_following(all.parts);
    add_missing_schedules(all.parts);
    return all;
}

void completeness::add_missing_pmts(std::vector<missing_part>& to) const {
    const service_ids missing = programmes_ & ~pmts_;
    if (missing.none()) return;
    for (std::size_t id = 0; id < missing.size(); ++id) {
        const auto service_id = static_cast<std::uint16_t>(id);
        if (missing[id] && is_wanted(service_id)) to.push_back(all_of(table_ids::pmt, service_id));
    }
}

void completeness::add_missing_present_following(std::vector<missing_part>& to) const {
    service_ids awaited = with_present_following_;
    for (const auto& known : present_following_) awaited.set(known.first);
    for (std::size_t id = 0; id < awaited.size(); ++id) {
        const auto service_id = static_cast<std::uint16_t>(id);
        if (!awaited[id] || !is_wanted(service_id)) continue;
        const auto known = present_following_.find(service_id);
        add_table(to, table_ids::present_following_actual, service_id,
                  known == present_following_.end() ? section_numbers() : known->second);
    }
}

void completeness::add_missing_schedules(std::vector<missing_part>& to) const {
    std::map<schedule_key, std::uint8_t> awaited = last_table_ids_;
    if (with_schedule_.any()) {
        for (std::size_t id = 0; id < with_schedule_.size(); ++id) {
            const auto service_id = static_cast<std::uint16_t>(id);
            if (with_schedule_[id]) {
                awaited.try_emplace({service_id, table_ids::first_schedule_actual}, 0);
            }
        }
    }
    for (const auto& [key, last_table_id] : awaited) {
        const auto [service_id, first_table_id] = key;
        if (!is_wanted(service_id)) continue;
        // Without an extended schedule, the other one may have tables up to the last.
        const auto basic = awaited.find({service_id, table_ids::first_schedule_actual});
        const bool is_told = first_table_id != table_ids::first_schedule_actual &&
                             basic != awaited.end() && basic->second >= first_table_id;
        if (is_told) continue;
        if (last_table_id == 0) {
            to.push_back(all_of(first_table_id, service_id));
            continue;
        }
        for (std::uint8_t id = first_table_id; id <= last_table_id; ++id) {
            const auto first_day = static_cast<std::uint8_t>((id - first_table_id) * days_of_table);
            add_missing_days(to, service_id, id, first_day);
        }
    }
}

/// Of the day that it is.
std::size_t completeness::passed_segments() const {
    if (!clock_) return 0;
    constexpr std::int64_t seconds_of_segment = 3 * 60 * 60;
    return static_cast<std::size_t>((*clock_ - date_after(*clock_, 0)) / seconds_of_segment);
}

void completeness::add_missing_days(std::vector<missing_part>& to, std::uint16_t service_id,
                                    std::uint8_t table_id, std::uint8_t first_day) const {
    const auto known = schedules_.find({service_id, table_id});
    if (known == schedules_.end()) return to.push_back(all_of(table_id, service_id));

    const schedule_table& table = known->second;
    const std::size_t segments = table.sections.last() / sections_of_segment + 1;
    const std::size_t passed = first_day == 0 ? passed_segments() : 0;
    missing_part part;
    for (std::size_t segment = 0; segment < segments; ++segment) {
        const std::size_t first = segment * sections_of_segment;
        const bool begins_day = segment % segments_of_day == 0;
        if (begins_day) part = {table_id, service_id, {}, {}, {}, false};
        part.day = static_cast<std::uint8_t>(first_day + segment / segments_of_day);
        std::vector<std::uint8_t> sections =
            table.sections.missing(first, first + sections_of_segment - 1);
        if (sections.size() == sections_of_segment) {
            const bool is_passed = segment < passed;
            if (!is_passed) part.segments.push_back(static_cast<std::uint8_t>(segment));
        } else {
            for (const std::uint8_t n : sections) {
                if (n <= table.segment_last[segment]) part.sections.push_back(n);
            }
        }
        const bool ends_day = (segment + 1) % segments_of_day == 0 || segment + 1 == segments;
        if (ends_day && !(part.segments.empty() && part.sections.empty())) to.push_back(part);
    }
}

}  // namespace orvix::broadcast
