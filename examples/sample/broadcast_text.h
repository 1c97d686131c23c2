#pragma once

#include <string>

namespace orvix::sample {

/// The bytes with which ISDB-Tb broadcasts a text: ISO/IEC 8859-15, and an escape byte before the
/// symbols that it lacks. Throws std::invalid_argument for a character that has neither.
std::string broadcast_text(const std::string& utf8);

}  // namespace orvix::sample
