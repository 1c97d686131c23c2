#include "views/view.h"

#include <broadcast/names.h>

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

std::uint16_t pid_of(const place& where) { return where.pid.value_or(totals::no_pid); }

}  // namespace

void view::begin_input(const std::string& name, bool is_live) {
    refusals_.clear();
    input_began(name, is_live);
}

void view::section(const sighting& seen) {
    totals::table_counts& counts = counts_.tables[names::table_kind(seen.bytes[0])];
    ++counts.sections;
    if (seen.is_new && seen.table == nullptr) ++counts_.passed_over;
    if (show(seen)) ++counts.shown;
}

bool view::is_new(const place& where, const section_feed::gate_result& why) {
    const refusal_key key = {pid_of(where), why.why, why.field, why.byte, why.value, why.limit};
    return refusals_.count(key) == 0 && different_refusals_.admits(refusals_.size()) &&
           refusals_.insert(key).second;
}

void view::refused(const place& where, const refusal& what) {
    see_refusal(where, what);
    if (what.why.why == section_feed::verdict::not_decoded) {
        ++counts_.not_decoded[pid_of(where)][what.section[0]];
        return;
    }
    ++counts_.refused[pid_of(where)][what.why.why];
    if (is_done() || !wants_refusal(where, what)) return;
    if (!is_new(where, what.why) && !wants_repeated_refusals()) return;
    show_refusal(where, what);
    report_refusal_(where, what);
}

}  // namespace orvix::si_inspect
