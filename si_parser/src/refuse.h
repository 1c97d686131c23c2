#pragma once

namespace orvix::si_parser {

/// Throws std::runtime_error with this text, out of the way of sections that are not refused.
[[noreturn]] __attribute__((cold)) void refuse(const char* text);

}  // namespace orvix::si_parser
