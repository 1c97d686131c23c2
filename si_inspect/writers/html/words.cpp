#include <broadcast/names.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "writers/hex.h"
#include "writers/html/parts.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

/// The colours that Brazilian viewers know, by the style's names for them.
markup rating_class(std::string_view age) {
    if (age == "L") return "rL"_html;
    if (age == "10") return "r10"_html;
    if (age == "12") return "r12"_html;
    if (age == "14") return "r14"_html;
    if (age == "16") return "r16"_html;
    return "r18"_html;
}

}  // namespace

std::string id_text(std::uint32_t value) {
    return hex_number(value, 4) + " (" + std::to_string(value) + ')';
}

std::string fixed(double value, int decimals) {
    std::array<char, 400> digits;  // the longest double has 309 before its point
    std::snprintf(digits.data(), digits.size(), "%.*f", decimals, value);
    return digits.data();
}

std::string bit_rate_text(double bits_per_second) {
    constexpr double kilo = 1e3;
    constexpr double mega = 1e6;
    if (bits_per_second >= mega) return fixed(bits_per_second / mega, 2) + " Mbit/s";
    if (bits_per_second >= kilo) return fixed(bits_per_second / kilo, 1) + " kbit/s";
    return fixed(bits_per_second, 0) + " bit/s";
}

void write_service(html& to, const told_services& all, std::uint16_t service_id) {
    const auto of =
        std::find_if(all.services.begin(), all.services.end(),
                     [service_id](const told_service& s) { return s.service_id == service_id; });
    const bool is_told = of != all.services.end() && (!of->number.empty() || !of->name.empty());
    if (!is_told) {
        to << id_text(service_id);
        return;
    }
    to << of->number << (of->number.empty() || of->name.empty() ? "" : " ")
       << "<span lang='pt'>"_html << of->name << "</span>"_html;
}

void write_rating(html& to, std::uint8_t rating) {
    const std::string_view age = names::rating_age(rating);
    if (age == "reserved") {
        to << "<span class='quiet'>rating "_html << hex_number(rating, 2)
           << ", reserved</span>"_html;
        return;
    }
    to << "<span class='rating "_html << rating_class(age)
       << "'><span class='unseen'>rated </span>"_html << age << "</span>"_html;
    const short_text words = names::rating(brazil, rating);
    const std::string_view reasons =
        words.view().substr(std::min(words.view().size(), age.size() + 2));
    if (!reasons.empty()) to << " <span class='quiet'>"_html << reasons << "</span>"_html;
}

std::string genres_text(const std::vector<std::uint8_t>& content_nibbles) {
    std::string text;
    std::vector<std::uint8_t> done;
    for (const std::uint8_t content_nibble : content_nibbles) {
        if (std::find(done.begin(), done.end(), content_nibble) != done.end()) continue;
        done.push_back(content_nibble);
        text.append(text.empty() ? "" : "; ").append(names::genre(content_nibble));
    }
    return text;
}

}  // namespace orvix::si_inspect
