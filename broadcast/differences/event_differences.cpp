#include "event_differences.h"

#include <broadcast/names.h>
#include <broadcast/table_ids.h>
#include <broadcast/times.h>

#include <algorithm>
#include <limits>
#include <map>

#include "words.h"

namespace orvix::broadcast {

namespace {

/// The services of which one capture lacks parts of an EIT.
class missing_eits {
public:
    explicit missing_eits(const missing_parts& missing) {
        for (const missing_part& part : missing.parts) {
            if (!part.service_id) continue;
            const bool is_schedule = table_ids::is_schedule_actual(part.table_id);
            const bool is_present_following = table_ids::is_present_following(part.table_id);
            if (is_schedule) schedules_.insert(*part.service_id);
            if (is_present_following) present_following_.insert(*part.service_id);
        }
    }

    /// Whether all that there is of it has come; where nothing has, the SDT must say so.
    bool has_whole_schedule(const snapshot& of, std::uint16_t service_id) const {
        return schedules_.count(service_id) == 0 &&
               (of.tables.has_whole(table_ids::sdt_actual) ||
                of.tables.has_any(table_ids::first_schedule_actual, table_ids::last_schedule_actual,
                                  service_id));
    }
    bool has_whole_present_following(const snapshot& of, std::uint16_t service_id) const {
        return present_following_.count(service_id) == 0 &&
               (of.tables.has_whole(table_ids::sdt_actual) ||
                of.tables.has_any(table_ids::present_following_actual,
                                  table_ids::present_following_actual, service_id));
    }

private:
    std::set<std::uint16_t> schedules_;
    std::set<std::uint16_t> present_following_;
};

/// Of both captures: between their clocks and their ends, events come and go by themselves.
struct time_window {
    std::int64_t begin = std::numeric_limits<std::int64_t>::min();
    std::int64_t end = std::numeric_limits<std::int64_t>::max();

    bool has(const programme& event) const {
        const bool is_over = event.has_end() ? event.end() <= begin : event.start < begin;
        return !is_over && event.start < end;
    }
};

std::int64_t last_end(const channel& of) {
    std::int64_t end = 0;
    for (const programme& event : of.programmes) end = std::max<std::int64_t>(end, event.end());
    return end;
}

value event_value(const programme& event) {
    return value::record{{"event_name", text_value(event.name)},
                         {"start", value(time_in_words(event.start))}};
}

using events_by_id = std::map<std::uint32_t, const programme*>;

/// Those of one service.
class event_comparison {
public:
    event_comparison(changes& to, const channel& who, const time_window& window)
        : to_(to), service_id_(static_cast<std::uint16_t>(who.service_id)), window_(window) {
        told_service service;
        service.service_id = service_id_;
        service.number = who.number;
        service.name = who.name;
        who_ = in_words(service);
    }

    /// `has_all`: what only one of them has was added or removed.
    void compare(const channel& before, const channel& after, bool has_all) {
        const events_by_id old = by_id(before);
        const events_by_id now = by_id(after);
        for (const auto& [event_id, was] : old) {
            const auto is = now.find(event_id);
            const bool is_same = is != now.end() && are_one(*was, *is->second);
            if (is_same) {
                compare(*was, *is->second);
            } else if (has_all && window_.has(*was)) {
                add("event_removed", *was, event_value(*was), {}, in_words(*was) + " is gone");
            }
        }
        for (const auto& [event_id, is] : now) {
            const auto was = old.find(event_id);
            const bool is_same = was != old.end() && are_one(*was->second, *is);
            if (!is_same && has_all && window_.has(*is)) {
                add("event_added", *is, {}, event_value(*is), in_words(*is) + " is new");
            }
        }
    }

private:
    static events_by_id by_id(const channel& of) {
        events_by_id events;
        for (const programme& event : of.programmes) events[event.event_id] = &event;
        return events;
    }

    /// An event_id passes on to other events, as days go by.
    static bool are_one(const programme& was, const programme& is) {
        return was.name == is.name || was.start == is.start;
    }

    void compare(const programme& was, const programme& is) {
        if (!window_.has(was) || !window_.has(is)) return;
        if (was.name != is.name) {
            add("event_renamed", is, text_value(was.name), text_value(is.name),
                in_words(was) + " is now " + quoted(is.name));
        }
        if (was.start != is.start) {
            add("event_moved", is, value(time_in_words(was.start)), value(time_in_words(is.start)),
                in_words(was) + " begins now at " + time_in_words(is.start));
        }
        if (was.has_end() && is.has_end() && was.duration != is.duration) {
            add("event_duration_changed", is, duration_value(was), duration_value(is),
                in_words(is) + " lasted " + duration_words(was) + " and lasts now " +
                    duration_words(is));
        }
        compare_text(is, "its text", was.text, is.text);
        compare_text(is, "its extended text", was.extended, is.extended);
        if (was.rating && is.rating && was.rating != is.rating) {
            add("event_rating_changed", is, rating_value(*was.rating), rating_value(*is.rating),
                in_words(is) + " was rated " + rating_words(*was.rating) + " and is now rated " +
                    rating_words(*is.rating));
        }
        const bool has_genres = !was.content_nibbles.empty() && !is.content_nibbles.empty();
        if (has_genres && was.content_nibbles != is.content_nibbles) {
            add("event_genre_changed", is, genre_value(was), genre_value(is),
                in_words(is) + " has another genre");
        }
    }

