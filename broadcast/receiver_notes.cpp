#include "receiver_notes.h"

#include <algorithm>

#include "times.h"

namespace orvix::broadcast {

using namespace si_parser;

namespace {

using notes = std::vector<std::string_view>;

constexpr std::uint8_t ts_information_tag = 0xCD;
constexpr std::uint8_t local_time_offset_tag = 0x58;
constexpr std::uint8_t local_time_offset_entry = 13;

constexpr std::string_view each_section_by_itself =
    "the receiver takes each section by itself; the broadcast's table has several";

constexpr std::string_view wrapped_time =
    "a time before 1970: the receiver counts seconds in 32 bits, which wrap on 2038-01-19";

bool is_wrapped(time_t seconds) { return seconds < 0 && seconds != undefined_time; }

bool has(const descriptor_list& list, std::uint8_t tag) {
    return std::any_of(list.begin(), list.end(),
                       [&](const descriptor_ptr& d) { return d->tag == tag; });
}

bool has_ip_transport(const descriptor_list& list) {
    return std::any_of(list.begin(), list.end(), [](const descriptor_ptr& d) {
        return dynamic_cast<const transport_protocol_descriptor_ip*>(d.get()) != nullptr;
    });
}

void note_several_sections(const psi_table& table, notes& to) {
    if (table.last_section_number > 0) to.push_back(each_section_by_itself);
}

void add_notes(const pat& table, notes& to) { note_several_sections(table, to); }
void add_notes(const pmt& /*table*/, notes& /*to*/) {}
void add_notes(const tdt& table, notes& to) {
    if (is_wrapped(table.utc_time)) to.push_back(wrapped_time);
}

void add_notes(const eit& table, notes& to) {
    note_several_sections(table, to);
    const bool wrapped = std::any_of(table.events.begin(), table.events.end(),
                                     [](const auto& e) { return is_wrapped(e.start_time); });
    if (wrapped) to.push_back(wrapped_time);
}

void add_notes(const sdt& table, notes& to) {
    if (table.services.empty()) return;
    to.push_back(
        "EIT flags: the receiver reads bits 7 and 6 of the entry's third byte; the broadcast puts "
        "them into bits 1 and 0");
}

void add_notes(const nit& table, notes& to) {
    const bool named =
        std::any_of(table.transport_streams.begin(), table.transport_streams.end(),
                    [](const auto& stream) { return has(stream.descriptors, ts_information_tag); });
    if (named) to.push_back("ts_information_descriptor: the receiver drops the transmission types");
}

void add_notes(const tot& table, notes& to) {
    if (is_wrapped(table.utc_time)) to.push_back(wrapped_time);
    to.push_back("the receiver decodes the first descriptor only");
    const auto offsets = table.get_descriptor(local_time_offset_tag);
    if (!offsets) return;
    to.push_back("local time offset: the receiver drops its polarity");
    if (offsets->length > local_time_offset_entry) {
        to.push_back("local time offset: the receiver keeps the last region only");
    }
}

void add_notes(const ait& table, notes& to) {
    to.push_back(
        "the receiver ends the application loop at a byte counted from the section's start; the "
        "broadcast counts from the loop's");
    note_several_sections(table, to);
    const bool has_url = has_ip_transport(table.descriptors) ||
                         std::any_of(table.applications.begin(), table.applications.end(),
                                     [](const auto& a) { return has_ip_transport(a.descriptors); });
    if (has_url) to.push_back("urls: the receiver reads them right only in rare layouts");
}

}  // namespace

std::vector<std::string_view> receiver_notes(const table_ref& table) {
    notes found;
    std::visit([&](const auto* decoded) { add_notes(*decoded, found); }, table);
    return found;
}

}  // namespace orvix::broadcast
