#pragma once

#include <broadcast/findings/finding.h>
#include <broadcast/times.h>
#include <log/orvix_log.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace orvix::si_inspect {

enum class view_choice : std::uint8_t { tables, services, findings, guide, differences, page };
enum class output_format : std::uint8_t { text, json, xmltv, m3u, html, sections };
enum class color_choice : std::uint8_t { automatic, always, never };

/// What the command line says.
struct options {
    std::vector<std::string> inputs;  ///< paths; "-" is the standard input, and so is none
    bool sections = false;            ///< the inputs are bare sections, not packets
    bool check_crc = true;

    bool until_complete = false;
    std::optional<std::chrono::seconds> timeout;  ///< by the wall clock, for each input

    view_choice show = view_choice::tables;
    std::set<std::string> tables;  ///< names as in names::table_kind; empty: all
    std::set<std::string> tables_left_out;
    std::set<std::uint16_t> pids;      ///< empty: all
    std::set<std::uint16_t> services;  ///< empty: all
    bool all = false;                  ///< repeats too
    broadcast::finding_limits limits;
    std::uint64_t limit = std::numeric_limits<std::uint64_t>::max();

    output_format format = output_format::text;
    std::string output;   ///< path; empty: the standard output
    std::string address;  ///< of a service in a list of channels; see m3u_writer
    std::optional<broadcast::utc_offset> utc_offset;
    color_choice color = color_choice::automatic;
    bool totals = false;  ///< in the output
    bool quiet = false;
    bool strict = false;

    OrvixLog::Level log_level = OrvixLog::NONE;
    std::set<std::string> log_categories;  ///< empty: all
};

/// The exit status, also of what a command line asks for.
enum exit_status : int {
    exit_ok = 0,
    exit_incomplete = 1,
    exit_different = 1,
    exit_usage = 2,
    exit_input = 3
};

/// The options, or the exit status where the command line has been answered already (--help,
/// --version, wrong usage).
struct parsed_options {
    si_inspect::options options;
    std::optional<int> exit_status;
};
parsed_options parse_options(int argc, const char* const* argv);

}  // namespace orvix::si_inspect
