#include "writers/json/json_writer.h"

#include <broadcast/readings/readings.h>
#include <broadcast/readings/refused_reading.h>
#include <broadcast/refusal_outcome.h>

#include "writers/json/findings_json.h"
#include "writers/json/guide_json.h"
#include "writers/json/json_line.h"
#include "writers/json/missing_json.h"
#include "writers/json/services_json.h"
#include "writers/json/told_json.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

/// Where the section was found, and of which table it is.
void begin_section(json_line& line, const place& where, std::uint32_t table_id) {
    line.begin_object();
    if (!where.file.empty()) line.field("file", std::string_view(where.file));
    line.field(where.pid ? "packet" : "section", where.number);
    if (where.pid) line.field("pid", *where.pid);
    if (where.crc_error) line("crc_error", true);
    line.word("table", names::table_kind(table_id));
}

/// Bare sections have no PID.
std::string pid_key(std::uint16_t pid) {
    return pid == totals::no_pid ? "none" : std::to_string(pid);
}

template <typename Reason>
void add_by_pid(json_line& line, std::string_view name,
                const std::map<std::uint16_t, std::map<Reason, std::uint64_t>>& counts) {
    line.key(name);
    line.begin_object();
    for (const auto& [pid, reasons] : counts) {
        line.key(pid_key(pid));
        line.begin_object();
        for (const auto& [reason, count] : reasons) line.field(to_string(reason), count);
        line.end_object();
    }
    line.end_object();
}

void add_tables(json_line& line, const std::map<std::string_view, totals::table_counts>& tables) {
    line.key("tables");
    line.begin_object();
    for (const auto& [table, count] : tables) {
        line.key(table);
        line.begin_object();
        line.field("sections", count.sections);
        line.field("shown", count.shown);
        line.end_object();
    }
    line.end_object();
}

void add_by_pid(json_line& line, std::string_view name,
                const std::map<std::uint16_t, std::uint64_t>& counts) {
    line.key(name);
    line.begin_object();
    for (const auto& [pid, count] : counts) line.field(pid_key(pid), count);
    line.end_object();
}

void add_not_decoded(json_line& line, const totals& counts) {
    line.key("not_decoded");
    line.begin_object();
    for (const auto& [pid, tables] : counts.not_decoded) {
        line.key(pid_key(pid));
        line.begin_object();
        for (const auto& [table_id, count] : tables) {
            line.key(std::to_string(table_id));
            line.begin_object();
            line.field("name", names::table_id(table_id));
            line.field("sections", count);
            line.end_object();
        }
        line.end_object();
    }
    line.end_object();
}

void add_left_out(json_line& line, const totals& counts) {
    line.key("left_out");
    line.begin_object();
    for (const auto& [what, count] : counts.left_out) line.field(what, count);
    line.end_object();
}

void add_network(json_line& line, const inputs::network_counts& network) {
    line.key("network");
    line.begin_object();
    line.field("datagrams", network.datagrams);
    line.field("malformed", network.malformed);
    line.field("overflowed", network.overflowed);
    line.field("rtp_packets", network.rtp.packets);
    line.field("rtp_lost", network.rtp.lost);
    line.field("rtp_reordered", network.rtp.reordered);
    line.field("rtp_late", network.rtp.late);
    line.field("rtp_duplicates", network.rtp.duplicates);
    line.field("rtp_restarts", network.rtp.restarts);
    line.end_object();
}

}  // namespace

json_writer::json_writer(output& to, utc_offset offset)
    : to_(to), line_(std::make_unique<json_line>(offset)) {}

json_writer::~json_writer() = default;

void json_writer::table(const sighting& seen) {
    const readings found = read_broadcast(seen.bytes, seen.size, *seen.table);
    line_->begin_readings(found);
    std::visit(
        [&](const auto* decoded) {
            begin_section(*line_, seen.where, decoded->table_id);
            visit_fields(*decoded, *line_);
        },
        *seen.table);
    if (!found.differences.empty()) line_->differences(found);
    line_->end_object();
    line_->write(to_);
}

void json_writer::refused(const place& where, const refusal& what) {
    begin_section(*line_, where, what.section[0]);
    line_->field("table_id", what.section[0]);
    line_->key("refused");
    line_->begin_object();
    line_->field("reason", std::string_view(to_string(what.why.why)));
    line_->field("byte", what.why.byte);
    line_->field("sentence", std::string_view(what.why.text()));
    line_->field("receiver", refusal_outcome(what.why));
    if (is_well_formed(what)) (*line_)("well_formed", true);
    line_->end_object();
    line_->key("bytes");
    line_->hex({reinterpret_cast<const char*>(what.section), what.size});
    line_->end_object();
    line_->write(to_);
}

void json_writer::services(const std::string& file, const told_services& all) {
    write_services(*line_, to_, file, all);
}

void json_writer::findings(const std::string& file, const std::vector<finding>& all) {
    for (const finding& f : all) write_finding(*line_, to_, file, f, finding_state::told);
}

void json_writer::finding_changed(const std::string& file, const finding& changed) {
    const finding_state state = changed.in_force ? finding_state::begins : finding_state::ends;
    write_finding(*line_, to_, file, changed, state);
}

void json_writer::differences(const changes& all) {
    for (const change& c : all) {
        line_->begin_object();
        line_->field("change", c.kind);
        add(*line_, "service_id", c.service_id);
        add(*line_, "event_id", c.event_id);
        (*line_)("old", c.before);
        (*line_)("new", c.after);
        line_->field("sentence", std::string_view(c.sentence));
        line_->end_object();
        line_->write(to_);
    }
}

void json_writer::guide(const guide_contents& all) { write_guide(*line_, to_, all); }

void json_writer::finish(const totals* counts) {
    if (counts == nullptr) return;
    line_->begin_object();
    line_->key("totals");
    line_->begin_object();
    line_->field("packets", counts->packets);
    line_->field("pids", counts->pids.count());
    add_tables(*line_, counts->tables);
    add_not_decoded(*line_, *counts);
    line_->field("passed_over", counts->passed_over);
    add_by_pid(*line_, "transport_errors", counts->transport_errors);
    add_by_pid(*line_, "continuity_errors", counts->continuity_errors);
    add_by_pid(*line_, "refused", counts->refused);
    add_by_pid(*line_, "dropped", counts->dropped);
    line_->field("skipped_bytes", counts->skipped_bytes);
    line_->field("sync_losses", counts->sync_losses);
    add_left_out(*line_, *counts);
    if (counts->network) add_network(*line_, *counts->network);
    if (counts->missing) add_missing(*line_, *counts->missing);
    line_->end_object();
    line_->end_object();
    line_->write(to_);
}

}  // namespace orvix::si_inspect
