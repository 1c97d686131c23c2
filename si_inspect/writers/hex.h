#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace orvix::si_inspect {

/// "4a6f67": two digits for each byte, for which there must be room.
void write_hex(char* to, std::string_view bytes);
/// "0011".
void append_hex_digits(std::string& to, std::uint32_t value, int digits);
/// "0x0011"; returns where it ends. There must be room for ten characters.
char* write_hex_number(char* to, std::uint32_t value, int least_digits);
std::string hex_number(std::uint32_t value, int least_digits);

}  // namespace orvix::si_inspect
