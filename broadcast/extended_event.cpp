#include "extended_event.h"

#include <algorithm>
#include <vector>

#include "readings/broadcast_text.h"
#include "readings/descriptor_bodies.h"
#include "readings/section_loops.h"

namespace orvix::broadcast {

namespace {

constexpr std::uint8_t extended_event_tag = 0x4E;

std::string language_of(span descriptor) {
    constexpr std::size_t header = 3;  // tag, length, both descriptor numbers
    constexpr std::size_t letters = 3;
    return broadcast_text(descriptor.behind(header).first(letters));
}

const value& field(const value::record& of, std::string_view name) {
    return std::find_if(of.begin(), of.end(),
                        [name](const named_value& field) { return field.name == name; })
        ->is;
}

const std::string& text(const value::record& of, std::string_view name) {
    return std::get<std::string>(field(of, name).is);
}

void add_line(std::string& to, const std::string& line) {
    if (line.empty()) return;
    if (!to.empty()) to += '\n';
    to += line;
}

std::string lines_of(const value::record& event) {
    std::string lines = text(event, "text");
    for (const value& entry : std::get<value::list>(field(event, "items").is)) {
        const auto& item = std::get<value::record>(entry.is);
        const std::string& description = text(item, "item_description");
        add_line(lines, description.empty() ? text(item, "item")
                                            : description + ": " + text(item, "item"));
    }
    return lines;
}

}  // namespace

std::string extended_event(span descriptors, const std::string& language) {
    extended_events events;
    std::vector<std::string> languages;  // by the id of their parts
    for_each_descriptor(descriptors, [&](span descriptor) {
        if (descriptor.u8(0) != extended_event_tag || !is_whole(descriptor)) return;
        events.add(languages.size(), descriptor);
        languages.push_back(language_of(descriptor));
    });
    const std::vector<extended_events::joined> told = events.join();
    if (told.empty()) return "";
    const auto wanted = std::find_if(told.begin(), told.end(), [&](const auto& event) {
        return languages[event.id] == language;
    });
    return lines_of((wanted == told.end() ? told.front() : *wanted).fields);
}

}  // namespace orvix::broadcast
