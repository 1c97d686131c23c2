#include "finding.h"

#include <algorithm>

namespace orvix::broadcast {

namespace {

constexpr severity error = severity::error;
constexpr severity warning = severity::warning;
constexpr severity note = severity::note;

constexpr std::optional<double> at_once = std::nullopt;

// The clauses that more than one rule names.
constexpr std::string_view psi_sections = "ISO/IEC 13818-1 2.4.4";
constexpr std::string_view network_table = "EN 300 468 5.2.1";
constexpr std::string_view service_table = "EN 300 468 5.2.3";
constexpr std::string_view event_table = "EN 300 468 5.2.4";
constexpr std::string_view section_versions = "EN 300 468 5.1.1";
constexpr std::string_view brazilian_tables = "ABNT NBR 15603-2";
constexpr std::string_view applications = "TS 102 809 5.3";
constexpr std::string_view this_receiver = "this receiver";

using kind = finding_kind;

// In the order of finding_kind. TR 101 290 numbers what it measures within 5.2.1 to 5.2.3.
constexpr std::array<finding_rule, finding_kinds> rules = {{
    {kind::sync_lost, "sync_lost", error, "TR 101 290 1.1", at_once},
    {kind::bytes_skipped, "bytes_skipped", warning, "TR 101 290 1.2", at_once},
    {kind::continuity, "continuity", error, "TR 101 290 1.4", at_once},
    {kind::transport_error, "transport_error", error, "TR 101 290 2.1", at_once},
    {kind::crc, "crc", error, "TR 101 290 2.2", at_once},
    {kind::scrambled_table, "scrambled_table", error, "TR 101 290 1.3.a, 1.5.a", at_once},
    {kind::pid_missing, "pid_missing", error, "TR 101 290 1.6", 5},
    {kind::pid_unreferenced, "pid_unreferenced", warning, "TR 101 290 3.4", 0.5},
    {kind::pcr_rare, "pcr_rare", warning, "TR 101 290 2.3.a", 0.1},
    {kind::pcr_jump, "pcr_jump", warning, "TR 101 290 2.3.b", 0.1},
    {kind::section_unfinished, "section_unfinished", warning, psi_sections, at_once},

    {kind::pat_rare, "pat_rare", error, "TR 101 290 1.3.a", 0.5},
    {kind::pmt_rare, "pmt_rare", error, "TR 101 290 1.5.a", 0.5},
    {kind::nit_rare, "nit_rare", error, "TR 101 290 3.1", 10},
    {kind::sdt_rare, "sdt_rare", error, "TR 101 290 3.5", 2},
    {kind::eit_rare, "eit_rare", error, "TR 101 290 3.6", 2},
    {kind::eit_schedule_rare, "eit_schedule_rare", warning, "TR 101 211 4.4", 10},
    {kind::clock_rare, "clock_rare", error, "TR 101 290 3.8", 30},
    {kind::ait_rare, "ait_rare", warning, "TS 102 809", 10},
    {kind::section_too_soon, "section_too_soon", note, "TR 101 290 3.2", 0.025},
    {kind::table_missing, "table_missing", error, "EN 300 468 5.1.4", at_once},

    {kind::network_pid, "network_pid", warning, "EN 300 468 5.1.3", at_once},
    {kind::service_not_in_sdt, "service_not_in_sdt", warning, service_table, at_once},
    {kind::service_not_in_pat, "service_not_in_pat", warning, "ISO/IEC 13818-1 2.4.4.3", at_once},
    {kind::stream_not_in_nit, "stream_not_in_nit", warning, network_table, at_once},
    {kind::ids_differ, "ids_differ", error, "EN 300 468 5.2", at_once},
    {kind::no_number, "no_number", warning, brazilian_tables, at_once},
    {kind::number_twice, "number_twice", error, brazilian_tables, at_once},
    {kind::service_id_form, "service_id_form", note, brazilian_tables, at_once},
    {kind::one_seg_pid, "one_seg_pid", warning, brazilian_tables, at_once},
    {kind::service_name_missing, "service_name_missing", warning, brazilian_tables, at_once},
    {kind::service_name_twice, "service_name_twice", warning, brazilian_tables, at_once},
    {kind::eit_announced_missing, "eit_announced_missing", warning, service_table, at_once},
    {kind::eit_unannounced, "eit_unannounced", warning, service_table, at_once},
    {kind::event_over, "event_over", warning, event_table, 60},
    {kind::event_gap, "event_gap", warning, event_table, 1},
    {kind::event_overlap, "event_overlap", warning, event_table, 1},
    {kind::event_times_undefined, "event_times_undefined", note, event_table, at_once},
    {kind::event_name_missing, "event_name_missing", warning, brazilian_tables, at_once},
    {kind::event_text_language, "event_text_language", note, brazilian_tables, at_once},
    {kind::rating_missing, "rating_missing", warning, brazilian_tables, at_once},
    {kind::rating_reserved, "rating_reserved", warning, brazilian_tables, at_once},
    {kind::genre_reserved, "genre_reserved", warning, brazilian_tables, at_once},
    {kind::application_announced_missing, "application_announced_missing", warning, applications,
     at_once},
    {kind::application_unreachable, "application_unreachable", error, applications, at_once},
    {kind::component_tag_twice, "component_tag_twice", error, "EN 300 468 6.2.39", at_once},
    {kind::component_tag_kind, "component_tag_kind", note, brazilian_tables, at_once},
    {kind::section_numbers, "section_numbers", error, section_versions, at_once},
    {kind::content_without_version, "content_without_version", error, section_versions, at_once},
    {kind::version_without_content, "version_without_content", note, section_versions, at_once},
    {kind::version_jump, "version_jump", note, section_versions, at_once},
    {kind::not_yet_valid, "not_yet_valid", note, section_versions, at_once},
    {kind::clock_wrong, "clock_wrong", warning, "EN 300 468 5.2.5, 5.2.6", 2},
    {kind::short_name_long, "short_name_long", note, brazilian_tables, at_once},
    {kind::text_long, "text_long", note, brazilian_tables, at_once},

    {kind::refused, "refused", error, this_receiver, at_once},
    {kind::receiver_reads_otherwise, "receiver_reads_otherwise", warning, this_receiver, at_once},
    {kind::receiver_misses, "receiver_misses", error, this_receiver, at_once},
    {kind::receiver_clock_2038, "receiver_clock_2038", warning, this_receiver, at_once},
}};

constexpr bool are_in_order() {
    for (std::size_t i = 0; i < rules.size(); ++i) {
        if (static_cast<std::size_t>(rules[i].kind) != i) return false;
    }
    return true;
}
static_assert(are_in_order());

}  // namespace

std::string_view to_string(severity how_bad) {
    switch (how_bad) {
        case severity::error:
            return "error";
        case severity::warning:
            return "warning";
        case severity::note:
            return "note";
    }
    return "";
}

const finding_rule& rule_of(finding_kind kind) { return rules[static_cast<std::size_t>(kind)]; }

const finding_rule* find_rule(std::string_view name) {
    const auto* const found = std::find_if(
        rules.begin(), rules.end(), [name](const finding_rule& rule) { return rule.name == name; });
    return found == rules.end() ? nullptr : found;
}

finding_limits::finding_limits() {
    for (const finding_rule& rule : rules) set(rule.kind, rule.limit.value_or(0));
}

std::optional<wrong_word> set_limit(finding_limits& to, const std::string& word) {
    const std::size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    const finding_rule* const rule = find_rule(name);
    if (rule == nullptr || !rule->limit) return wrong_word{name, "is no finding that has a limit"};
    const std::string seconds = equals == std::string::npos ? "" : word.substr(equals + 1);
    constexpr std::string_view digits = "0123456789";
    constexpr std::size_t longest = 9;
    const bool is_number = !seconds.empty() && seconds.size() <= longest &&
                           digits.find(seconds.front()) != std::string_view::npos &&
                           seconds.find_first_not_of("0123456789.") == std::string::npos &&
                           std::count(seconds.begin(), seconds.end(), '.') <= 1;
    if (!is_number || std::stod(seconds) <= 0) {
        return wrong_word{word, "is not like pmt_rare=0.4, in seconds above 0"};
    }
    to.set(rule->kind, std::stod(seconds));
    return std::nullopt;
}

std::string finding::says() const {
    return count > 1 ? what + ", " + std::to_string(count) + " times" : what;
}

}  // namespace orvix::broadcast
