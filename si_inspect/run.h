#pragma once

#include "options.h"

namespace orvix::si_inspect {

/// Does what the options say; returns the exit status. Whatever goes wrong is one line on the
/// standard error.
int run(const options& how);

}  // namespace orvix::si_inspect