    /// Present/following and schedule may tell more or less of an event, so that none is no change.
    void compare_text(const programme& is, const std::string& which, const std::string& before,
                      const std::string& after) {
        if (before.empty() || after.empty() || before == after) return;
        add("event_text_changed", is, text_value(before), text_value(after),
            in_words(is) + ": " + which + " has changed");
    }

    static value duration_value(const programme& event) {
        return value::number{static_cast<std::int64_t>(event.duration), 0, ""};
    }
    static std::string duration_words(const programme& event) {
        return std::string(clock_duration(event.duration).view());
    }
    static std::string rating_words(std::uint8_t rating) {
        return std::string(names::rating(brazil, rating).view());
    }
    static value rating_value(std::uint8_t rating) {
        return value::number{rating, 2, rating_words(rating)};
    }
    static value genre_value(const programme& event) {
        value::list genres;
        for (const std::uint8_t content_nibble : event.content_nibbles) {
            genres.push_back(value(std::string(names::genre(content_nibble).view())));
        }
        return genres;
    }

    void add(std::string_view kind, const programme& event, value before, value after,
             const std::string& what) {
        to_.push_back({kind, service_id_, static_cast<std::uint16_t>(event.event_id),
                       std::move(before), std::move(after), who_ + ": " + what});
    }

    changes& to_;
    std::uint16_t service_id_;
    time_window window_;
    std::string who_;
};

/// What is to be compared of a service, and whether that is all.
class comparison_of_all {
public:
    comparison_of_all(const snapshot& before, const snapshot& after)
        : before_(before),
          after_(after),
          missing_before_(before.whole.missing()),
          missing_after_(after.whole.missing()) {
        const auto was = before.whole.missing().clock;
        const auto is = after.whole.missing().clock;
        if (was) begin_ = *was;
        if (is) begin_ = std::max(begin_, *is);
        is_one_day_ = !was || !is || date_after(*was, 0) == date_after(*is, 0);
    }

    bool has_all(std::uint16_t service_id) const {
        return missing_before_.has_whole_schedule(before_, service_id) &&
               missing_after_.has_whole_schedule(after_, service_id) &&
               missing_before_.has_whole_present_following(before_, service_id) &&
               missing_after_.has_whole_present_following(after_, service_id);
    }

    time_window window(const channel& before, const channel& after) const {
        time_window window;
        window.begin = begin_;
        const auto service_id = static_cast<std::uint16_t>(after.service_id);
        const bool has_schedules =
            before_.tables.has_any(table_ids::first_schedule_actual,
                                   table_ids::last_schedule_actual, service_id) &&
            after_.tables.has_any(table_ids::first_schedule_actual, table_ids::last_schedule_actual,
                                  service_id);
        if (!is_one_day_ || !has_schedules) {
            window.end = std::min(end_of(before), end_of(after));
        }
        return window;
    }

private:
    static std::int64_t end_of(const channel& of) {
        return of.programmes.empty() ? std::numeric_limits<std::int64_t>::max() : last_end(of);
    }

    const snapshot& before_;
    const snapshot& after_;
    missing_eits missing_before_;
    missing_eits missing_after_;
    std::int64_t begin_ = std::numeric_limits<std::int64_t>::min();
    bool is_one_day_ = true;
};

using channel_key = std::pair<std::uint32_t, std::uint32_t>;

std::map<channel_key, channel> by_key(guide_contents contents) {
    std::map<channel_key, channel> channels;
    for (channel& c : contents.channels) {
        const channel_key key = {c.original_network_id, c.service_id};
        channels.emplace(key, std::move(c));
    }
    return channels;
}

}  // namespace

void add_event_differences(changes& to, const snapshot& before, const snapshot& after,
                           const std::set<std::uint16_t>& wanted) {
    std::map<channel_key, channel> old = by_key(before.programmes.contents(wanted));
    std::map<channel_key, channel> now = by_key(after.programmes.contents(wanted));
    // A service without events in one of them.
    for (const auto& [key, c] : old)
        now.try_emplace(key, channel{key.first, key.second, c.name, c.number, {}});
    for (const auto& [key, c] : now)
        old.try_emplace(key, channel{key.first, key.second, c.name, c.number, {}});

    const comparison_of_all all(before, after);
    for (const auto& [key, is] : now) {
        const channel& was = old.at(key);
        event_comparison(to, is, all.window(was, is))
            .compare(was, is, all.has_all(static_cast<std::uint16_t>(key.second)));
    }
}

}  // namespace orvix::broadcast
