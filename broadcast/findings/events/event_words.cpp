#include "event_words.h"

#include <broadcast/findings/wording.h>
#include <broadcast/programme.h>
#include <broadcast/times.h>

namespace orvix::broadcast {

using namespace si_parser;

const short_event_descriptor* short_event_of(const eit::event& event) {
    constexpr std::uint8_t short_event = 0x4D;
    for (const descriptor_ptr& d : event.descriptors) {
        if (d->tag == short_event) return static_cast<const short_event_descriptor*>(d.get());
    }
    return nullptr;
}

std::optional<std::int64_t> start_of(const eit::event& event) {
    if (event.start_time == undefined_time) return std::nullopt;
    return as_sent(event.start_time);
}

std::optional<std::int64_t> end_of(const eit::event& event) {
    const std::optional<std::int64_t> start = start_of(event);
    if (!start || event.duration == undefined_duration || event.duration <= 0) return std::nullopt;
    return *start + event.duration;
}

std::string event_words(const eit::event& event) {
    std::string words = "event " + wording::hex(event.event_id, 4);
    const short_event_descriptor* const told = short_event_of(event);
    if (told != nullptr && !is_blank(told->event_name)) {
        words += ' ' + wording::quoted(told->event_name);
    }
    return words;
}

}  // namespace orvix::broadcast
