#include "event_checks.h"

extern "C" {
#include <bitstream/dvb/si.h>
#include <bitstream/mpeg/psi.h>
}

namespace orvix::broadcast {

namespace {

/// Of this transport stream, and in force; null for all others.
const si_parser::eit* events_in(const sighting& seen) {
    const bool is_wanted = seen.is_new && seen.table != nullptr && psi_get_current(seen.bytes);
    if (!is_wanted) return nullptr;
    const auto* const eit = std::get_if<const si_parser::eit*>(seen.table);
    if (eit == nullptr) return nullptr;
    const std::uint32_t table_id = (*eit)->table_id;
    const bool is_schedule =
        table_id >= EIT_TABLE_ID_SCHED_ACTUAL_FIRST && table_id <= EIT_TABLE_ID_SCHED_ACTUAL_LAST;
    return is_schedule || table_id == EIT_TABLE_ID_PF_ACTUAL ? *eit : nullptr;
}

}  // namespace

void event_checks::take(const sighting& seen) {
    const si_parser::eit* const section = events_in(seen);
    if (section == nullptr) return;
    contents_.take(seen.where, *section);
    times_.take(seen.where, *section);
    present_.take(seen.where, *section);
}

}  // namespace orvix::broadcast
