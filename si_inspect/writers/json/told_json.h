#pragma once

#include <broadcast/services.h>
#include <broadcast/times.h>

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "writers/json/json_line.h"

// Fields of what the tables add up to: what the broadcast does not say is null.
namespace orvix::si_inspect {

inline void null(json_line& line, std::string_view name) {
    line.key(name);
    line.null();
}

template <typename Value>
void add(json_line& line, std::string_view name, const std::optional<Value>& value) {
    value ? line(name, plain(*value)) : null(line, name);
}

inline void add(json_line& line, std::string_view name, const std::string& words) {
    words.empty() ? null(line, name) : line(name, text{words});
}

template <typename Entries, typename AddFields>
void add_list(json_line& line, std::string_view name, const Entries& entries,
              AddFields add_fields) {
    line.key(name);
    line.begin_array();
    for (const auto& entry : entries) {
        line.begin_object();
        add_fields(line, entry);
        line.end_object();
    }
    line.end_array();
}

/// "start_time" and its kin.
void add_start(json_line& line, std::time_t start_time);
/// "duration".
void add_duration(json_line& line, std::time_t duration);
/// "rating" and what it means.
void add_rating(json_line& line,
                const std::optional<broadcast::event_on_air::parental_rating>& told);
/// "genres".
void add_genres(json_line& line, const std::vector<std::uint8_t>& content_nibbles);

}  // namespace orvix::si_inspect
