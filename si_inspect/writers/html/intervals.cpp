#include <broadcast/findings/wording.h>

#include <algorithm>

#include "writers/html/parts.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

// All plots have the limit at the same place; what is beyond the right edge ends in an arrow.
constexpr double limit_at = 100;
constexpr double width = 160;

double place_of(double seconds, const interval_summary& of) {
    return std::min(limit_at * seconds / of.limit_seconds, width);
}

void write_plot(html& to, const interval_summary& of) {
    const double least = place_of(of.least, of);
    const double greatest = place_of(of.greatest, of);
    // An interval that never varies is to be seen as well.
    constexpr double least_width = 2;
    to << "<svg class='plot' viewBox='0 0 160 16' aria-hidden='true'>"
          "<line x1='0' y1='8' x2='160' y2='8' class='axis'/>"
          "<rect x='"_html
       << fixed(std::min(least, width - least_width), 1) << "' y='5' height='6' width='"_html
       << fixed(std::max(greatest - least, least_width), 1) << "'/><circle cy='8' r='4' cx='"_html
       << fixed(place_of(of.mean(), of), 1)
       << "'/><line x1='100' y1='0' x2='100' y2='16' class='limit'/>"_html;
    const bool is_beyond = limit_at * of.greatest / of.limit_seconds > width;
    if (is_beyond) to << "<path d='M152 2l8 6l-8 6z' class='beyond'/>"_html;
    to << "</svg>"_html;
}

void write_interval(html& to, const interval_summary& of, const told_services& all) {
    to << "<tr"_html << (of.late != 0 ? " class='over'"_html : ""_html) << "><th scope='row'>"_html
       << table_name(of);
    if (of.service_id) {
        to << " <span class='quiet'>"_html;
        write_service(to, all, *of.service_id);
        to << "</span>"_html;
    }
    to << "</th><td class='minor'>"_html << id_text(of.pid) << "</td><td class='figure minor'>"_html
       << of.count << "</td><td class='figure minor'>"_html << wording::span_of_time(of.least)
       << "</td><td class='figure minor'>"_html << wording::span_of_time(of.mean())
       << "</td><td class='figure longest'>"_html << wording::span_of_time(of.greatest);
    if (of.late != 0) to << "<span class='unseen'>, over the limit</span>"_html;
    to << "</td><td class='figure'>"_html << wording::span_of_time(of.limit_seconds)
       << "</td><td>"_html;
    write_plot(to, of);
    to << "</td></tr>\n"_html;
}

}  // namespace

void write_intervals(html& to, const page& all) {
    to << "<section id='intervals' aria-labelledby='intervals-title'>\n"
          "<h2 id='intervals-title'>Intervals of tables</h2>\n"_html;
    if (all.intervals.empty()) {
        to << "<p>No section came twice while the stream had a clock.</p>\n</section>\n"_html;
        return;
    }
    to << R"(<p class='quiet'>How long a section took to come again, by the PCRs. In the plots a bar
reaches from the shortest to the longest interval, a dot is the mean, the line across is the
limit.</p>
<div class='scroll' role='group' tabindex='0' aria-labelledby='intervals-title'>
<table>
<thead><tr><th scope='col'>Table</th>
<th scope='col' class='minor'>PID</th>
<th scope='col' class='figure minor'>Intervals</th>
<th scope='col' class='figure minor'>Shortest</th>
<th scope='col' class='figure minor'>Mean</th>
<th scope='col' class='figure'>Longest</th>
<th scope='col' class='figure'>Limit</th>
<th scope='col'><span class='unseen'>As a plot</span></th></tr></thead>
<tbody>
)"_html;
    for (const interval_summary& of : all.intervals) write_interval(to, of, all.services);
    to << "</tbody>\n</table>\n</div>\n</section>\n"_html;
}

}  // namespace orvix::si_inspect
