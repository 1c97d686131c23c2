#include "wording.h"

#include <broadcast/names.h>
#include <broadcast/table_ids.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

extern "C" {
#include <bitstream/mpeg/psi.h>
}

namespace orvix::broadcast::wording {

namespace {

bool continues_a_character(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

}  // namespace

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
        return text.data();
    }
    if (seconds >= 2 * minute) {
        std::snprintf(text.data(), text.size(), "%.0f min %.0f s", std::floor(seconds / minute),
                      std::floor(std::fmod(seconds, minute)));
        return text.data();
    }
    std::snprintf(text.data(), text.size(), seconds < 10 ? "%.2f" : "%.1f", seconds);
    std::string digits = text.data();
    digits.erase(digits.find_last_not_of('0') + 1);
    if (digits.back() == '.') digits.pop_back();
    return digits + " s";
}

std::string table(std::uint32_t table_id) {
    std::string name(names::table_kind(table_id));
    if (name.empty()) return "table_id " + hex(table_id, 2);
    std::transform(name.begin(), name.end(), name.begin(), [](char c) {
        return static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
    });
    return name;
}

std::string table_of(const std::uint8_t* section) {
    const std::uint8_t table_id = section[0];
    std::string name = "the " + table(table_id);
    if (table_id == table_ids::pmt || table_ids::is_eit(table_id)) {
        name += " of " + service(psi_get_tableidext(section));
    }
    if (table_ids::is_schedule(table_id)) name += " (table_id " + hex(table_id, 2) + ")";
    return name;
}

std::string count_of(std::uint64_t count, std::string_view what) {
    std::string text = std::to_string(count);
    text.append(" ").append(what);
    if (count != 1) text += 's';
    return text;
}

std::size_t characters(std::string_view utf8) {
    return utf8.size() -
           static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), continues_a_character));
}

std::string shortened(std::string_view utf8, std::size_t most) {
    std::size_t end = 0;
    for (std::size_t count = 0; end < utf8.size(); ++end) {
        const bool begins = !continues_a_character(utf8[end]);
        if (begins && ++count > most) return std::string(utf8.substr(0, end)) + "...";
    }
    return std::string(utf8);
}

std::string quoted(std::string_view utf8) {
    const std::string text = shortened(utf8);
    std::string words = "\"";
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto code = static_cast<unsigned char>(text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
        const bool is_c1 = code == 0xC2 && next >= 0x80 && next < 0xA0;
        if (is_c1 || code < ' ' || code == 0x7F) {
            std::array<char, 8> escaped;
            std::snprintf(escaped.data(), escaped.size(), "\\x%02X", unsigned{is_c1 ? next : code});
            words += escaped.data();
            if (is_c1) ++i;
        } else {
            words += text[i];
        }
    }
    return words + '"';
}

}  // namespace orvix::broadcast::wording
