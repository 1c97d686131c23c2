#include <algorithm>
#include <map>
#include <vector>

#include "writers/calendar.h"
#include "writers/html/parts.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

constexpr std::int64_t seconds_per_hour = 3600;
constexpr std::int64_t seconds_per_minute = 60;

// What begins before midnight is shown on its day up to this hour of the next one.
constexpr std::int64_t last_hour = 30;

// A programme of unknown length is as wide as this.
constexpr std::int64_t width_without_end = 30 * seconds_per_minute;

/// The programmes of a service that begin on one day.
struct row {
    const channel* of = nullptr;
    std::vector<const programme*> programmes;
};
using days = std::map<std::int64_t, std::vector<row>>;

days days_of(const guide_contents& all) {
    days by_day;
    for (const channel& c : all.channels) {
        for (const programme& p : c.programmes) {
            std::vector<row>& rows = by_day[day_of(p.start)];
            if (rows.empty() || rows.back().of != &c) rows.push_back({&c, {}});
            rows.back().programmes.push_back(&p);
        }
    }
    return by_day;
}

/// From where to where a day is drawn, in whole hours.
struct stretch {
    std::int64_t begin = 0;
    std::int64_t end = 0;

    std::int64_t hours() const { return (end - begin) / seconds_per_hour; }
    std::int64_t minute_of(std::int64_t clock) const {
        return (clock - begin) / seconds_per_minute;
    }
};

std::int64_t end_in_grid(const programme& p) {
    const std::int64_t end = p.start + (p.has_end() ? p.duration : width_without_end);
    return std::min(end, day_of(p.start) * seconds_per_day + last_hour * seconds_per_hour);
}

std::int64_t hour_before(std::int64_t clock, std::int64_t midnight) {
    return clock - (clock - midnight) % seconds_per_hour;
}

stretch stretch_of(std::int64_t day, const std::vector<row>& rows) {
    const std::int64_t midnight = day * seconds_per_day;
    stretch shown = {midnight + seconds_per_day, midnight};
    for (const row& r : rows) {
        for (const programme* const p : r.programmes) {
            const std::int64_t last_second = end_in_grid(*p) - 1;
            shown.begin = std::min(shown.begin, hour_before(p->start, midnight));
            shown.end = std::max(shown.end, hour_before(last_second, midnight) + seconds_per_hour);
        }
    }
    return shown;
}

markup language_of(const programme& p) {
    if (p.language == "eng") return "en"_html;
    if (p.language == "spa") return "es"_html;
    return "pt"_html;
}

void write_heading(html& to, const programme& p, utc_offset offset) {
    to << "<summary><time datetime='"_html << iso_time(p.start, offset) << "'>"_html
       << hour_of(p.start);
    if (p.has_end()) to << "–" << hour_of(p.end());
    to << "</time>\n<span class='title' lang='"_html << language_of(p) << "'>"_html << p.name
       << "</span>\n<span class='kind'>"_html;
    if (p.rating) write_rating(to, *p.rating);
    to << "</span>\n<span class='genre'>"_html << genres_text(p.content_nibbles)
       << "</span></summary>\n"_html;
}

void write_description(html& to, const programme& p) {
    to << "<div class='more'>"_html;
    if (p.text.empty() && p.extended.empty()) {
        to << "<p class='quiet'>No description.</p>"_html;
    }
    for (const std::string* const words : {&p.text, &p.extended}) {
        if (words->empty()) continue;
        to << "<p lang='"_html << language_of(p) << "'>"_html;
        to.lines(*words);
        to << "</p>"_html;
    }
    to << "</div>"_html;
}

void write_programme(html& to, const programme& p, const stretch& shown, utc_offset offset) {
    const std::int64_t minutes = (end_in_grid(p) - p.start) / seconds_per_minute;
    to << "<li"_html << (p.has_end() ? ""_html : " class='endless'"_html) << " style='--at:"_html
       << shown.minute_of(p.start) << ";--for:"_html << minutes << "'><details>"_html;
    write_heading(to, p, offset);
    write_description(to, p);
    to << "</details></li>\n"_html;
}

