#pragma once

#include <broadcast/guide.h>

#include <string>
#include <vector>

namespace orvix::si_inspect {

/// A block for each day, and in it a line for each programme, by their start times on the
/// broadcast's clock. No line is wider than 100 columns.
std::vector<std::string> guide_days(const broadcast::guide_contents& all, bool color);

}  // namespace orvix::si_inspect
