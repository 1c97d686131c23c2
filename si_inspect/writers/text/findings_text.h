#pragma once

#include <broadcast/findings/finding.h>

#include <string>
#include <vector>

#include "writers/text/text_writer.h"

namespace orvix::si_inspect {

/// How many there are of each severity, then two lines for each: what it says, and where. `file` is
/// empty where only one input is read.
std::string findings_text(const std::string& file, const std::vector<broadcast::finding>& all,
                          const text_writer::settings& how);

/// A line for a finding that has begun or ended.
std::string finding_change_text(const std::string& file, const broadcast::finding& changed,
                                const text_writer::settings& how);

}  // namespace orvix::si_inspect
