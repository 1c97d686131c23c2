#include "event_contents.h"

#include <broadcast/findings/wording.h>
#include <broadcast/names.h>
#include <broadcast/programme.h>

#include <algorithm>

#include "event_words.h"

namespace orvix::broadcast {

using namespace si_parser;

namespace {

constexpr const char* portuguese = "por";

// What receivers are sure to show of a name, and of a text: four lines of it.
constexpr std::size_t longest_name = 40;
constexpr std::size_t longest_text = 4 * longest_name;

/// Calls `visit` with each of the event's descriptors of this kind.
template <typename Descriptor, typename Visit>
void for_each_of(const eit::event& event, std::uint8_t tag, Visit visit) {
    for (const descriptor_ptr& d : event.descriptors) {
        if (d->tag == tag) visit(static_cast<const Descriptor&>(*d));
    }
}

template <typename Visit>
void for_each_genre(const eit::event& event, Visit visit) {
    for_each_of<content_descriptor>(event, 0x54, [&](const content_descriptor& d) {
        for (const auto& content : d.contents) visit(content.first);
    });
}

template <typename Visit>
void for_each_rating(const eit::event& event, Visit visit) {
    for_each_of<parental_descriptor>(event, 0x55, [&](const parental_descriptor& d) {
        const auto rating = d.ratings.find(brazil);
        if (rating != d.ratings.end()) visit(rating->second);
    });
}

/// News, sports, raffles and sales, religion.
bool needs_no_rating(std::uint8_t genre) {
    constexpr std::uint8_t religion = 0xF3;
    const unsigned int group = genre >> 4U;
    return group == 0x0 || group == 0x1 || group == 0xD || genre == religion;
}

}  // namespace

void event_contents::take(const place& where, const eit& section) {
    for (const eit::event& event : section.events) {
        const told_event told = {where, static_cast<std::uint16_t>(section.service_id), event};
        check_texts(told);
        check_rating(told);
        check_genre(told);
    }
}

template <typename Words>
void event_contents::tell(finding_kind kind, const told_event& event, Words words) {
    const counted_events::event which = {event.where.pid, event.service_id,
                                         static_cast<std::uint16_t>(event.is.event_id),
                                         start_of(event.is)};
    if (!counted_.is_first(kind, which)) return;
    to_.occurs({kind, {event.where.pid, event.service_id, 0}, {}, {}, {}}, [&] {
        return event_words(event.is) + " of " + wording::service(event.service_id) + ' ' + words();
    });
}

void event_contents::check_texts(const told_event& event) {
    bool has_name = false;
    bool has_language = false;
    std::size_t name = 0;
    std::size_t text = 0;
    for_each_of<short_event_descriptor>(event.is, 0x4D, [&](const short_event_descriptor& d) {
        has_name = has_name || !is_blank(d.event_name);
        has_language = has_language || d.ISO_639_language_code == portuguese;
        name = std::max(name, wording::characters(d.event_name));
        text = std::max(text, wording::characters(d.text));
    });
    if (!has_name) {
        tell(finding_kind::event_name_missing, event, [] { return std::string("has no name"); });
    }
    const short_event_descriptor* const first = short_event_of(event.is);
    if (first != nullptr && !has_language) {
        tell(finding_kind::event_text_language, event, [&] {
            return "has texts in the language " + wording::quoted(first->ISO_639_language_code) +
                   ", none in " + wording::quoted(portuguese);
        });
    }
    if (name > longest_name) {
        tell(finding_kind::short_name_long, event, [&] {
            return "has a name of " + std::to_string(name) + " characters (receivers show " +
                   std::to_string(longest_name) + ")";
        });
    }
    if (text > longest_text) {
        tell(finding_kind::text_long, event, [&] {
            return "has a text of " + std::to_string(text) + " characters (not every receiver " +
                   "shows more than " + std::to_string(longest_text) + ")";
        });
    }
}

void event_contents::check_rating(const told_event& event) {
    bool is_free = false;
    for_each_genre(event.is, [&](std::uint8_t genre) { is_free |= needs_no_rating(genre); });
    bool has_rating = false;
    for_each_rating(event.is, [&](std::uint8_t rating) {
        has_rating = true;
        constexpr unsigned int reserved_bit = 0x80;
        const bool is_reserved =
            (rating & reserved_bit) != 0 || names::rating_age(rating) == "reserved";
        if (!is_reserved) return;
        tell(finding_kind::rating_reserved, event, [&] {
            return "has the rating " + wording::hex(rating, 2) + ", which is reserved in Brazil";
        });
    });
    if (has_rating || is_free) return;
    tell(finding_kind::rating_missing, event,
         [] { return std::string("has no rating for Brazil (BRA)"); });
}

void event_contents::check_genre(const told_event& event) {
    for_each_genre(event.is, [&](std::uint8_t genre) {
        if (names::genre_detail(genre) != "reserved") return;
        tell(finding_kind::genre_reserved, event,
             [&] { return "has the genre " + wording::hex(genre, 2) + ", which is reserved"; });
    });
}

}  // namespace orvix::broadcast
