#include "writers/text/findings_text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "display.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

constexpr std::string_view red = "\033[1;31m";
constexpr std::string_view yellow = "\033[33m";
constexpr std::string_view cyan = "\033[36m";
constexpr std::string_view no_color = "\033[0m";

constexpr std::size_t severity_width = std::string_view("warning").size();

std::string_view color_of(severity how_bad) {
    switch (how_bad) {
        case severity::error:
            return red;
        case severity::warning:
            return yellow;
        case severity::note:
            return cyan;
    }
    return "";
}

std::string severity_text(severity how_bad, bool color) {
    const std::string word = padded(std::string(to_string(how_bad)), severity_width);
    return color ? std::string(color_of(how_bad)) + word + std::string(no_color) : word;
}

/// "1.400 s, packet 3021, 2026-11-21 20:30:00"
std::string moment_text(const moment_of_stream& when, const text_writer::settings& how) {
    std::string text;
    if (when.seconds) {
        std::array<char, 48> seconds;
        std::snprintf(seconds.data(), seconds.size(), "%.3f s, ", *when.seconds);
        text = seconds.data();
    }
    text.append(when.in_stream ? "packet " : "section ").append(std::to_string(when.number));
    if (!when.time) return text;
    constexpr std::size_t date_size = 10;
    constexpr std::size_t time_size = 8;
    const short_text iso = iso_time(*when.time, how.offset);
    text.append(", ").append(iso.view().substr(0, date_size));
    return text.append(" ").append(iso.view().substr(date_size + 1, time_size));
}

std::string count_text(const std::vector<finding>& all, severity how_bad) {
    const auto count = std::count_if(all.begin(), all.end(),
                                     [how_bad](const finding& f) { return f.how_bad == how_bad; });
    std::string text = std::to_string(count) + ' ' + std::string(to_string(how_bad));
    return count == 1 ? text : text + 's';
}

std::string finding_text(const finding& f, const text_writer::settings& how) {
    const finding_rule& rule = rule_of(f.kind);
    std::string text = severity_text(f.how_bad, how.color) + "  " + printable(f.says()) + '\n';
    text.append(severity_width + 2, ' ').append(rule.name).append("; ").append(rule.reference);
    const bool is_once = f.first.number == f.last.number;
    text.append(is_once ? "; " : "; first ").append(moment_text(f.first, how));
    if (!is_once) text.append("; last ").append(moment_text(f.last, how));
    return text + '\n';
}

}  // namespace

std::string findings_text(const std::string& file, const std::vector<finding>& all,
                          const text_writer::settings& how) {
    std::string text;
    if (!file.empty()) text = printable(file) + ": ";
    if (all.empty()) return text + "nothing found\n";
    text += count_text(all, severity::error) + ", " + count_text(all, severity::warning) + ", " +
            count_text(all, severity::note) + '\n';
    for (const finding& f : all) text += '\n' + finding_text(f, how);
    return text;
}

std::string finding_change_text(const std::string& file, const finding& changed,
                                const text_writer::settings& how) {
    std::string text;
    if (!file.empty()) text = printable(file) + ": ";
    text += severity_text(changed.how_bad, how.color);
    text.append(changed.in_force ? "  begins  " : "  ended   ").append(printable(changed.says()));
    text.append(" (").append(rule_of(changed.kind).name).append("; ");
    return text.append(moment_text(changed.last, how)).append(")\n");
}

}  // namespace orvix::si_inspect
