#pragma once

#include <string>

namespace orvix::si_parser {

/// `iso_to_utf8_string` into an empty string that is already there.
void assign_text(std::string& text, const unsigned char* in, unsigned int in_len);

}  // namespace orvix::si_parser
