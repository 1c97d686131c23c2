#pragma once

#include <cstdint>
#include <string_view>

namespace orvix::broadcast::names {

/// "data component": what a descriptor of this tag is, anywhere but in an AIT. "reserved" for a tag
/// without a name.
std::string_view descriptor(std::uint8_t tag);
/// The same inside an AIT, which has tags of its own.
std::string_view application_descriptor(std::uint8_t tag);

}  // namespace orvix::broadcast::names
