#include "writers/json/findings_json.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

void add_moment(json_line& line, std::string_view name, const moment_of_stream& when) {
    line.key(name);
    line.begin_object();
    line.field(when.in_stream ? "packet" : "section", when.number);
    line.decimal("seconds", when.seconds);
    line.iso_time("time_iso", when.time);
    line.end_object();
}

void add(json_line& line, std::string_view name, const std::optional<std::uint16_t>& value) {
    line.key(name);
    value ? line.integer(std::uint64_t{*value}) : line.null();
}

}  // namespace

void write_finding(json_line& line, output& to, const std::string& file, const finding& told,
                   finding_state state) {
    const finding_rule& rule = rule_of(told.kind);
    line.begin_object();
    if (!file.empty()) line("file", text{file});
    line.field("finding", rule.name);
    line.field("severity", to_string(told.how_bad));
    if (state != finding_state::told) {
        line.field("state", std::string_view(state == finding_state::begins ? "begins" : "ends"));
    }
    add(line, "pid", told.about.pid);
    add(line, "service_id", told.about.service_id);
    line.field("count", told.count);
    add_moment(line, "first", told.first);
    add_moment(line, "last", told.last);
    line.decimal("worst", told.worst);
    line.decimal("limit", told.limit);
    line.field("reference", rule.reference);
    line.field("says", std::string_view(told.says()));
    line.end_object();
    line.write(to);
}

}  // namespace orvix::si_inspect
