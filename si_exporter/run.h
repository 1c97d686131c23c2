#pragma once

#include "options.h"

namespace orvix::si_exporter {

/// Follows the inputs until a signal ends it. Returns the exit status.
int run(const options& how);

}  // namespace orvix::si_exporter
