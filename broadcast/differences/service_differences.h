#pragma once

#include <cstdint>
#include <set>

#include "change.h"
#include "snapshot.h"

namespace orvix::broadcast {

/// Adds what has changed of the network, the transport stream and its services.
void add_service_differences(changes& to, const snapshot& before, const snapshot& after,
                             const std::set<std::uint16_t>& wanted);

}  // namespace orvix::broadcast
