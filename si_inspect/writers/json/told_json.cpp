#include "writers/json/told_json.h"

#include <broadcast/names.h>

namespace orvix::si_inspect {

using namespace broadcast;

void add_start(json_line& line, std::time_t start_time) {
    if (start_time != undefined_time) return line("start_time", moment{start_time});
    null(line, "start_time");
    null(line, "start_time_iso");
    null(line, "start_time_unix");
}

void add_duration(json_line& line, std::time_t duration) {
    const bool has_duration = duration != undefined_duration;
    has_duration ? line("duration", plain(duration)) : null(line, "duration");
}

void add_rating(json_line& line, const std::optional<event_on_air::parental_rating>& told) {
    if (!told) {
        null(line, "rating");
        return null(line, "rating_name");
    }
    line("rating", plain(told->rating, [&](std::uint8_t rating) {
             return names::rating(told->country_code, rating);
         }));
}

void add_genres(json_line& line, const std::vector<std::uint8_t>& content_nibbles) {
    if (content_nibbles.empty()) return null(line, "genres");
    add_list(line, "genres", content_nibbles, [](json_line& to, std::uint8_t content_nibble) {
        to("content_nibble", plain(content_nibble, names::genre));
    });
}

}  // namespace orvix::si_inspect
