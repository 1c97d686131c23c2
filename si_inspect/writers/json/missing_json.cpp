#include "writers/json/missing_json.h"

#include <broadcast/names.h>
#include <broadcast/times.h>

#include "writers/json/told_json.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

void add_numbers(json_line& line, std::string_view name, const missing_part& part,
                 const std::vector<std::uint8_t>& numbers) {
    if (part.is_all) return null(line, name);
    line.key(name);
    line.begin_array();
    for (const std::uint8_t number : numbers) line.integer(std::uint64_t{number});
    line.end_array();
}

void add_part(json_line& line, const missing_part& part, std::optional<std::int64_t> clock) {
    line.field("table", names::table_kind(part.table_id));
    line.field("table_id", part.table_id);
    add(line, "service_id", part.service_id);
    add(line, "day", part.day);
    constexpr std::size_t date_size = 10;
    std::string date;
    if (part.day && clock) {
        date = iso_time(date_after(*clock, *part.day), brasilia).view().substr(0, date_size);
    }
    add(line, "date", date);
    add_numbers(line, "segments", part, part.segments);
    add_numbers(line, "sections", part, part.sections);
}

}  // namespace

void add_missing(json_line& line, const std::vector<totals::missing_of_input>& inputs) {
    line.key("missing");
    line.begin_array();
    for (const totals::missing_of_input& input : inputs) {
        for (const missing_part& part : input.missing.parts) {
            line.begin_object();
            if (!input.file.empty()) line("file", text{input.file});
            add_part(line, part, input.missing.clock);
            line.end_object();
        }
    }
    line.end_array();
}

}  // namespace orvix::si_inspect
