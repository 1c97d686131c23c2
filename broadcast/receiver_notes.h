#pragma once

#include <string_view>
#include <vector>

#include "table_ref.h"

namespace orvix::broadcast {

/// Where a receiver that runs the library reads this table otherwise than the broadcast standards
/// do. Only what touches the values in `table`.
std::vector<std::string_view> receiver_notes(const table_ref& table);

}  // namespace orvix::broadcast
