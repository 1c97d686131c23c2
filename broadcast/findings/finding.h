#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace orvix::broadcast {

enum class severity : std::uint8_t {
    error,    ///< viewers or receivers lose something
    warning,  ///< it may come to that
    note,
};
/// "error", "warning", "note".
std::string_view to_string(severity how_bad);

/// What can be wrong with a broadcast. The names are those of the JSON, of options and of metrics.
enum class finding_kind : std::uint8_t {
    // The stream
    sync_lost,
    bytes_skipped,
    continuity,
    transport_error,
    crc,
    scrambled_table,
    pid_missing,
    pid_unreferenced,
    pcr_rare,
    pcr_jump,
    section_unfinished,
    // How often tables come
    pat_rare,
    pmt_rare,
    nit_rare,
    sdt_rare,
    eit_rare,
    eit_schedule_rare,
    clock_rare,
    ait_rare,
    section_too_soon,
    table_missing,
    // Tables against each other
    network_pid,
    service_not_in_sdt,
    service_not_in_pat,
    stream_not_in_nit,
    ids_differ,
    no_number,
    number_twice,
    service_id_form,
    one_seg_pid,
    service_name_missing,
    service_name_twice,
    eit_announced_missing,
    eit_unannounced,
    event_over,
    event_gap,
    event_overlap,
    event_times_undefined,
    event_name_missing,
    event_text_language,
    rating_missing,
    rating_reserved,
    genre_reserved,
    application_announced_missing,
    application_unreachable,
    component_tag_twice,
    component_tag_kind,
    section_numbers,
    content_without_version,
    version_without_content,
    version_jump,
    not_yet_valid,
    clock_wrong,
    short_name_long,
    text_long,
    // This receiver
    refused,
    receiver_reads_otherwise,
    receiver_misses,
    receiver_clock_2038,
};
constexpr std::size_t finding_kinds =
    static_cast<std::size_t>(finding_kind::receiver_clock_2038) + 1;

/// What makes a finding one.
struct finding_rule {
    finding_kind kind = finding_kind::sync_lost;
    std::string_view name;
    severity how_bad = severity::error;
    std::string_view reference;   ///< the clause that is broken: "TR 101 290 1.4"
    std::optional<double> limit;  ///< in seconds; none where one occurrence is a finding
};
const finding_rule& rule_of(finding_kind kind);
/// Null where nothing has this name.
const finding_rule* find_rule(std::string_view name);

/// The limits of the rules, as far as nobody wants others.
class finding_limits {
public:
    finding_limits();

    /// In seconds; 0 for a rule without a limit.
    double of(finding_kind kind) const { return seconds_[static_cast<std::size_t>(kind)]; }
    /// For a rule that has a limit.
    void set(finding_kind kind, double seconds) {
        seconds_[static_cast<std::size_t>(kind)] = seconds;
    }

private:
    std::array<double, finding_kinds> seconds_ = {};
};

/// What is wrong with a word of the user's: "'", `part`, "' " and `why` make the sentence.
struct wrong_word {
    std::string part;  ///< as it came
    std::string why;
};
/// Sets the limit that the word says: "pmt_rare=0.4". A wrong one changes nothing.
std::optional<wrong_word> set_limit(finding_limits& to, const std::string& word);

/// When something happened.
struct moment_of_stream {
    std::uint64_t number = 0;       ///< of the packet, or in a file of bare sections of the section
    bool in_stream = true;          ///< else it is a file of bare sections
    std::optional<double> seconds;  ///< since the first packet, by the stream's clock
    std::optional<std::time_t> time;  ///< by the broadcast's clock, once it has told the time
};

/// Whom a finding is about. Those that differ in any of it stand for themselves.
struct finding_subject {
    std::optional<std::uint16_t> pid;
    std::optional<std::uint16_t> service_id;
    /// What else tells it from others of its kind: a section_number, a component_tag. Its meaning
    /// stands in the words.
    std::uint64_t item = 0;
};

/// One thing that is wrong, however often.
struct finding {
    finding_kind kind = finding_kind::sync_lost;
    severity how_bad = severity::error;
    finding_subject about;
    std::uint64_t count = 0;
    moment_of_stream first;
    moment_of_stream last;
    std::optional<double> worst;  ///< in seconds; none where nothing is measured
    std::optional<double> limit;  ///< in seconds, the one that was passed
    std::string what;             ///< of the worst time, in words
    bool in_force = false;        ///< whether it has not ended so far

    /// What a station engineer can act on: `what`, and how often.
    std::string says() const;
};

}  // namespace orvix::broadcast
