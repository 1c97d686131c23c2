#pragma once

#include <broadcast/place.h>

namespace orvix::broadcast {

/// Whether a section that the gate refused is as the standards have it, so that the receiver's way
/// of reading alone makes it dangerous: a PMT of 260 bytes and more, for instance.
bool is_well_formed(const refusal& what);

}  // namespace orvix::broadcast
