#include "options.h"

#include <CLI/CLI.hpp>
#include <cctype>
#include <iostream>
#include <map>

#include "display.h"
#include "writers/m3u_writer.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

constexpr const char* description =
    "Shows what a receiver that runs libsi_parser sees in an ISDB-Tb broadcast: the tables of a "
    "transport stream, each new one as it is complete.";

constexpr const char* footer = R"(Examples:
  si_inspect capture.ts
  si_inspect --show services capture.ts
  si_inspect --show findings capture.ts
  si_inspect --show guide capture.ts
  si_inspect --show differences yesterday.ts today.ts
  si_inspect --table sdt,nit capture.ts
  si_inspect --format json capture.ts | jq 'select(.table == "sdt").services'
  si_inspect --format xmltv --output guide.xml capture.ts
  si_inspect --format m3u --address 'http://tv.local/{service_id}' capture.ts >channels.m3u
  si_inspect --format html --output page.html capture.ts
  si_inspect --sections sections.bin
  si_inspect --show guide --until-complete --timeout 120 udp://239.255.7.7:5004

Exit status:
  0  all inputs were read
  1  with --strict: something in them was refused, dropped or skipped, or is missing in spite
     of --until-complete; with --show findings, an error was found; with
     --show differences: there are some
  2  wrong usage
  3  an input could not be read or is not what it should be, or the output could not be written)";

/// Decimal, or hexadecimal behind 0x. Throws CLI::ValidationError.
unsigned long parse_number(const std::string& option, const std::string& word,
                           unsigned long smallest, unsigned long largest) {
    const bool is_hex = word.size() > 2 && word[0] == '0' && (word[1] == 'x' || word[1] == 'X');
    const std::string digits = is_hex ? word.substr(2) : word;
    const bool has_digits_only =
        !digits.empty() && digits.find_first_not_of(is_hex ? "0123456789abcdefABCDEF"
                                                           : "0123456789") == std::string::npos;
    constexpr std::size_t most_digits = 9;
    if (has_digits_only && digits.size() <= most_digits) {
        const unsigned long value = std::stoul(digits, nullptr, is_hex ? 16 : 10);
        if (value >= smallest && value <= largest) return value;
    }
    throw CLI::ValidationError(option, "'" + word + "' is not a number from " +
                                           std::to_string(smallest) + " to " +
                                           std::to_string(largest) + " (0x for hexadecimal)");
}

const std::map<std::string, output_format> formats = {
    {"text", output_format::text},   {"json", output_format::json},
    {"xmltv", output_format::xmltv}, {"m3u", output_format::m3u},
    {"html", output_format::html},   {"sections", output_format::sections}};

const std::map<std::string, view_choice> views = {{"tables", view_choice::tables},
                                                  {"services", view_choice::services},
                                                  {"findings", view_choice::findings},
                                                  {"guide", view_choice::guide},
                                                  {"differences", view_choice::differences}};

/// What a format is always about; nothing of those that show anything.
std::optional<view_choice> only_view_of(output_format format) {
    switch (format) {
        case output_format::xmltv:
            return view_choice::guide;
        case output_format::m3u:
            return view_choice::services;
        case output_format::html:
            return view_choice::page;
        case output_format::sections:
            return view_choice::tables;
        case output_format::text:
        case output_format::json:
            break;
    }
    return std::nullopt;
}

const std::map<std::string, color_choice> color_choices = {{"auto", color_choice::automatic},
                                                           {"always", color_choice::always},
                                                           {"never", color_choice::never}};

const std::map<std::string, OrvixLog::Level> log_levels = {
    {"none", OrvixLog::NONE},     {"error", OrvixLog::ERROR},   {"warning", OrvixLog::WARNING},
    {"info", OrvixLog::INFO},     {"debug", OrvixLog::DEBUG},   {"debug1", OrvixLog::DEBUG1},
    {"debug2", OrvixLog::DEBUG2}, {"debug3", OrvixLog::DEBUG3}, {"debug4", OrvixLog::DEBUG4}};

/// A table's name in lower case, perhaps with '!' before it. Returns what is wrong with it.
std::string table_name(std::string& word) {
    static const std::set<std::string> names = {"pat", "pmt", "sdt", "nit",
                                                "eit", "ait", "tdt", "tot"};
    for (char& c : word) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    const bool left_out = !word.empty() && word[0] == '!';
    if (names.count(word.substr(left_out ? 1 : 0)) != 0) return "";
    return "'" + word + "' is none of pat, pmt, sdt, nit, eit, ait, tdt, tot";
}

/// What is given more than once, or with commas between.
CLI::Option* add_list(CLI::App& app, const std::string& name, std::vector<std::string>& words,
                      const std::string& help) {
    return app.add_option(name, words, help)->delimiter(',')->allow_extra_args(false);
}

template <typename Value>
CLI::Option* add_choice(CLI::App& app, const std::string& name, Value& value,
                        const std::map<std::string, Value>& choices, const std::string& kind,
                        const std::string& help) {
    // A function, because CLI11's own choices would print the numbers behind the words as well.
    std::set<std::string> words;
    for (const auto& choice : choices) words.insert(choice.first);
    return app
        .add_option_function<std::string>(
            name, [&](const std::string& word) { value = choices.at(word); }, help)
        ->type_name(kind)
        ->check(CLI::IsMember(words));
}

