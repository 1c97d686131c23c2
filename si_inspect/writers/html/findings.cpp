#include <algorithm>

#include "writers/calendar.h"
#include "writers/html/parts.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

markup class_of(severity how_bad) {
    switch (how_bad) {
        case severity::error:
            return "error"_html;
        case severity::warning:
            return "warning"_html;
        case severity::note:
            break;
    }
    return "note"_html;
}

/// "1.400 s, packet 3021, 2026-11-21 20:30:00"
std::string moment_text(const moment_of_stream& when) {
    std::string text;
    if (when.seconds) text = fixed(*when.seconds, 3) + " s, ";
    text.append(when.in_stream ? "packet " : "section ").append(std::to_string(when.number));
    if (when.time) text.append(", ").append(date_and_time_of(*when.time));
    return text;
}

void write_count(html& to, const std::vector<finding>& all, severity how_bad) {
    const auto count = std::count_if(all.begin(), all.end(),
                                     [how_bad](const finding& f) { return f.how_bad == how_bad; });
    if (count == 0) return;
    to << "<li class='severity "_html << class_of(how_bad) << "'>"_html << count << " "
       << to_string(how_bad) << (count == 1 ? "" : "s") << "</li>\n"_html;
}

void write_finding(html& to, const finding& f) {
    const finding_rule& rule = rule_of(f.kind);
    to << "<li class='finding "_html << class_of(f.how_bad)
       << "'>\n<p><strong class='severity "_html << class_of(f.how_bad) << "'>"_html
       << to_string(f.how_bad) << "</strong> "_html << f.says() << "</p>\n"_html;
    to << "<ul class='place'>\n<li><code>"_html << rule.name << "</code></li>\n<li>"_html
       << rule.reference << "</li>\n"_html;
    const bool is_once = f.first.number == f.last.number;
    to << "<li>"_html << (is_once ? "" : "first ") << moment_text(f.first) << "</li>\n"_html;
    if (!is_once) to << "<li>last "_html << moment_text(f.last) << "</li>\n"_html;
    to << "</ul>\n</li>\n"_html;
}

}  // namespace

void write_findings(html& to, const page& all) {
    to << "<section id='findings' aria-labelledby='findings-title'>\n"
          "<h2 id='findings-title'>Findings</h2>\n"_html;
    if (all.is_stream && !all.seconds) {
        to << "<p class='remark'>There are no PCRs: what takes a clock to be found is left "
              "out.</p>\n"_html;
    }
    if (all.findings.empty()) {
        to << "<p>Nothing found.</p>\n</section>\n"_html;
        return;
    }
    to << "<ul class='counts'>\n"_html;
    for (const severity how_bad : {severity::error, severity::warning, severity::note}) {
        write_count(to, all.findings, how_bad);
    }
    to << "</ul>\n<ol class='findings'>\n"_html;
    for (const finding& f : all.findings) write_finding(to, f);
    to << "</ol>\n</section>\n"_html;
}

}  // namespace orvix::si_inspect
