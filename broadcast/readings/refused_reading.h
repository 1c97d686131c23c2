#pragma once

#include <broadcast/place.h>

#include <string>

namespace orvix::broadcast {

/// What a receiver that runs the library, and no gate before it, would do with a section that the
/// gate refused: a sentence. Empty for a section of a table that the library does not decode.
std::string receiver_would(const refusal& what);

}  // namespace orvix::broadcast
