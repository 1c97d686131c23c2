#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// How findings name things.
namespace orvix::broadcast::wording {

/// "0x5C20": with as many digits.
std::string hex(std::uint32_t value, int digits);
/// "PID 0x0111"
std::string pid(std::uint16_t value);
/// "service 0x5C20"
std::string service(std::uint16_t service_id);
/// "812 ms", "12.3 s", "4 min 5 s"
std::string span_of_time(double seconds);
/// "PAT", "PMT", ...; "table_id 0x70" for a table that the library does not decode.
std::string table(std::uint32_t table_id);
/// "3 bytes", "1 byte"
std::string count_of(std::uint64_t count, std::string_view what);

}  // namespace orvix::broadcast::wording
