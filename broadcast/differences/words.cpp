#include "words.h"

#include <broadcast/times.h>

#include <array>
#include <cstdio>

namespace orvix::broadcast {

namespace {

std::string hex16(std::uint32_t number) {
    std::array<char, 16> digits;
    std::snprintf(digits.data(), digits.size(), "0x%04X", static_cast<unsigned int>(number));
    return digits.data();
}

}  // namespace

std::string pid_in_words(std::uint16_t pid) {
    return hex16(pid) + " (" + std::to_string(pid) + ')';
}

std::string quoted(const std::string& words) { return words.empty() ? "none" : '"' + words + '"'; }

std::string renamed_in_words(const std::string& before, const std::string& after) {
    if (before.empty()) return "has got the name " + quoted(after);
    if (after.empty()) return "has lost the name " + quoted(before);
    return quoted(before) + " is now " + quoted(after);
}

std::string in_words(const told_service& service) {
    std::string words = "service ";
    if (!service.number.empty()) words += service.number + ' ';
    if (!service.name.empty()) words += quoted(service.name) + ' ';
    return words + '(' + hex16(service.service_id) + ')';
}

std::string time_in_words(std::time_t clock) {
    constexpr std::size_t date_size = 10;
    constexpr std::size_t time_size = 8;
    const short_text iso = iso_time(clock, brasilia);
    return std::string(iso.view().substr(0, date_size)) + ' ' +
           std::string(iso.view().substr(date_size + 1, time_size));
}

std::string in_words(const programme& event) {
    return quoted(event.name) + " of " + time_in_words(event.start) + " (event " +
           hex16(event.event_id) + ')';
}

value hex_value(std::uint32_t number, int digits) {
    return value::number{static_cast<std::int64_t>(number), digits, ""};
}

value text_value(const std::string& words) { return words.empty() ? value() : value(words); }

}  // namespace orvix::broadcast
