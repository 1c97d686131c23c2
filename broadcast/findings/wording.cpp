#include "wording.h"

#include <broadcast/names.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace orvix::broadcast::wording {

std::string hex(std::uint32_t value, int digits) {
    std::array<char, 16> text;
    std::snprintf(text.data(), text.size(), "0x%0*X", digits, value);
    return text.data();
}

std::string pid(std::uint16_t value) { return "PID " + hex(value, 4); }

std::string service(std::uint16_t service_id) { return "service " + hex(service_id, 4); }

std::string span_of_time(double seconds) {
    constexpr double minute = 60;
    std::array<char, 48> text;
    if (seconds < 1) {
        std::snprintf(text.data(), text.size(), "%.0f ms", seconds * 1000);
    } else if (seconds < 2 * minute) {
        std::snprintf(text.data(), text.size(), "%.1f s", seconds);
    } else {
        std::snprintf(text.data(), text.size(), "%.0f min %.0f s", std::floor(seconds / minute),
                      std::floor(std::fmod(seconds, minute)));
    }
    return text.data();
}

std::string table(std::uint32_t table_id) {
    std::string name(names::table_kind(table_id));
    if (name.empty()) return "table_id " + hex(table_id, 2);
    std::transform(name.begin(), name.end(), name.begin(), [](char c) {
        return static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
    });
    return name;
}

std::string count_of(std::uint64_t count, std::string_view what) {
    std::string text = std::to_string(count);
    text.append(" ").append(what);
    if (count != 1) text += 's';
    return text;
}

}  // namespace orvix::broadcast::wording
