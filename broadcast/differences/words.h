#pragma once

#include <broadcast/programme.h>
#include <broadcast/readings/value.h>
#include <broadcast/services.h>

#include <string>

// How changes are worded.
namespace orvix::broadcast {

/// "0x0111 (273)"
std::string pid_in_words(std::uint16_t pid);
/// "\"TV Manac\u00e1\"", "none".
std::string quoted(const std::string& words);
/// "\"A\" is now \"B\"", "has got the name \"B\"", "has lost the name \"A\"": of what has a name.
std::string renamed_in_words(const std::string& before, const std::string& after);
/// "service 3.1 \"TV Manac\u00e1 HD\" (0x5C20)"
std::string in_words(const told_service& service);
/// "2026-11-21 20:30:00": the broadcast's clock as it stands.
std::string time_in_words(std::time_t clock);
/// "\"Jornal\" of 2026-11-21 20:30:00 (event 0x0A01)"
std::string in_words(const programme& event);

value hex_value(std::uint32_t number, int digits = 4);
value text_value(const std::string& words);

}  // namespace orvix::broadcast
