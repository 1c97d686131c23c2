#pragma once

#include <cstdint>
#include <set>

#include "change.h"
#include "snapshot.h"

namespace orvix::broadcast {

/// Adds what has changed of the events to come. What has passed by the later capture's clock has
/// left the tables without anybody's doing, and so come the days behind the earlier one's last.
void add_event_differences(changes& to, const snapshot& before, const snapshot& after,
                           const std::set<std::uint16_t>& wanted);

}  // namespace orvix::broadcast
