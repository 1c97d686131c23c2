#pragma once

#include <broadcast/findings/finding.h>

#include <string>

#include "writers/json/json_line.h"

namespace orvix::si_inspect {

/// What has happened to a finding.
enum class finding_state : std::uint8_t {
    told,    ///< nothing: it stands in the list at the end of its input
    begins,  ///< on live input
    ends,    ///< on live input
};

/// A line. `file` is empty where only one input is read.
void write_finding(json_line& line, output& to, const std::string& file,
                   const broadcast::finding& told, finding_state state);

}  // namespace orvix::si_inspect
