#pragma once

#include <cstddef>
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
/// "812 ms", "2.04 s", "12.3 s", "4 min 5 s"
std::string span_of_time(double seconds);
/// "PAT", "PMT", ...; "table_id 0x70" for a table that the library does not decode.
std::string table(std::uint32_t table_id);
/// "the SDT", "the EIT of service 0x5C20"; of a section with its header there.
std::string table_of(const std::uint8_t* section);
/// "3 bytes", "1 byte"
std::string count_of(std::uint64_t count, std::string_view what);

/// How many characters of a text stand in a sentence.
constexpr std::size_t longest_quote = 40;
std::size_t characters(std::string_view utf8);
/// So many characters at most; "..." stands for what is left out.
std::string shortened(std::string_view utf8, std::size_t most = longest_quote);
/// "\"Jornal\"", shortened; control codes as "\x0A".
std::string quoted(std::string_view utf8);

}  // namespace orvix::broadcast::wording
