#pragma once

#include <cstdint>
#include <set>

#include "change.h"
#include "snapshot.h"

namespace orvix::broadcast {

/// What has changed between two captures: network, services, events, and tables whose versions do
/// not tell of it. Only what both have told whole is compared, so that a short capture has not lost
/// what it does not show; order and repetition do not count. `wanted`: services; empty: all.
changes find_differences(const snapshot& before, const snapshot& after,
                         const std::set<std::uint16_t>& wanted = {});

}  // namespace orvix::broadcast
