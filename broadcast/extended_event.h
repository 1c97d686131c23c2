#pragma once

#include <string>

#include "readings/span.h"

namespace orvix::broadcast {

/// What the extended event descriptors (0x4E) of an event say, which the receiver skips: the text,
/// and a line for each item, "Elenco: Ana, Rui". Of several languages the one of the short event
/// counts (its code in UTF-8), or else the first. Empty where there is none.
std::string extended_event(span descriptors, const std::string& language);

}  // namespace orvix::broadcast
