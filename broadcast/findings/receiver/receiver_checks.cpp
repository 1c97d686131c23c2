#include "receiver_checks.h"

#include <broadcast/findings/wording.h>
#include <broadcast/readings/refused_reading.h>
#include <broadcast/refusal_outcome.h>
#include <broadcast/table_ids.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <utility>

#include "difference_words.h"

extern "C" {
#include <bitstream/mpeg/psi.h>
}

namespace orvix::broadcast {

using section_feed::verdict;

namespace {

// In this order they tell findings apart.
constexpr std::array<std::string_view, 21> fields = {
    "applications",
    "component_tag",
    "descriptors",
    "EIT_present_following_flag",
    "EIT_schedule_flag",
    "event_name",
    "regions",
    "ISO_639_language_code",
    "local_time_offset",
    "next_time_offset",
    "program_map",
    "sections",
    "service_name",
    "service_provider_name",
    "services",
    "text",
    "time_of_change",
    "transmission_types",
    "ts_name",
    "type",
    "urls",
};

/// Those of a schedule are told as one.
std::uint8_t table_group(std::uint8_t table_id) {
    if (table_ids::is_schedule_other(table_id)) {
        return table_ids::first_schedule_other;
    }
    if (table_ids::is_schedule_actual(table_id)) {
        return table_ids::first_schedule_actual;
    }
    return table_id;
}

/// `what` tells the findings about a table apart.
finding_subject subject_of(const place& where, const std::uint8_t* section, std::size_t size,
                           std::uint64_t what) {
    const std::uint8_t table_id = section[0];
    finding_subject about;
    about.pid = where.pid;
    const bool is_of_a_service = table_id == table_ids::pmt || table_ids::is_eit(table_id);
    if (is_of_a_service && size >= PSI_HEADER_SIZE_SYNTAX1) {
        about.service_id = psi_get_tableidext(section);
    }
    about.item = table_group(table_id) | what << 8U;
    return about;
}

std::uint64_t number_of(const difference& d) {
    const auto* const field = std::find(fields.begin(), fields.end(), d.at.field);
    return static_cast<std::uint64_t>(field - fields.begin()) << 1U | (d.is_visible ? 1 : 0);
}

finding_kind kind_of(const difference& d) {
    const std::string_view field = d.at.field;
    if (field == "time_of_change") return finding_kind::receiver_clock_2038;
    const bool is_lost = d.receiver == difference::kind::missed &&
                         (field == "applications" || field == "regions" || field == "descriptors");
    return is_lost ? finding_kind::receiver_misses : finding_kind::receiver_reads_otherwise;
}

/// Who looks at these times has told of them.
bool is_told_elsewhere(const difference& d) {
    return d.at.field == "utc_time" || d.at.field == "start_time";
}

bool is_in_force(const sighting& seen) {
    const std::uint8_t table_id = seen.bytes[0];
    return table_id == table_ids::tdt || table_id == table_ids::tot || psi_get_current(seen.bytes);
}

bool is_whole(const refusal& what) {
    if (what.size < PSI_HEADER_SIZE) return false;
    const std::size_t section_length = psi_get_length(what.section);
    return what.size == PSI_HEADER_SIZE + section_length;
}

}  // namespace

void receiver_checks::take(const sighting& seen) {
    if (!seen.is_new || seen.table == nullptr || !is_in_force(seen)) return;
    const readings found = read_broadcast(seen.bytes, seen.size, *seen.table);
    for (const difference& d : found.differences) {
        if (!is_told_elsewhere(d)) tell(d, found, seen);
    }
}

void receiver_checks::tell(const difference& d, const readings& found, const sighting& seen) {
    // Every broadcast has them, and nothing follows.
    const bool is_noise = table_ids::is_eit(seen.bytes[0]) && d.at.field == "sections";
    if (is_noise && std::exchange(has_told_of_several_eit_sections_, true)) return;

    occurrence what;
    what.kind = kind_of(d);
    what.about = subject_of(seen.where, seen.bytes, seen.size, number_of(d));
    if (!d.is_visible) what.how_bad = severity::note;
    to_.occurs(what, [&] { return difference_words(d, found, seen); });
}

void receiver_checks::take_refused(const place& where, const refusal& what) {
    const std::uint8_t* const section = what.section;
    if (!is_whole(what)) return;
    const bool has_crc = section[0] != table_ids::tdt;
    if (has_crc && (what.size < PSI_HEADER_SIZE + PSI_CRC_SIZE || !psi_check_crc(section))) return;

    const auto reason = static_cast<std::uint64_t>(what.why.why);
    const finding_subject about = subject_of(where, section, what.size, reason);
    to_.occurs({finding_kind::refused, about, {}, {}, {}}, [&] {
        std::string words =
            about.service_id ? wording::table_of(section) : "the " + wording::table(section[0]);
        if (where.pid) words += " on " + wording::pid(*where.pid);
        words += is_well_formed(what) ? " is well formed, but" : " is not well formed:";
        words += " the receiver " + std::string(refusal_outcome(what.why));
        return words + " (" + what.why.text() + ")";
    });
}

}  // namespace orvix::broadcast
