#include "writers/json/guide_json.h"

#include "writers/json/told_json.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

void add_programme(json_line& line, const channel& c, const programme& p) {
    line("original_network_id", plain(c.original_network_id));
    line("service_id", plain(c.service_id));
    add(line, "number", c.number);
    add(line, "name", c.name);
    line("event_id", plain(p.event_id));
    add_start(line, p.start);
    add_duration(line, p.duration);
    add(line, "language", p.language);
    add(line, "event_name", p.name);
    add(line, "text", p.text);
    add(line, "extended_text", p.extended);
    std::optional<event_on_air::parental_rating> rating;
    if (p.rating) rating = {brazil, *p.rating};
    add_rating(line, rating);
    add_genres(line, p.content_nibbles);
}

}  // namespace

void write_guide(json_line& line, output& to, const guide_contents& all) {
    for (const channel& c : all.channels) {
        for (const programme& p : c.programmes) {
            line.begin_object();
            add_programme(line, c, p);
            line.end_object();
            line.write(to);
        }
    }
}

}  // namespace orvix::si_inspect
