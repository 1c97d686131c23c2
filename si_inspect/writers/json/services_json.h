#pragma once

#include <broadcast/services.h>

#include <string>

#include "output.h"
#include "writers/json/json_line.h"

namespace orvix::si_inspect {

/// A line for each service. `file` is empty where only one input is read.
void write_services(json_line& line, output& to, const std::string& file,
                    const broadcast::told_services& all);

}  // namespace orvix::si_inspect
