#pragma once

#include <string_view>
#include <vector>

#include "writer.h"

namespace orvix::si_inspect {

/// Where a receiver that runs the library reads this table otherwise than the broadcast standards
/// do. Only what touches the values in `table`.
std::vector<std::string_view> receiver_notes(const table_ref& table);

}  // namespace orvix::si_inspect
