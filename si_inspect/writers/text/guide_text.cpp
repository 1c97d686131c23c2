#include "writers/text/guide_text.h"

#include <broadcast/names.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "display.h"
#include "writers/calendar.h"
#include "writers/hex.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

constexpr std::string_view bold = "\033[1m";
constexpr std::string_view no_color = "\033[0m";
constexpr std::string_view gap = "  ";

constexpr std::size_t most_columns = 100;
// Longer names are cut, so that every line has room for what the others are about.
constexpr std::size_t most_service_columns = 24;
constexpr std::size_t most_genre_columns = 20;

constexpr std::size_t times_columns = std::string_view("20:30-21:40").size();

struct listed {
    const channel* of;
    const programme* told;
};

std::vector<listed> by_start(const guide_contents& all) {
    std::vector<listed> programmes;
    for (const channel& c : all.channels) {
        for (const programme& p : c.programmes) programmes.push_back({&c, &p});
    }
    std::stable_sort(programmes.begin(), programmes.end(), [](const listed& a, const listed& b) {
        return a.told->start < b.told->start;
    });
    return programmes;
}

/// "Saturday 2026-11-21"
std::string heading(std::int64_t day, bool color) {
    std::string line(color ? bold : "");
    line.append(weekday_of(day)).append(" ").append(date_of(day));
    line += color ? no_color : "";
    return line + '\n';
}

std::string times_of(const programme& p) {
    return p.has_end() ? hour_of(p.start) + '-' + hour_of(p.end()) : hour_of(p.start);
}

std::string service_of(const channel& c) {
    const std::string number = c.number.empty() ? hex_number(c.service_id, 4) : c.number;
    return c.name.empty() ? number : number + ' ' + printable(c.name);
}

std::string rating_of(const programme& p) {
    if (!p.rating) return {};
    const std::string_view age = names::rating_age(*p.rating);
    return age == "reserved" ? hex_number(*p.rating, 2) : std::string(age);
}

/// The first one; JSON has all.
std::string genre_of(const programme& p) {
    if (p.content_nibbles.empty()) return {};
    return std::string(names::genre(p.content_nibbles.front()).view());
}

/// What fits into `columns`, of printable text; the end of what does not is an ellipsis.
std::string cut(const std::string& words, std::size_t columns) {
    if (display_width(words).value_or(words.size()) <= columns) return words;
    std::string kept(first_columns(words, columns - 1));
    kept.erase(kept.find_last_not_of(' ') + 1);
    return kept += "…";
}

std::size_t columns_of(const std::string& words) {
    return display_width(words).value_or(words.size());
}

/// What the columns of all lines need, so that they stand below each other.
struct layout {
    std::size_t service = 0;
    std::size_t title = 0;
    std::size_t rating = 0;

    explicit layout(const std::vector<listed>& programmes) {
        std::size_t genre = 0;
        for (const listed& entry : programmes) {
            const programme& p = *entry.told;
            service = std::max(service, columns_of(service_of(*entry.of)));
            title = std::max(title, columns_of(printable(p.name)));
            rating = std::max(rating, columns_of(rating_of(p)));
            genre = std::max(genre, columns_of(genre_of(p)));
        }
        service = std::min(service, most_service_columns);
        genre = std::min(genre, most_genre_columns);
        const std::size_t others = times_columns + service + rating + genre + 4 * gap.size();
        title = std::min(title, most_columns - others);
    }
};

std::string line_of(const listed& entry, const layout& widths) {
    const programme& p = *entry.told;
    std::string line = padded(times_of(p), times_columns);
    line.append(gap).append(padded(cut(service_of(*entry.of), widths.service), widths.service));
    line.append(gap).append(padded(cut(printable(p.name), widths.title), widths.title));
    if (widths.rating != 0) line.append(gap).append(padded(rating_of(p), widths.rating));
    line.append(gap).append(cut(genre_of(p), most_genre_columns));
    line.erase(line.find_last_not_of(' ') + 1);
    return line + '\n';
}

}  // namespace

std::vector<std::string> guide_days(const guide_contents& all, bool color) {
    const std::vector<listed> programmes = by_start(all);
    const layout widths(programmes);
    std::vector<std::string> days;
    std::optional<std::int64_t> last;
    for (const listed& entry : programmes) {
        const std::int64_t day = day_of(entry.told->start);
        if (last != day) days.push_back(heading(day, color));
        last = day;
        days.back() += line_of(entry, widths);
    }
    return days;
}

}  // namespace orvix::si_inspect
