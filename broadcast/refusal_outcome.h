#pragma once

#include <section_feed/section_gate.h>

#include <string_view>

namespace orvix::broadcast {

/// What a receiver would have done with a section that the gate refuses: "reads past the section's
/// end". Goes on from "the receiver".
std::string_view refusal_outcome(const section_feed::gate_result& why);

}  // namespace orvix::broadcast
