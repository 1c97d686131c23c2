#pragma once

#include <broadcast/guide.h>

#include "output.h"
#include "writers/json/json_line.h"

namespace orvix::si_inspect {

/// A line for each programme.
void write_guide(json_line& line, output& to, const broadcast::guide_contents& all);

}  // namespace orvix::si_inspect
