#include "writers/xmltv_writer.h"

#include <broadcast/names.h>
#include <broadcast/utf8.h>

#include <array>
#include <pugixml.hpp>
#include <string>

#include "display.h"
#include "writers/channel_id.h"
#include "writers/portuguese.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

std::string id_of(const channel& c) { return channel_id(c.original_network_id, c.service_id); }

/// From the broadcast's clock to that of the written times.
struct clock_shift {
    utc_offset shift;   ///< of the one behind the other
    utc_offset offset;  ///< of the written times ahead of UTC
};

/// "20261121203000 -0300"
std::string xmltv_time(std::time_t broadcast_clock, clock_shift to) {
    const std::time_t clock = broadcast_clock + std::chrono::seconds(to.shift).count();
    std::tm shown = {};
    gmtime_r(&clock, &shown);
    std::array<char, 32> digits;
    std::strftime(digits.data(), digits.size(), "%Y%m%d%H%M%S ", &shown);
    std::string zone(iso_offset(to.offset));
    zone.erase(zone.find(':'), 1);
    return digits.data() + zone;
}

/// What XML has no place for, and what reorders or hides the text around it. Line breaks stay.
bool is_left_out(const utf8_character& c) {
    constexpr char32_t soft_hyphen = 0xAD;
    constexpr char32_t no_characters = 0xFFFE;  // and 0xFFFF
    if (c.code == '\n') return false;
    return !c.is_valid || is_hidden(c.code) || c.code == soft_hyphen ||
           (c.code & no_characters) == no_characters;
}

/// The characters that XMLTV shows.
std::string visible(std::string_view text) {
    std::string seen;
    while (!text.empty()) {
        const utf8_character next = first_character(text);
        if (!is_left_out(next)) seen += text.substr(0, next.size);
        text.remove_prefix(next.size);
    }
    return seen;
}

/// XMLTV wants two letters where a language has them.
std::string language_tag(const std::string& iso_639_2) {
    if (iso_639_2 == "por") return "pt";
    if (iso_639_2 == "eng") return "en";
    if (iso_639_2 == "spa") return "es";
    return iso_639_2;
}

void add_text(pugi::xml_node parent, const char* element, const std::string& text,
              const std::string& language = {}) {
    pugi::xml_node node = parent.append_child(element);
    if (!language.empty()) node.append_attribute("lang") = visible(language).c_str();
    node.text() = visible(text).c_str();
}

void add_channel(pugi::xml_node parent, const channel& c) {
    pugi::xml_node node = parent.append_child("channel");
    node.append_attribute("id") = id_of(c).c_str();
    add_text(node, "display-name", c.name.empty() ? std::to_string(c.service_id) : c.name);
    if (!c.number.empty()) add_text(node, "display-name", c.number);
}

/// Groups and details of the genres, each once: "variety", "musical".
template <typename Group, typename Detail>
void add_categories(pugi::xml_node node, const std::vector<std::uint8_t>& content_nibbles,
                    const std::string& language, Group group, Detail detail) {
    std::set<std::string_view> done = {"", "reserved", "other"};
    for (const std::uint8_t content_nibble : content_nibbles) {
        for (const std::string_view category : {group(content_nibble), detail(content_nibble)}) {
            if (done.insert(category).second) {
                add_text(node, "category", std::string(category), language);
            }
        }
    }
}

void add_rating(pugi::xml_node node, const char* system, const std::string& value) {
    pugi::xml_node element = node.append_child("rating");
    element.append_attribute("system") = system;
    add_text(element, "value", value);
}

/// The age, and what of the content it is for.
void add_ratings(pugi::xml_node node, std::uint8_t rating) {
    const std::string age(names::rating_age(rating));
    if (age != "reserved") add_rating(node, "ClassInd", age);
    constexpr std::pair<std::uint8_t, const char*> reasons[] = {
        {0x10, "drugs"}, {0x20, "violence"}, {0x40, "sex"}};
    for (const auto& [bit, reason] : reasons) {
        if ((rating & bit) != 0) add_rating(node, "ClassInd content", reason);
    }
}

void add_programme(pugi::xml_node parent, const channel& c, const programme& p, clock_shift clock) {
    pugi::xml_node node = parent.append_child("programme");
    node.append_attribute("start") = xmltv_time(p.start, clock).c_str();
    if (p.has_end()) node.append_attribute("stop") = xmltv_time(p.end(), clock).c_str();
    node.append_attribute("channel") = id_of(c).c_str();
    const std::string language = language_tag(p.language);
    add_text(node, "title", p.name, language);
    const bool has_both = !p.text.empty() && !p.extended.empty();
    const std::string description = p.text + (has_both ? "\n" : "") + p.extended;
    if (!description.empty()) add_text(node, "desc", description, language);
    add_categories(node, p.content_nibbles, "pt", portuguese::genre_group,
                   portuguese::genre_detail);
    add_categories(node, p.content_nibbles, "en", names::genre_group, names::genre_detail);
    if (p.rating) add_ratings(node, *p.rating);
}

/// Writes one element after the other, so that the document is never in memory as a whole.
class element_writer : private pugi::xml_writer {
public:
    explicit element_writer(output& to) : to_(to) {}

    void text(const std::string& text) {
        waiting_ += text;
        if (waiting_.size() >= write_bytes) flush();
    }
    /// The element that `fill` adds to its argument, one level below the root.
    template <typename Fill>
    void element(const Fill& fill) {
        pugi::xml_document alone;
        fill(alone);
        alone.first_child().print(*this, "  ", pugi::format_default, pugi::encoding_utf8, 1);
    }
    void flush() {
        to_.write(waiting_);
        waiting_.clear();
    }

private:
    static constexpr std::size_t write_bytes = 64 * 1024;

    void write(const void* data, std::size_t size) override {
        text(std::string(static_cast<const char*>(data), size));
    }

    output& to_;
    std::string waiting_;
};

}  // namespace

void xmltv_writer::guide(const guide_contents& all) {
    const utc_offset broadcast = utc_offset_.value_or(brasilia);
    const utc_offset viewers = utc_offset_ ? broadcast : all.viewers_offset.value_or(brasilia);

    element_writer elements(to_);
    elements.text(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<!DOCTYPE tv SYSTEM \"xmltv.dtd\">\n"
        "<tv generator-info-name=\"si_inspect\">\n");
    for (const channel& c : all.channels) {
        elements.element([&](pugi::xml_node parent) { add_channel(parent, c); });
    }
    const clock_shift clock = {viewers - broadcast, viewers};
    for (const channel& c : all.channels) {
        for (const programme& p : c.programmes) {
            elements.element([&](pugi::xml_node parent) { add_programme(parent, c, p, clock); });
        }
    }
    elements.text("</tv>\n");
    elements.flush();
}

}  // namespace orvix::si_inspect
