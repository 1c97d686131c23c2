#include "programme.h"

#include "extended_event.h"

namespace orvix::broadcast {

using namespace si_parser;

namespace {

template <typename Descriptor>
boost::shared_ptr<Descriptor> find(const eit& section, const eit::event& event, unsigned int tag) {
    return section.get_descriptor_from<Descriptor>(tag, event.descriptors);
}

}  // namespace

bool is_blank(const std::string& text) {
    constexpr const char* bytes_of_blanks = " \x7F\xC2\xA0\xAD";
    return text.find_first_not_of(bytes_of_blanks) == std::string::npos;
}

bool programme::is_timed() const {
    // Times that do not fit into the library's 32 bits have become negative ones.
    return start >= 0;
}

bool programme::has_end() const { return duration != undefined_duration && duration > 0; }

std::size_t programme::size() const {
    // Counted high: the node of a section that holds nothing else, and the allocator's own bytes.
    constexpr std::size_t around = 160;
    return sizeof(programme) + around + language.size() + name.size() + text.size() +
           extended.size() + content_nibbles.size();
}

programme make_programme(const eit& section, const eit::event& event, span descriptors) {
    programme p;
    p.event_id = event.event_id;
    p.start = event.start_time;
    p.duration = event.duration;
    if (const auto told = find<short_event_descriptor>(section, event, 0x4D)) {
        p.language = told->ISO_639_language_code;
        if (!is_blank(told->event_name)) p.name = told->event_name;
        if (!is_blank(told->text)) p.text = told->text;
    }
    p.extended = extended_event(descriptors, p.language);
    if (const auto content = find<content_descriptor>(section, event, 0x54)) {
        p.content_nibbles.reserve(content->contents.size());
        for (const auto& entry : content->contents) p.content_nibbles.push_back(entry.first);
    }
    if (const auto parental = find<parental_descriptor>(section, event, 0x55)) {
        const auto rating = parental->ratings.find(brazil);
        if (rating != parental->ratings.end()) p.rating = rating->second;
    }
    return p;
}

void supply(programme& newer, const programme& older) {
    if (!newer.is_timed() && older.is_timed()) {
        newer.start = older.start;
        newer.duration = older.duration;
    } else if (newer.start == older.start && newer.duration == undefined_duration) {
        newer.duration = older.duration;
    }
    if (newer.name.empty()) {
        newer.language = older.language;
        newer.name = older.name;
    }
    if (newer.text.empty()) newer.text = older.text;
    if (newer.extended.empty()) newer.extended = older.extended;
    if (newer.content_nibbles.empty()) newer.content_nibbles = older.content_nibbles;
    if (!newer.rating) newer.rating = older.rating;
}

}  // namespace orvix::broadcast
