#pragma once

#include <broadcast/completeness.h>

#include <string>
#include <vector>

namespace orvix::si_inspect {

/// A line for each part, but no more than people read.
std::vector<std::string> in_words(const broadcast::missing_parts& missing);

}  // namespace orvix::si_inspect
