#include "difference_words.h"

#include <broadcast/findings/wording.h>
#include <broadcast/readings/descriptor_names.h>

#include <cstdio>
#include <string_view>
#include <variant>

namespace orvix::broadcast {

using namespace si_parser;

namespace {

// A list of what is not seen may be long.
constexpr std::size_t longest_reason = 160;

std::string hex16(std::uint32_t id) { return wording::hex(id, 4); }

// --- The record and the descriptor ---

/// "service 0x5C20": the record that the place is in.
struct record_namer {
    std::size_t record;

    std::string operator()(const sdt* t) const {
        return "service " + hex16(t->services[record].service_id);
    }
    std::string operator()(const pmt* t) const {
        return "PID " + hex16(t->streams[record].elementary_PID);
    }
    std::string operator()(const nit* t) const {
        return "transport stream " + hex16(t->transport_streams[record].transport_stream_id);
    }
    std::string operator()(const eit* t) const {
        return "event " + hex16(t->events[record].event_id);
    }
    std::string operator()(const ait* t) const {
        return "application " + hex16(t->applications[record].application_id);
    }
    std::string operator()(const psi_table* /*without records*/) const { return ""; }
};

struct loop_finder {
    const std::optional<std::size_t>& record;

    const descriptor_list& operator()(const sdt* t) const { return of(t, t->services); }
    const descriptor_list& operator()(const pmt* t) const { return of(t, t->streams); }
    const descriptor_list& operator()(const nit* t) const { return of(t, t->transport_streams); }
    const descriptor_list& operator()(const eit* t) const { return of(t, t->events); }
    const descriptor_list& operator()(const ait* t) const { return of(t, t->applications); }
    const descriptor_list& operator()(const psi_table* t) const { return t->descriptors; }

    template <typename Records>
    const descriptor_list& of(const psi_table* t, const Records& records) const {
        return record ? records[*record].descriptors : t->descriptors;
    }
};

/// The receiver's object of the descriptor that the place is in; null where there is none.
const descriptor* descriptor_at(const field_place& at, const readings& found,
                                const table_ref& table) {
    if (!at.descriptor) return nullptr;
    std::size_t skipped_before = 0;
    for (const skipped_descriptor& skipped : found.skipped) {
        if (skipped.record != at.record) continue;
        if (skipped.known_before + skipped_before < *at.descriptor) ++skipped_before;
    }
    const descriptor_list& known = std::visit(loop_finder{at.record}, table);
    const std::size_t number = *at.descriptor - skipped_before;
    return number < known.size() ? known[number].get() : nullptr;
}

// --- Values; none where they are long ---

using short_value = std::optional<std::string>;

short_value quoted_if_short(std::string_view text) {
    if (wording::characters(text) > wording::longest_quote) return std::nullopt;
    return text.empty() ? "none" : wording::quoted(text);
}

struct sent_value {
    short_value operator()(std::nullptr_t) const { return "none"; }
    short_value operator()(const value::number& n) const { return std::to_string(n.value); }
    short_value operator()(const std::string& text) const { return quoted_if_short(text); }
    template <typename Other>
    short_value operator()(const Other& /*longer*/) const {
        return std::nullopt;
    }
};

std::string flag(bool set) { return set ? "1" : "0"; }

/// Of four digits.
std::string time_offset(std::uint16_t bcd) {
    const std::string digits = hex16(bcd).substr(2);
    return wording::quoted(digits.substr(0, 2) + ':' + digits.substr(2));
}

/// What the receiver has of a descriptor's field.
short_value received_in(const descriptor& d, std::string_view field) {
    if (field == "type") return quoted_if_short(names::application_descriptor(d.tag));
    if (const auto* const service = dynamic_cast<const service_descriptor*>(&d)) {
        return quoted_if_short(field == "service_name" ? service->service_name
                                                       : service->service_provider_name);
    }
    if (const auto* const event = dynamic_cast<const short_event_descriptor*>(&d)) {
        return quoted_if_short(field == "event_name" ? event->event_name : event->text);
    }
    if (const auto* const component = dynamic_cast<const component_descriptor*>(&d)) {
        return quoted_if_short(component->text);
    }
    if (const auto* const ts = dynamic_cast<const ts_information_descriptor*>(&d)) {
        return quoted_if_short(ts->ts_name);
    }
    const auto* const local = dynamic_cast<const localtime_offset_descriptor*>(&d);
    if (local != nullptr && field == "local_time_offset") {
        return time_offset(local->local_time_offset);
    }
    if (local != nullptr && field == "next_time_offset")
        return time_offset(local->next_time_offset);
    return std::nullopt;
}

short_value received_value(const difference& d, const readings& found, const table_ref& table) {
    const std::string_view field = d.at.field;
    if (const descriptor* const in = descriptor_at(d.at, found, table)) {
        return received_in(*in, field);
    }
    if (field == "sections") return "1";
    if (field == "component_tag") return "0";
    if (field == "ISO_639_language_code") return "none";
    const auto* const services = std::get_if<const sdt*>(&table);
    if (services == nullptr || !d.at.record) return std::nullopt;
    const sdt::sdt_service_info_t& service = (*services)->services[*d.at.record];
    return flag(field == "EIT_schedule_flag" ? service.EIT_schedule_flag != 0
                                             : service.EIT_present_following_flag != 0);
}

/// "EIT_schedule_flag of service 0x5C20 in the SDT"
std::string field_words(const difference& d, const sighting& seen) {
    std::string words = std::string(d.at.field) + " of ";
    if (d.at.record) words += std::visit(record_namer{*d.at.record}, *seen.table) + " in ";
    words += wording::table_of(seen.bytes);
    const bool may_have_many = std::holds_alternative<const ait*>(*seen.table);
    if (may_have_many && seen.where.pid) words += " on " + wording::pid(*seen.where.pid);
    return words;
}

}  // namespace

std::string difference_words(const difference& d, const readings& found, const sighting& seen) {
    const short_value received = received_value(d, found, *seen.table);
    const short_value sent = std::visit(sent_value(), d.broadcast.is);
    const std::string why = wording::shortened(d.why, longest_reason);
    if (!received || !sent) return why + " (" + field_words(d, seen) + ")";
    constexpr std::string_view subject = "the receiver ";
    const bool has_subject = std::string_view(why).substr(0, subject.size()) == subject;
    return "the receiver reads " + field_words(d, seen) + " as " + *received + ", sent was " +
           *sent + ": " + (has_subject ? "it " + why.substr(subject.size()) : why);
}

}  // namespace orvix::broadcast
