#include "writers/text/missing_text.h"

#include <broadcast/names.h>
#include <broadcast/table_ids.h>
#include <broadcast/times.h>

#include "writers/hex.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

constexpr std::size_t most_lines = 100;

std::string table_of(const missing_part& part) {
    const std::string_view kind = names::table_kind(part.table_id);
    if (kind == "eit") {
        return table_ids::is_present_following(part.table_id) ? "EIT present/following"
                                                              : "EIT schedule";
    }
    std::string upper(kind);
    for (char& c : upper) c = static_cast<char>(c - 'a' + 'A');
    return upper;
}

/// "sections 1, 4-7": those that follow each other as one.
std::string list_of(const std::string& what, const std::vector<std::uint8_t>& numbers) {
    std::string words = what + (numbers.size() == 1 ? " " : "s ");
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        std::size_t last = i;
        while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1) ++last;
        if (i != 0) words += ", ";
        words += std::to_string(numbers[i]);
        if (last != i) words += '-' + std::to_string(numbers[last]);
        i = last;
    }
    return words;
}

std::string day_of(std::uint8_t day, std::optional<std::int64_t> clock) {
    if (!clock) return "day " + std::to_string(day + 1);
    constexpr std::size_t date_size = 10;
    return std::string(iso_time(date_after(*clock, day), brasilia).view().substr(0, date_size));
}

/// "EIT schedule of service 0x5C20 (23584), 2026-11-22: segments 12-15, section 88 of table 0x50"
std::string in_words(const missing_part& part, std::optional<std::int64_t> clock) {
    std::string words = table_of(part);
    if (part.service_id) {
        words += " of service " + hex_number(*part.service_id, 4) + " (" +
                 std::to_string(*part.service_id) + ')';
    }
    const bool is_schedule = table_ids::is_schedule(part.table_id);
    if (part.is_all) {
        return is_schedule ? words + ": all of table " + hex_number(part.table_id, 2) : words;
    }
    if (part.day) words += ", " + day_of(*part.day, clock);
    words += ": ";
    if (!part.segments.empty()) words += list_of("segment", part.segments);
    if (!part.segments.empty() && !part.sections.empty()) words += ", ";
    if (!part.sections.empty()) words += list_of("section", part.sections);
    return is_schedule ? words + " of table " + hex_number(part.table_id, 2) : words;
}

}  // namespace

std::vector<std::string> in_words(const missing_parts& missing) {
    std::vector<std::string> lines;
    for (const missing_part& part : missing.parts) {
        if (lines.size() == most_lines) {
            lines.push_back("and " + std::to_string(missing.parts.size() - most_lines) + " more");
            break;
        }
        lines.push_back(in_words(part, missing.clock));
    }
    return lines;
}

}  // namespace orvix::si_inspect
