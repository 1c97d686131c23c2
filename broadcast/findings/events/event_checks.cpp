#include "event_checks.h"

#include <broadcast/table_ids.h>

extern "C" {
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
    return table_ids::is_eit_actual((*eit)->table_id) ? *eit : nullptr;
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
