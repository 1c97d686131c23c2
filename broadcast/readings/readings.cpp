#include "readings.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "descriptor_bodies.h"
#include "descriptor_differences.h"
#include "descriptor_names.h"
#include "section_loops.h"
#include "sent_time.h"

extern "C" {
#include <bitstream/dvb/si.h>
#include <bitstream/mpeg/psi.h>
}

namespace orvix::broadcast {

using namespace si_parser;

namespace {

constexpr std::uint8_t language_tag = 0x0A;
constexpr std::uint8_t extended_event_tag = 0x4E;
constexpr std::uint8_t local_time_offset_tag = 0x58;

value hex16(std::int64_t n) { return value::number{n, 4, {}}; }

class reader {
public:
    reader(const std::uint8_t* section, std::size_t size, bool in_ait)
        : section_(section),
          in_ait_(in_ait),
          loops_(find_loops(section, size)),
          descriptor_differences_(in_ait, found_.differences) {}

    void operator()(const pat* table);
    void operator()(const pmt* table);
    void operator()(const sdt* table);
    void operator()(const nit* table);
    void operator()(const eit* table);
    void operator()(const ait* table);
    void operator()(const tdt* table);
    void operator()(const tot* table);

    readings take() { return std::move(found_); }

private:
    void sections(const psi_table& table, bool is_visible);
    void table_loop(const descriptor_list& known);
    void record_loop(const char* records, std::size_t record, const sent_record& sent,
                     const descriptor_list& known);
    void loop(span sent, const descriptor_list& known, field_place at);
    void skip(span sent, std::size_t known_before, std::optional<std::size_t> record);

    void flag(const field_place& at, std::uint32_t received, bool sent);
    void time(const field_place& at, std::uint64_t sent, std::time_t received);
    void component(std::size_t i, const pmt::stream_info_type& stream, const sent_record& sent);
    void applications(const ait& table);
    void descriptors(const tot& table);
    std::vector<const sent_record*> match(
        const std::vector<sdt::sdt_service_info_t>& services) const;

    void add(difference d) { found_.differences.push_back(std::move(d)); }

