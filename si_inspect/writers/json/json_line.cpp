#include "writers/json/json_line.h"

#include <cmath>

#include "ascii.h"
#include "display.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

/// Whether `words` stand in JSON as they are.
bool is_plain_json(std::string_view words) {
    const auto is_plain = [](char c) { return is_printable_ascii(c) && c != '"' && c != '\\'; };
    const auto are_plain = [](std::uint64_t eight) {
        return are_printable(eight) && !is_among('"', eight) && !is_among('\\', eight);
    };
    for (;;) {
        words.remove_prefix(run_length(words, are_plain, is_plain));
        if (words.empty()) return true;
        const utf8_character next = first_character(words);
        const bool is_ascii = next.size == 1;  // one that is escaped
        if (is_ascii || !next.is_valid || is_hidden(next.code)) return false;
        words.remove_prefix(next.size);
    }
}

/// Beyond four digits in two halves.
void append_escape(std::string& to, char32_t code) {
    constexpr char32_t first_in_halves = 0x10000;
    const auto append_unit = [&](char32_t unit) {
        to += "\\u";
        append_hex_digits(to, static_cast<std::uint32_t>(unit), 4);
    };
    if (code < first_in_halves) return append_unit(code);
    append_unit(0xD800 + ((code - first_in_halves) >> 10));
    append_unit(0xDC00 + ((code - first_in_halves) & 0x3FF));
}

/// What is not UTF-8 is replaced, so that every line stays valid; what hides or steers is escaped.
void append_escaped(std::string& to, std::string_view words) {
    constexpr std::string_view escaped = "\"\\\b\f\n\r\t";
    constexpr std::string_view letters = "\"\\bfnrt";
    while (!words.empty()) {
        const utf8_character next = first_character(words);
        const std::size_t letter = escaped.find(words[0]);
        if (!next.is_valid) {
            to += "\uFFFD";
        } else if (letter != std::string_view::npos) {
            to.append(1, '\\').append(1, letters[letter]);
        } else if (is_hidden(next.code)) {
            append_escape(to, next.code);
        } else {
            to.append(words.substr(0, next.size));
        }
        words.remove_prefix(next.size);
    }
}

}  // namespace

void json_line::string(std::string_view words) {
    if (is_plain_json(words)) return json_.plain(words);
    escaped_.clear();
    append_escaped(escaped_, words);
    json_.plain(escaped_);
}

void json_line::decimal(std::string_view name, std::optional<double> value) {
    constexpr double millionths = 1e6;
    key(name);
    value ? json_.Double(std::round(*value * millionths) / millionths) : json_.Null();
}

void json_line::iso_time(std::string_view name, std::optional<std::int64_t> time) {
    key(name);
    time ? json_.plain(broadcast::iso_time(*time, offset_)) : null();
}

void json_line::write(output& to) {
    // A section's line has some thousand bytes. A rare long one does not keep its memory for good.
    constexpr std::size_t most_bytes_kept = 256 * 1024;
    buffer_.Put('\n');
    to.write({buffer_.GetString(), buffer_.GetSize()});
    const bool is_large = buffer_.GetSize() > most_bytes_kept;
    buffer_.Clear();
    if (is_large) buffer_.ShrinkToFit();
    json_.Reset(buffer_);
}

}  // namespace orvix::si_inspect
