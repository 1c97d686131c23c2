#pragma once

#include "tables.h"

namespace orvix::sample {

/// The transport stream that the station broadcasts, in packets of 188 bytes: each table as often
/// as the description says, padding in place of sound and picture, and null packets up to the bit
/// rate.
bytes make_broadcast(const json& station);

}  // namespace orvix::sample
