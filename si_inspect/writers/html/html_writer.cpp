#include "writers/html/html_writer.h"

#include <string>

#include "writers/calendar.h"
#include "writers/html/html.h"
#include "writers/html/parts.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

std::string name_of(const told_services& all) {
    if (!all.ts_name.empty()) return all.ts_name;
    if (!all.network_name.empty()) return all.network_name;
    if (all.transport_stream_id) return "Transport stream " + id_text(*all.transport_stream_id);
    return "Broadcast without a name";
}

void write_head(html& to, const std::string& name) {
    to << R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="generator" content="si_inspect">
<title>)"_html
       << name << " – services, guide and findings</title>\n<style>\n"_html << html_style()
       << "</style>\n</head>\n"_html;
}

void write_id(html& to, markup name, const std::string& words,
              const std::optional<std::uint16_t>& id) {
    to << "<div><dt>"_html << name << "</dt><dd>"_html;
    if (!words.empty()) to << "<span lang='pt'>"_html << words << "</span> "_html;
    if (id) {
        to << "<span class='quiet'>"_html << id_text(*id) << "</span>"_html;
    } else if (words.empty()) {
        to << "<span class='quiet'>not told</span>"_html;
    }
    to << "</dd></div>\n"_html;
}

void write_time(html& to, std::int64_t clock, utc_offset offset) {
    to << "<time datetime='"_html << iso_of(clock, offset) << "'>"_html << date_and_time_of(clock)
       << "</time>"_html;
}

/// Its date is told where it is another one.
void write_end(html& to, const air_time::span& on_air, utc_offset offset) {
    if (day_of(on_air.begin) != day_of(on_air.end)) return write_time(to, on_air.end, offset);
    to << "<time datetime='"_html << iso_of(on_air.end, offset) << "'>"_html << time_of(on_air.end)
       << "</time>"_html;
}

void write_on_air(html& to, const page& all, utc_offset offset) {
    to << "<div class='wide'><dt>On air</dt><dd>"_html;
    if (all.on_air) {
        write_time(to, all.on_air->begin, offset);
        to << " to ";
        write_end(to, *all.on_air, offset);
        to << " <span class='quiet'>UTC"_html << iso_offset(offset) << "</span>"_html;
    } else {
        to << "<span class='quiet'>not told</span>"_html;
    }
    to << "</dd></div>\n"_html;
}

void write_measure(html& to, markup name, const std::string& value) {
    to << "<div><dt>"_html << name << "</dt><dd>"_html << value << "</dd></div>\n"_html;
}

std::string duration_text(double seconds) {
    constexpr double hour = 3600;
    return seconds < hour ? fixed(seconds, 1) + " s"
                          : std::string(clock_duration(static_cast<std::time_t>(seconds)));
}

void write_summary(html& to, const page& all, utc_offset offset) {
    const told_services& told = all.services;
    to << "<header>\n<p class='above'>ISDB-Tb broadcast</p>\n<h1 lang='pt'>"_html << name_of(told)
       << "</h1>\n<dl class='facts'>\n"_html;
    write_id(to, "Network"_html, told.network_name, told.network_id);
    write_id(to, "Transport stream"_html, told.ts_name, told.transport_stream_id);
    write_id(to, "Original network"_html, {}, told.original_network_id);
    write_on_air(to, all, offset);
    to << "</dl>\n"_html;
    if (!all.is_stream) {
        to << "<p class='remark'>Bare sections: there are no packets and no time.</p>\n"_html;
    } else {
        to << "<dl class='measures'>\n"_html;
        write_measure(to, "Duration"_html, all.seconds ? duration_text(*all.seconds) : "unknown");
        write_measure(to, "Bit rate"_html,
                      all.seconds ? bit_rate_text(bits_per_second(all.shares.packets, *all.seconds))
                                  : "unknown");
        write_measure(to, "Packets"_html, std::to_string(all.shares.packets));
        write_measure(to, "PIDs"_html, std::to_string(all.shares.pids.size()));
        write_measure(to, "Services"_html, std::to_string(told.services.size()));
        write_measure(to, "Findings"_html, std::to_string(all.findings.size()));
        to << "</dl>\n"_html;
    }
    to << "</header>\n"_html;
}

void write_navigation(html& to, const page& all) {
    to << R"(<nav aria-label='Parts of this page'><ul>
<li><a href='#findings'>Findings</a></li>
<li><a href='#services'>Services</a></li>
<li><a href='#guide'>Guide</a></li>
)"_html;
    if (all.is_stream) {
        to << "<li><a href='#bit-rate'>Bit rate</a></li>\n"
              "<li><a href='#intervals'>Intervals</a></li>\n"_html;
    }
    to << "<li><a href='#tables'>Tables</a></li>\n</ul></nav>\n"_html;
}

}  // namespace

void html_writer::everything(const page& all) {
    html to(to_);
    write_head(to, name_of(all.services));
    to << "<body>\n"_html;
    write_summary(to, all, offset_);
    write_navigation(to, all);
    to << "<main>\n"_html;
    write_findings(to, all);
    write_services(to, all, offset_);
    write_guide(to, all, offset_);
    if (all.is_stream) {
        write_bit_rates(to, all);
        write_intervals(to, all);
    }
    write_tables(to, all);
    to << "</main>\n<footer>Written by si_inspect: what a receiver makes of this "
          "broadcast.</footer>\n"
          "</body>\n</html>\n"_html;
    to.flush();
}

}  // namespace orvix::si_inspect
