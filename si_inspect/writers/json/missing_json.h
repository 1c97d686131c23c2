#pragma once

#include "totals.h"
#include "writers/json/json_line.h"

namespace orvix::si_inspect {

/// "missing": an object for each part.
void add_missing(json_line& line, const std::vector<totals::missing_of_input>& inputs);

}  // namespace orvix::si_inspect