    const std::uint8_t* section_;
    bool in_ait_;
    section_loops loops_;
    readings found_;
    descriptor_differences descriptor_differences_;
};

// --- Descriptor loops ---

void reader::loop(span sent, const descriptor_list& known, field_place at) {
    std::size_t number = 0;
    std::size_t known_before = 0;
    extended_events events;
    for_each_descriptor(sent, [&](span d) {
        // The library's objects say where they were read: what stands between them was skipped.
        const bool is_known = known_before < known.size() && known[known_before]->data == d.begin();
        if (is_known) {
            at.descriptor = number;
            descriptor_differences_.compare(d, *known[known_before], at);
            ++known_before;
        } else {
            if (d.u8(0) == extended_event_tag && is_whole(d)) {
                events.add(found_.skipped.size(), d);
            }
            skip(d, known_before, at.record);
        }
        ++number;
    });
    for (extended_events::joined& event : events.join()) {
        value::record& fields = found_.skipped[event.id].fields;
        std::move(event.fields.begin(), event.fields.end(), std::back_inserter(fields));
    }
}

void reader::skip(span sent, std::size_t known_before, std::optional<std::size_t> record) {
    constexpr std::size_t header = 2;
    skipped_descriptor& d = found_.skipped.emplace_back();
    d.record = record;
    d.known_before = known_before;
    d.tag = static_cast<std::uint8_t>(sent.u8(0));
    d.length = static_cast<std::uint8_t>(sent.u8(1));
    d.name = in_ait_ ? names::application_descriptor(d.tag) : names::descriptor(d.tag);
    d.body = sent.begin() + header;
    d.body_size = sent.size() - header;
    if (!in_ait_ && is_whole(sent)) d.fields = fields_of(sent);
}

void reader::table_loop(const descriptor_list& known) { loop(loops_.descriptors, known, {}); }

field_place place_in(const char* records, std::size_t record, const char* field = "") {
    return {records, record, std::nullopt, field};
}
field_place place_in_table(const char* field) { return {{}, std::nullopt, std::nullopt, field}; }

void reader::record_loop(const char* records, std::size_t record, const sent_record& sent,
                         const descriptor_list& known) {
    loop(sent.descriptors, known, place_in(records, record));
}

// --- Fields ---

void reader::sections(const psi_table& table, bool is_visible) {
    if (table.last_section_number == 0) return;
    add({place_in_table("sections"), value::number{table.last_section_number + 1, 0, {}},
         "the receiver takes each section for a whole table", difference::kind::otherwise,
         is_visible});
}

void reader::time(const field_place& at, std::uint64_t sent, std::time_t received) {
    auto wrapped = time_difference(at, sent, received);
    if (wrapped) add(*std::move(wrapped));
}

// --- PAT, NIT, EIT ---

void reader::operator()(const pat* table) {
    sections(*table, true);
    auto received = table->program_map.begin();
    bool is_same = loops_.records.size() <= table->program_map.size();
    for (auto sent = loops_.records.begin(); is_same && sent != loops_.records.end(); ++sent) {
        is_same = received->first == patn_get_program(sent->entry);
        ++received;
    }
    if (is_same) return;

    value::list programs;
    for (const sent_record& sent : loops_.records) {
        programs.push_back(value::record{{"program_number", hex16(patn_get_program(sent.entry))},
                                         {"PID", hex16(patn_get_pid(sent.entry))}});
    }
    add({place_in_table("program_map"), std::move(programs),
         "the receiver keeps one entry of each program_number, by number",
         difference::kind::otherwise, false});
}

void reader::operator()(const nit* table) {
    sections(*table, true);
    table_loop(table->descriptors);
    const std::size_t count = std::min(table->transport_streams.size(), loops_.records.size());
    for (std::size_t i = 0; i < count; ++i) {
        record_loop("transport_streams", i, loops_.records[i],
                    table->transport_streams[i].descriptors);
    }
}

void reader::operator()(const eit* table) {
    sections(*table, false);
    const std::size_t count = std::min(table->events.size(), loops_.records.size());
    for (std::size_t i = 0; i < count; ++i) {
        const sent_record& sent = loops_.records[i];
        const eit::event& event = table->events[i];
        time(place_in("events", i, "start_time"), eitn_get_start_time(sent.entry),
             event.start_time);
        record_loop("events", i, sent, event.descriptors);
    }
}

// --- PMT ---

void reader::component(std::size_t i, const pmt::stream_info_type& stream,
                       const sent_record& sent) {
    const bool has_tag =
        std::any_of(stream.descriptors.begin(), stream.descriptors.end(),
                    [](const descriptor_ptr& d) { return d->tag == 0x50 || d->tag == 0x52; });
    if (!has_tag) {
        add({place_in("streams", i, "component_tag"),
             {},
             "the receiver takes a stream without a component_tag for component 0",
             difference::kind::otherwise,
             false});
    }
    if (!stream.ISO_639_language_code.empty()) return;
    std::string languages;
    for_each_descriptor(sent.descriptors, [&](span d) {
        if (languages.empty() && d.u8(0) == language_tag && is_whole(d))
            languages = languages_of(d);
    });
    if (languages.empty()) return;
    add({place_in("streams", i, "ISO_639_language_code"), std::move(languages),
         "the receiver does not read the ISO 639 language descriptor", difference::kind::missed});
}

void reader::operator()(const pmt* table) {
    table_loop(table->descriptors);
    const std::size_t count = std::min(table->streams.size(), loops_.records.size());
    for (std::size_t i = 0; i < count; ++i) {
        component(i, table->streams[i], loops_.records[i]);
        record_loop("streams", i, loops_.records[i], table->streams[i].descriptors);
    }
}

// --- SDT ---

void reader::flag(const field_place& at, std::uint32_t received, bool sent) {
    if ((received != 0) == sent) return;
    // A receiver that waits for a guide that does not come shows none either.
    add({at, value::number{sent ? 1 : 0, 0, {}}, "the receiver takes the flag from a reserved bit",
         difference::kind::otherwise, sent});
}

/// Which entry each service was read from. The library sorts its services; those with the same
/// number it leaves in any order.
std::vector<const sent_record*> reader::match(
    const std::vector<sdt::sdt_service_info_t>& services) const {
    using keyed = std::pair<std::uint32_t, std::size_t>;  // what the receiver sees of it, number
    const std::vector<sent_record>& sent = loops_.records;
    std::vector<const sent_record*> matches(services.size());
    std::vector<bool> is_matched(sent.size());

    // A descriptor says where it stands, and so in whose loop.
    std::vector<keyed> without_descriptors;
    for (std::size_t i = 0; i < services.size(); ++i) {
        const sdt::sdt_service_info_t& service = services[i];
        if (service.descriptors.empty()) {
            without_descriptors.emplace_back(service.service_id << 8 |
                                                 service.EIT_schedule_flag << 5 |
                                                 service.EIT_present_following_flag << 4 |
                                                 service.running_status << 1 | service.free_CA_mode,
                                             i);
            continue;
        }
        const std::uint8_t* const data = service.descriptors.front()->data;
        const auto next = std::upper_bound(sent.begin(), sent.end(), data,
                                           [](const std::uint8_t* at, const sent_record& record) {
                                               return std::less<>()(at, record.entry);
                                           });
        if (next == sent.begin()) continue;
        const auto entry = static_cast<std::size_t>(next - sent.begin()) - 1;
        is_matched[entry] = true;
        matches[i] = &sent[entry];
    }

    std::vector<keyed> left;
    for (std::size_t i = 0; i < sent.size(); ++i) {
        if (is_matched[i]) continue;
        const std::uint8_t* const entry = sent[i].entry;
        const std::uint32_t flags = entry[2] >> 6;
        const std::uint32_t status = entry[3] >> 4;
        left.emplace_back(std::uint32_t{sdtn_get_sid(entry)} << 8 | flags << 4 | status, i);
    }
    std::sort(without_descriptors.begin(), without_descriptors.end());
    std::sort(left.begin(), left.end());
    auto next = left.begin();
    for (const auto& [key, service] : without_descriptors) {
        while (next != left.end() && next->first < key) ++next;
        if (next == left.end() || next->first != key) continue;
        matches[service] = &sent[next->second];
        ++next;
    }
    return matches;
}

void reader::operator()(const sdt* table) {
    sections(*table, true);
    const std::vector<const sent_record*> sent = match(table->services);
    if (!std::is_sorted(sent.begin(), sent.end())) {
        value::list ids;
        for (const sent_record& record : loops_.records) {
            ids.push_back(hex16(sdtn_get_sid(record.entry)));
        }
        add({place_in_table("services"), std::move(ids), "the receiver sorts services by number",
             difference::kind::otherwise, false});
    }
    for (std::size_t i = 0; i < sent.size(); ++i) {
        if (sent[i] == nullptr) continue;
        const sdt::sdt_service_info_t& service = table->services[i];
        flag(place_in("services", i, "EIT_schedule_flag"), service.EIT_schedule_flag,
             sdtn_get_eitschedule(sent[i]->entry));
        flag(place_in("services", i, "EIT_present_following_flag"),
             service.EIT_present_following_flag, sdtn_get_eitpresent(sent[i]->entry));
        record_loop("services", i, *sent[i], service.descriptors);
    }
}

// --- AIT ---

// organisation_id, application_id, application_control_code (ETSI TS 102 809 5.3.4.6).
value application_of(const std::uint8_t* entry) {
    const span fields(entry, 7);
    const std::int64_t organisation_id = std::int64_t{fields.u16(0)} << 16 | fields.u16(2);
    return value::record{{"organisation_id", value::number{organisation_id, 8, {}}},
                         {"application_id", hex16(fields.u16(4))},
                         {"application_control_code", value::number{fields.u8(6), 0, {}}}};
}

std::string application_id_of(const std::uint8_t* entry) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string id = "0x";
    for (const std::uint8_t byte : {entry[4], entry[5]}) {
        id += digits[byte >> 4];
        id += digits[byte & 0xF];
    }
    return id;
}

void reader::applications(const ait& table) {
    const std::vector<sent_record>& sent = loops_.records;
    const std::size_t read = table.applications.size();
    if (read >= sent.size()) return;
    value::list all;
    for (const sent_record& application : sent) all.push_back(application_of(application.entry));
    std::string why = "the receiver reads " + std::to_string(read) + " of " +
                      std::to_string(sent.size()) + " applications: ";
    for (std::size_t i = read; i < sent.size(); ++i) {
        if (i > read) why += i + 1 == sent.size() ? " and " : ", ";
        why += application_id_of(sent[i].entry);
    }
    why += sent.size() - read == 1 ? " is not seen" : " are not seen";
    add({place_in_table("applications"), std::move(all), std::move(why), difference::kind::missed});
}

void reader::operator()(const ait* table) {
    sections(*table, true);
    applications(*table);
    table_loop(table->descriptors);
    const std::size_t count = std::min(table->applications.size(), loops_.records.size());
    for (std::size_t i = 0; i < count; ++i) {
        record_loop("applications", i, loops_.records[i], table->applications[i].descriptors);
    }
}

// --- TDT, TOT ---

void reader::operator()(const tdt* table) {
    time(place_in_table("utc_time"), tdt_get_utc(section_), table->utc_time);
}

void reader::operator()(const tot* table) {
    time(place_in_table("utc_time"), tot_get_utc(section_), table->utc_time);
    descriptors(*table);
    table_loop(table->descriptors);
}

void reader::descriptors(const tot& table) {
    if (loops_.descriptors.empty() && !table.descriptors.empty()) {
        add({place_in_table("descriptors"), value::list(),
             "the loop is empty: the receiver counts its reserved bits and reads the CRC_32 as a "
             "descriptor"});
    }
    value::list tags;
    for_each_descriptor(loops_.descriptors, [&](span d) {
        const auto tag = static_cast<std::uint8_t>(d.u8(0));
        tags.push_back(value::number{tag, 2, std::string(names::descriptor(tag))});
    });
    if (tags.size() < 2) return;
    const auto is_local_time_offset = [](const value& tag) {
        return std::get<value::number>(tag.is).value == local_time_offset_tag;
    };
    const bool misses_offsets = std::any_of(tags.begin() + 1, tags.end(), is_local_time_offset);
    std::string why =
        "the receiver reads the first of " + std::to_string(tags.size()) + " descriptors";
    add({place_in_table("descriptors"), std::move(tags), std::move(why), difference::kind::missed,
         misses_offsets});
}

}  // namespace

std::string field_place::pointer() const {
    std::string to;
    if (record) to.append("/").append(records).append("/").append(std::to_string(*record));
    if (descriptor) to.append("/descriptors/").append(std::to_string(*descriptor));
    return to.append("/").append(field);
}

readings read_broadcast(const std::uint8_t* section, std::size_t size, const table_ref& table) {
    reader r(section, size, std::holds_alternative<const ait*>(table));
    std::visit(r, table);
    return r.take();
}

}  // namespace orvix::broadcast
