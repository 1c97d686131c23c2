#pragma once

#include <string>

#include "span.h"

namespace orvix::broadcast {

/// A text as it was sent, in UTF-8: ISO/IEC 8859-15 with the symbols that 0x1D announces. Line
/// breaks are '\n', other control codes the characters of their number.
std::string broadcast_text(span bytes);

/// Whether the receiver may read the text otherwise; quick, and certain only where it is false.
bool may_differ(span bytes);

/// Why the receiver reads this text otherwise, where it does.
std::string why_text_differs(span bytes);

}  // namespace orvix::broadcast