/// The command line, before it is parsed and what its words become.
class command_line {
public:
    command_line() : app_(description, "si_inspect") {
        app_.footer(footer);
        app_.failure_message([](const CLI::App*, const CLI::Error& e) {
            return std::string("si_inspect: ") + e.what() + " (si_inspect --help says more)\n";
        });
        app_.set_version_flag("--version", "si_inspect " SI_INSPECT_VERSION);
        add_inputs();
        add_filters();
        add_format();
        add_diagnostics();
    }

    options parse(int argc, const char* const* argv) {
        app_.parse(argc, argv);
        for (const auto& word : tables_) {
            const bool left_out = word[0] == '!';
            (left_out ? options_.tables_left_out : options_.tables)
                .insert(word.substr(left_out ? 1 : 0));
        }
        options_.log_categories.insert(log_categories_.begin(), log_categories_.end());
        constexpr std::uint16_t largest_pid = 0x1FFF;
        for (const auto& word : pids_) {
            options_.pids.insert(
                static_cast<std::uint16_t>(parse_number("--pid", word, 0, largest_pid)));
        }
        constexpr std::uint16_t largest_service_id = 0xFFFF;
        for (const auto& word : services_) {
            options_.services.insert(
                static_cast<std::uint16_t>(parse_number("--service", word, 0, largest_service_id)));
        }
        for (const auto& word : limits_) {
            if (const auto wrong = set_limit(options_.limits, word)) {
                throw CLI::ValidationError("--limit-of",
                                           "'" + printable(wrong->part) + "' " + wrong->why);
            }
        }
        constexpr unsigned long largest_limit = 999'999'999;
        if (!limit_.empty()) options_.limit = parse_number("--limit", limit_, 1, largest_limit);
        constexpr unsigned long longest_timeout = 86'400;  // a day
        if (!timeout_.empty()) {
            options_.timeout =
                std::chrono::seconds(parse_number("--timeout", timeout_, 1, longest_timeout));
        }
        if (app_.count("--utc-offset") != 0) {
            options_.utc_offset = parse_offset(utc_offset_);
            if (!options_.utc_offset) {
                throw CLI::ValidationError("--utc-offset", "'" + printable(utc_offset_) +
                                                               "' is not an offset like -03:00");
            }
        }
        if (options_.output == "-") options_.output.clear();
        check_view();
        check_address();
        const bool has_place_for_totals =
            options_.format == output_format::text || options_.format == output_format::json;
        if (options_.totals && !has_place_for_totals) {
            throw CLI::ValidationError("--totals",
                                       "only the formats text and json have a place for them");
        }
        return options_;
    }

    int exit(const CLI::Error& e) const {
        return app_.exit(e) == 0 ? static_cast<int>(exit_ok) : static_cast<int>(exit_usage);
    }

private:
    /// Refuses what the view has no use for. Without --show the format says which view it is.
    void check_view() {
        if (const auto only = only_view_of(options_.format)) {
            if (app_.count("--show") != 0 && options_.show != *only) {
                throw CLI::ValidationError("--show", "the format leaves no such choice");
            }
            options_.show = *only;
        }
        const bool finds =
            options_.show == view_choice::findings || options_.show == view_choice::page;
        if (app_.count("--limit-of") != 0 && !finds) {
            throw CLI::ValidationError("--limit-of", "is for --show findings and --format html");
        }
        if (options_.show == view_choice::page) check_page();
        if (options_.show == view_choice::findings) check_findings();
        if (options_.show == view_choice::differences) check_differences();
        const bool has_tables =
            options_.show != view_choice::services && options_.show != view_choice::differences;
        if (has_tables) return;
        const std::string view =
            options_.show == view_choice::services ? "services" : "differences";
        for (const char* const option : {"--table", "--pid", "--all", "--limit"}) {
            if (app_.count(option) == 0) continue;
            throw CLI::ValidationError(option, "is for tables, not for --show " + view);
        }
    }

    /// They are judged by all that comes.
    void check_findings() const {
        for (const char* const option : {"--table", "--service", "--all", "--limit"}) {
            if (app_.count(option) == 0) continue;
            throw CLI::ValidationError(option, "is not for --show findings");
        }
    }

    void check_differences() const {
        const std::vector<std::string>& files = options_.inputs;
        if (files.size() != 2) {
            throw CLI::ValidationError("--show",
                                       "differences are those of two files, the older "
                                       "one first");
        }
        if (files[0] == "-" && files[1] == "-") {
            throw CLI::ValidationError("--show", "the standard input is no two files");
        }
    }

    /// It is of one broadcast, and all of it.
    void check_page() const {
        if (options_.inputs.size() > 1) {
            throw CLI::ValidationError("--format", "html is of one FILE");
        }
        for (const char* const option : {"--table", "--pid", "--service", "--all", "--limit"}) {
            if (app_.count(option) == 0) continue;
            throw CLI::ValidationError(option, "is not for --format html, which has all");
        }
    }

