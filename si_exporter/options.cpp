#include "options.h"

#include <CLI/CLI.hpp>

#include "printable.h"

namespace orvix::si_exporter {

namespace {

constexpr const char* description =
    "Follows ISDB-Tb broadcasts and tells Prometheus what a receiver sees in them.";

constexpr const char* footer = R"(Examples:
  si_exporter manaca=udp://239.255.7.7:5004?interface=eth0
  si_exporter --web.listen-address :9879 --inputs /etc/si_exporter/inputs

Signals:
  HUP   reads the list of --inputs again
  TERM  ends

Exit status:
  0  it was ended by a signal
  2  wrong usage
  3  it could not listen, or read the list of inputs)";

/// Throws CLI::ValidationError.
void set_limit(const std::string& word, broadcast::finding_limits& limits) {
    if (const auto wrong = broadcast::set_limit(limits, word)) {
        throw CLI::ValidationError("--limit-of", "'" + printable(wrong->part) + "' " + wrong->why);
    }
}

/// Throws CLI::ValidationError.
broadcast::utc_offset parse_offset(const std::string& word) {
    if (const auto offset = broadcast::parse_offset(word)) return *offset;
    throw CLI::ValidationError("--utc-offset",
                               "'" + printable(word) + "' is not an offset like -03:00");
}

}  // namespace

parsed_options parse_options(int argc, const char* const* argv) {
    parsed_options parsed;
    CLI::App app(description, "si_exporter");
    app.footer(footer);
    app.failure_message([](const CLI::App*, const CLI::Error& e) {
        return std::string("si_exporter: ") + e.what() + " (si_exporter --help says more)\n";
    });
    app.set_version_flag("--version", "si_exporter " SI_EXPORTER_VERSION);
    app.add_option("NAME=INPUT", parsed.is.inputs,
                   "What the metrics call an input, and where it comes from: udp://ADDRESS:PORT, "
                   "rtp://ADDRESS:PORT, a pipe or a file")
        ->type_name("");
    app.add_option("--inputs", parsed.is.inputs_file, "A file with a NAME=INPUT in each line")
        ->type_name("FILE");
    app.add_option("--web.listen-address", parsed.is.listen_address,
                   "Where metrics are told (127.0.0.1:9879 unless given)")
        ->type_name("ADDRESS:PORT");
    std::vector<std::string> limits;
    app.add_option("--limit-of", limits,
                   "The limit of a finding, in seconds: pmt_rare=0.4 (si_inspect(1) names them)")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("NAME=SECONDS");
    std::string utc_offset;
    app.add_option("--utc-offset", utc_offset,
                   "The broadcasts' clocks are so far ahead of UTC (-03:00 unless given)")
        ->type_name("HH:MM");
    try {
        app.parse(argc, argv);
        for (const std::string& word : limits) set_limit(word, parsed.is.monitoring.limits);
        if (app.count("--utc-offset") != 0) {
            parsed.is.monitoring.clock_ahead_of_utc = parse_offset(utc_offset);
        }
        if (parsed.is.inputs.empty() && parsed.is.inputs_file.empty()) {
            throw CLI::ValidationError("NAME=INPUT", "is missing, and so is --inputs");
        }
    } catch (const CLI::Error& e) {
        parsed.exit_status = app.exit(e) == 0 ? exit_ok : exit_usage;
    }
    return parsed;
}

}  // namespace orvix::si_exporter
