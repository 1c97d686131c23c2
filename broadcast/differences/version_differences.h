#pragma once

#include <cstdint>
#include <set>

#include "change.h"
#include "snapshot.h"

namespace orvix::broadcast {

/// Adds the tables whose version has changed without their content, and the other way round, which
/// receivers miss.
void add_version_differences(changes& to, const snapshot& before, const snapshot& after,
                             const std::set<std::uint16_t>& wanted);

}  // namespace orvix::broadcast