    /// A list of channels cannot do without, and nothing else has a use for it.
    void check_address() {
        const bool is_list = options_.format == output_format::m3u;
        if (!is_list && app_.count("--address") != 0) {
            throw CLI::ValidationError("--address", "is for --format m3u");
        }
        if (is_list && app_.count("--address") == 0) {
            throw CLI::ValidationError("--format", "m3u needs the --address of a service");
        }
        const std::string why = is_list ? why_no_address(options_.address) : "";
        if (!why.empty()) {
            throw CLI::ValidationError("--address", "'" + printable(options_.address) + "' " + why);
        }
    }

    void add_inputs() {
        app_.add_option("FILE", options_.inputs,
                        "Transport streams with packets of 188, 192 or 204 bytes; '-' or none is "
                        "the standard input, udp://ADDRESS:PORT and rtp://ADDRESS:PORT a network")
            ->type_name("");
        app_.add_flag("--sections", options_.sections,
                      "The inputs are bare sections, one behind the other");
        app_.add_flag_callback(
            "--no-crc", [this] { options_.check_crc = false; },
            "Take sections with a wrong CRC_32 as well");
        app_.add_flag("--until-complete", options_.until_complete,
                      "Read until PAT, all PMTs, NIT, SDT and all announced EITs have come");
        app_.add_option("--timeout", timeout_, "Read each input for so many seconds at most")
            ->type_name("SECONDS");
    }

    void add_filters() {
        const std::string group = "What is shown";
        add_choice(
            app_, "--show", options_.show, views, "VIEW",
            "tables (the default), services for what a viewer can tune to, findings for what "
            "is wrong, guide for the programmes day by day, or differences for what has changed "
            "from one file to another")
            ->group(group);
        add_list(app_, "--table", tables_, "Only these tables; all but those behind a '!'")
            ->type_name("TABLE")
            ->transform(CLI::Validator(table_name, ""))
            ->group(group);
        add_list(app_, "--pid", pids_, "Only what comes on these PIDs (decimal or 0x)")
            ->type_name("PID")
            ->group(group);
        add_list(app_, "--service", services_,
                 "Leave out what concerns other services only (service_id, decimal or 0x)")
            ->type_name("ID")
            ->group(group);
        add_list(app_, "--limit-of", limits_,
                 "The limit of a finding, in seconds: pmt_rare=0.4 (the manual names them)")
            ->type_name("NAME=SECONDS")
            ->group(group);
        app_.add_flag("--all", options_.all, "Repeated sections too")->group(group);
        app_.add_option("--limit", limit_, "Stop after so many sections")
            ->type_name("COUNT")
            ->group(group);
    }

    void add_format() {
        const std::string group = "How it is shown";
        add_choice(
            app_, "--format", options_.format, formats, "FORMAT",
            "text for people (the default), json for one object in each line, xmltv for a "
            "programme guide, m3u for a list of channels, html for a page of it all, sections for "
            "their bytes as --sections reads them")
            ->group(group);
        app_.add_option("--output", options_.output,
                        "Write to this file, which is no input and appears when it is whole")
            ->type_name("FILE")
            ->group(group);
        app_.add_option("--address", options_.address,
                        "Where a player finds a service, with {service_id} and {number} in it; "
                        "m3u needs it")
            ->type_name("ADDRESS")
            ->group(group);
        app_.add_option(
                "--utc-offset", utc_offset_,
                "The broadcast's clock is so far ahead of UTC (-03:00 unless given; in xmltv, as "
                "the TOT says)")
            ->type_name("HH:MM")
            ->group(group);
        add_choice(app_, "--color", options_.color, color_choices, "WHEN",
                   "Colours: auto (the default) for a terminal unless NO_COLOR is set")
            ->group(group);
        app_.add_flag("--totals", options_.totals,
                      "The totals go into the output, not to the standard error")
            ->group(group);
    }

    void add_diagnostics() {
        const std::string group = "Diagnostics";
        app_.add_flag("--quiet", options_.quiet,
                      "No totals, refusals, notices and progress bar on the standard error")
            ->group(group);
        app_.add_flag("--strict", options_.strict,
                      "Exit status 1 when anything was refused, dropped or skipped, or with --show "
                      "findings when an error was found")
            ->group(group);
        add_choice(app_, "--log-level", options_.log_level, log_levels, "LEVEL",
                   "Write the library's log, down to this level, to the standard error")
            ->group(group);
        add_list(app_, "--log-category", log_categories_, "Only these categories of the log")
            ->type_name("CATEGORY")
            ->needs("--log-level")
            ->group(group);
    }

    CLI::App app_;
    options options_;
    std::vector<std::string> tables_, pids_, services_, limits_, log_categories_;
    std::string limit_, timeout_, utc_offset_;
};

}  // namespace

parsed_options parse_options(int argc, const char* const* argv) {
    command_line line;
    try {
        return {line.parse(argc, argv), std::nullopt};
    } catch (const CLI::Error& e) {
        return {{}, line.exit(e)};
    }
}

}  // namespace orvix::si_inspect
