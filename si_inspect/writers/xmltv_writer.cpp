#include "writers/xmltv_writer.h"

#include <broadcast/names.h>

#include <array>
#include <pugixml.hpp>
#include <sstream>

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

/// "s23584.n737.isdb-tb.br"
std::string id_of(const channel& c) {
    return "s" + std::to_string(c.service_id) + ".n" + std::to_string(c.original_network_id) +
           ".isdb-tb.br";
}

/// "20261121203000 -0300"
std::string xmltv_time(std::time_t clock, utc_offset offset) {
    std::tm shown = {};
    gmtime_r(&clock, &shown);
    std::array<char, 32> digits;
    std::strftime(digits.data(), digits.size(), "%Y%m%d%H%M%S ", &shown);
    std::string zone(iso_offset(offset));
    zone.erase(zone.find(':'), 1);
    return digits.data() + zone;
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
    if (!language.empty()) node.append_attribute("lang") = language.c_str();
    node.text() = text.c_str();
}

void add_channel(pugi::xml_node tv, const channel& c) {
    pugi::xml_node node = tv.append_child("channel");
    node.append_attribute("id") = id_of(c).c_str();
    add_text(node, "display-name", c.name.empty() ? std::to_string(c.service_id) : c.name);
    if (!c.number.empty()) add_text(node, "display-name", c.number);
}

/// Groups and details of the genres, each once: "variety", "musical".
void add_categories(pugi::xml_node node, const std::vector<std::uint8_t>& content_nibbles) {
    std::set<std::string_view> done = {"", "reserved", "other"};
    for (const std::uint8_t content_nibble : content_nibbles) {
        for (const std::string_view category :
             {names::genre_group(content_nibble), names::genre_detail(content_nibble)}) {
            if (done.insert(category).second) {
                add_text(node, "category", std::string(category), "en");
            }
        }
    }
}

void add_rating(pugi::xml_node node, std::uint8_t rating) {
    const std::string age(names::rating_age(rating));
    if (age == "reserved") return;
    pugi::xml_node element = node.append_child("rating");
    element.append_attribute("system") = "ClassInd";
    add_text(element, "value", age);
}

class programme_writer {
public:
    /// Times are `shift` after the broadcast's clock, and `offset` ahead of UTC.
    programme_writer(pugi::xml_node tv, utc_offset shift, utc_offset offset)
        : tv_(tv), shift_(shift), offset_(offset) {}

    void add(const channel& c, const programme& p) {
        pugi::xml_node node = tv_.append_child("programme");
        node.append_attribute("start") = time(p.start).c_str();
        node.append_attribute("stop") = time(p.start + p.duration).c_str();
        node.append_attribute("channel") = id_of(c).c_str();
        const std::string language = language_tag(p.language);
        add_text(node, "title", p.name, language);
        if (!p.text.empty()) add_text(node, "desc", p.text, language);
        add_categories(node, p.content_nibbles);
        if (p.rating) add_rating(node, *p.rating);
    }

private:
    std::string time(std::time_t clock) const {
        return xmltv_time(clock + std::chrono::seconds(shift_).count(), offset_);
    }

    pugi::xml_node tv_;
    utc_offset shift_;
    utc_offset offset_;
};

}  // namespace

void xmltv_writer::table(const sighting& seen) { guide_.take(*seen.table); }

void xmltv_writer::finish(const totals* /*counts*/) {
    const guide_contents contents = guide_.contents(how_.services);
    const utc_offset broadcast = how_.utc_offset.value_or(brasilia);
    const utc_offset viewers =
        how_.utc_offset ? broadcast : guide_.viewers_offset().value_or(brasilia);

    pugi::xml_document document;
    pugi::xml_node declaration = document.append_child(pugi::node_declaration);
    declaration.append_attribute("version") = "1.0";
    declaration.append_attribute("encoding") = "UTF-8";
    document.append_child(pugi::node_doctype).set_value("tv SYSTEM \"xmltv.dtd\"");
    pugi::xml_node tv = document.append_child("tv");
    tv.append_attribute("generator-info-name") = "si_inspect";

    for (const channel& c : contents.channels) add_channel(tv, c);
    programme_writer programmes(tv, viewers - broadcast, viewers);
    for (const channel& c : contents.channels) {
        for (const programme& p : c.programmes) programmes.add(c, p);
    }

    std::ostringstream text;
    document.save(text, "  ", pugi::format_default, pugi::encoding_utf8);
    to_.write(text.str());

    if (contents.channels.empty()) notice_("guide: no programmes");
    const auto left_out = [this](std::uint64_t count, const std::string& what) {
        if (count != 0) notice_("guide: left out " + what + ": " + std::to_string(count));
    };
    left_out(contents.untimed_events, "events with undefined times");
    left_out(contents.unnamed_events, "events without a name");
    left_out(contents.covered_events, "programmes at the same time as another");
    left_out(contents.services_untold, "services without events");
}

}  // namespace orvix::si_inspect
