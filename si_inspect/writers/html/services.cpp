#include <broadcast/names.h>

#include "writers/calendar.h"
#include "writers/hex.h"
#include "writers/html/parts.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

constexpr markup untold = "<span class='quiet'>not told</span>"_html;

void write_fact(html& to, markup name, const std::optional<std::uint16_t>& value) {
    to << "<div><dt>"_html << name << "</dt><dd>"_html;
    value ? to << id_text(*value) : to << untold;
    to << "</dd></div>\n"_html;
}

void write_facts(html& to, const told_service& service) {
    to << "<dl class='facts'>\n"_html;
    write_fact(to, "service_id"_html, service.service_id);
    to << "<div><dt>Type</dt><dd>"_html;
    if (service.service_type) {
        to << names::service_type(*service.service_type) << " ("
           << hex_number(*service.service_type, 2) << ")";
    } else {
        to << untold;
    }
    to << "</dd></div>\n"_html;
    write_fact(to, "PMT PID"_html, service.program_map_pid);
    constexpr std::uint16_t no_pcr = 0x1FFF;
    if (service.pcr_pid == no_pcr) {
        to << "<div><dt>PCR PID</dt><dd>none</dd></div>\n"_html;
    } else {
        write_fact(to, "PCR PID"_html, service.pcr_pid);
    }
    to << "</dl>\n"_html;
}

void write_event(html& to, markup when, const std::optional<event_on_air>& event,
                 utc_offset offset) {
    to << "<div class='event'><dt>"_html << when << "</dt><dd>"_html;
    if (!event) {
        to << untold << "</dd></div>\n"_html;
        return;
    }
    to << "<strong lang='pt'>"_html << event->name << "</strong>\n<span class='quiet'>"_html;
    if (event->start_time == undefined_time) {
        to << "no start time";
    } else {
        const std::int64_t start = as_sent(event->start_time);
        to << "<time datetime='"_html << iso_time(start, offset) << "'>"_html
           << date_of(day_of(start)) << " " << hour_of(start) << "</time>"_html;
    }
    to << ", ";
    if (event->duration == undefined_duration) {
        to << "no duration";
    } else {
        to << clock_duration(event->duration);
    }
    to << "</span>\n"_html;
    if (event->rating && event->rating->country_code == brazil) {
        to << "<span class='kind'>"_html;
        write_rating(to, event->rating->rating);
        to << "</span>\n"_html;
    } else if (event->rating) {
        to << "<span class='kind'>"_html << event->rating->country_code << ": "
           << names::rating(event->rating->country_code, event->rating->rating) << "</span>\n"_html;
    }
    to << "<span class='kind'>"_html << genres_text(event->content_nibbles)
       << "</span></dd></div>\n"_html;
}

void write_streams(html& to, const told_service& service) {
    to << "<h4>Streams</h4>\n"_html;
    if (!service.streams) {
        to << "<p>"_html << untold << "</p>\n"_html;
        return;
    }
    if (service.streams->empty()) {
        to << "<p>None</p>\n"_html;
        return;
    }
    to << "<table>\n<thead><tr><th scope='col'>PID</th><th scope='col'>What it is</th>"
          "<th scope='col'>Tag</th></tr></thead>\n<tbody>\n"_html;
    for (const service_stream& stream : *service.streams) {
        to << "<tr><th scope='row'>"_html << id_text(stream.elementary_pid) << "</th><td>"_html
           << in_words(stream) << "</td><td>"_html
           << (stream.component_tag ? hex_number(*stream.component_tag, 2) : "none")
           << "</td></tr>\n"_html;
    }
    to << "</tbody>\n</table>\n"_html;
}

void write_applications(html& to, const told_service& service) {
    if (!service.applications) return;
    to << "<h4>Applications</h4>\n"_html;
    if (service.applications->empty()) {
        to << "<p>None</p>\n"_html;
        return;
    }
    to << "<ul class='applications'>\n"_html;
    for (const service_application& a : *service.applications) {
        to << "<li><strong lang='pt'>"_html << a.name << "</strong> "_html
           << names::application_type(a.application_type) << ", "
           << names::application_control_code(a.application_control_code)
           << " <span class='quiet'>organisation "_html << hex_number(a.organisation_id, 8)
           << ", application " << hex_number(a.application_id, 4) << "</span></li>\n"_html;
    }
    to << "</ul>\n"_html;
}

void write_card(html& to, const told_service& service, utc_offset offset) {
    to << "<article class='card' id='service-"_html << service.service_id << "'>\n<h3>"_html;
    if (!service.number.empty()) {
        to << "<span class='number'>"_html << service.number << "</span> "_html;
    }
    if (service.name.empty()) {
        to << "<span class='quiet'>Service without a name</span>"_html;
    } else {
        to << "<span lang='pt'>"_html << service.name << "</span>"_html;
    }
    to << "</h3>\n<dl class='events'>\n"_html;
    write_event(to, "Now"_html, service.present, offset);
    write_event(to, "Next"_html, service.following, offset);
    to << "</dl>\n"_html;
    write_facts(to, service);
    write_streams(to, service);
    write_applications(to, service);
    to << "</article>\n"_html;
}

}  // namespace

void write_services(html& to, const page& all, utc_offset offset) {
    to << "<section id='services' aria-labelledby='services-title'>\n"
          "<h2 id='services-title'>Services</h2>\n"_html;
    if (all.services.services.empty()) {
        to << "<p>No services.</p>\n</section>\n"_html;
        return;
    }
    to << "<div class='cards'>\n"_html;
    for (const told_service& service : all.services.services) write_card(to, service, offset);
    to << "</div>\n</section>\n"_html;
}

}  // namespace orvix::si_inspect