void write_row(html& to, const row& r, const stretch& shown, utc_offset offset) {
    to << "<div class='row'><h4>"_html;
    if (!r.of->number.empty()) {
        to << "<span class='number'>"_html << r.of->number << "</span> "_html;
    }
    if (r.of->name.empty()) {
        to << "service " << id_text(r.of->service_id);
    } else {
        to << "<span lang='pt'>"_html << r.of->name << "</span>"_html;
    }
    to << "</h4>\n<ol>\n"_html;
    for (const programme* const p : r.programmes) write_programme(to, *p, shown, offset);
    to << "</ol></div>\n"_html;
}

void write_hours(html& to, const stretch& shown) {
    to << "<div class='hours' aria-hidden='true'>"_html;
    for (std::int64_t hour = 0; hour < shown.hours(); ++hour) {
        to << "<span>"_html << hour_of(shown.begin + hour * seconds_per_hour) << "</span>"_html;
    }
    to << "</div>\n"_html;
}

void write_day(html& to, std::int64_t day, const std::vector<row>& rows, utc_offset offset) {
    const stretch shown = stretch_of(day, rows);
    const std::string date = date_of(day);
    to << "<h3 id='day-"_html << date << "'>"_html << weekday_of(day) << " "
       << "<span class='quiet'>"_html << date << "</span></h3>\n"_html
       << "<div class='scroll day' role='group' tabindex='0' aria-label='Programmes of "_html
       << date << "'><div class='timeline' style='--hours:"_html << shown.hours() << "'>\n"_html;
    write_hours(to, shown);
    for (const row& r : rows) write_row(to, r, shown, offset);
    to << "</div></div>\n"_html;
}

void write_left_out(html& to, std::uint64_t count, markup what) {
    if (count != 0) to << "<li>"_html << what << ": " << count << "</li>\n"_html;
}

void write_remarks(html& to, const guide_contents& all) {
    const bool has_any = all.untimed_events != 0 || all.unnamed_events != 0 ||
                         all.covered_events != 0 || all.services_untold != 0 || all.overlaps != 0 ||
                         all.forgotten != 0;
    if (!has_any) return;
    to << "<ul class='remark'>\n"_html;
    write_left_out(to, all.untimed_events, "Left out, events with undefined start times"_html);
    write_left_out(to, all.unnamed_events, "Left out, events without a name"_html);
    write_left_out(to, all.covered_events, "Left out, programmes at the same time as another"_html);
    write_left_out(to, all.services_untold, "Left out, services without events"_html);
    write_left_out(to, all.forgotten, "Left out, programmes of long before"_html);
    write_left_out(to, all.overlaps, "Programmes that begin before one before them ends"_html);
    to << "</ul>\n"_html;
}

void write_missing(html& to, const std::vector<std::string>& missing) {
    if (missing.empty()) return;
    to << "<details class='table'><summary>Not complete <span class='quiet'>what was announced and "
          "has not come</span></summary>\n<ul class='missing'>\n"_html;
    for (const std::string& words : missing) to << "<li>"_html << words << "</li>\n"_html;
    to << "</ul></details>\n"_html;
}

}  // namespace

void write_guide(html& to, const page& all, utc_offset offset) {
    to << "<section id='guide' aria-labelledby='guide-title'>\n"
          "<h2 id='guide-title'>Programme guide</h2>\n"_html;
    const days by_day = days_of(all.guide);
    if (by_day.empty()) {
        to << "<p>No programmes.</p>\n"_html;
    } else {
        to << "<p class='quiet'>By the broadcast’s clock, UTC"_html << iso_offset(offset)
           << ". A programme opens to what is said of it.</p>\n"_html;
    }
    write_missing(to, all.missing);
    if (by_day.size() > 1) {
        to << "<nav aria-label='Days'><ul>\n"_html;
        for (const auto& [day, rows] : by_day) {
            to << "<li><a href='#day-"_html << date_of(day) << "'>"_html
               << weekday_of(day).substr(0, 3) << " " << date_of(day) << "</a></li>\n"_html;
        }
        to << "</ul></nav>\n"_html;
    }
    for (const auto& [day, rows] : by_day) write_day(to, day, rows, offset);
    write_remarks(to, all.guide);
    to << "</section>\n"_html;
}

}  // namespace orvix::si_inspect
