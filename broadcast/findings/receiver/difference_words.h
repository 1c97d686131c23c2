#pragma once

#include <broadcast/observer.h>
#include <broadcast/readings/readings.h>

#include <string>

namespace orvix::broadcast {

/// What the receiver reads otherwise, both values where they are short, and why: a sentence. `d` is
/// one of `found`, which was read from `seen`.
std::string difference_words(const difference& d, const readings& found, const sighting& seen);

}  // namespace orvix::broadcast
