#include "service_differences.h"

#include <broadcast/names.h>
#include <broadcast/table_ids.h>

#include <algorithm>
#include <bitset>

#include "words.h"

namespace orvix::broadcast {

namespace {

value stream_value(const service_stream& stream) {
    value::record fields = {
        {"elementary_PID", hex_value(stream.elementary_pid)},
        {"stream_type", value::number{stream.stream_type, 2,
                                      std::string(names::stream_type(stream.stream_type))}}};
    fields.push_back(
        {"component_tag", stream.component_tag ? hex_value(*stream.component_tag, 2) : value()});
    fields.push_back({"language", text_value(stream.language)});
    return fields;
}

value application_value(const service_application& application) {
    return value::record{{"organisation_id", hex_value(application.organisation_id, 8)},
                         {"application_id", hex_value(application.application_id)},
                         {"name", text_value(application.name)}};
}

/// "AAC audio por on PID 0x0112 (274)"
std::string stream_words(const service_stream& stream) {
    return in_words(stream) + " on PID " + pid_in_words(stream.elementary_pid);
}

std::string application_words(const service_application& application) {
    const std::string name = application.name.empty() ? "without a name" : quoted(application.name);
    return "application " + name;
}

/// Compares one service with itself.
class service_comparison {
public:
    service_comparison(changes& to, const told_service& before, const told_service& after)
        : to_(to), before_(before), after_(after), who_(in_words(after)) {}

    void compare_description() {
        if (!before_.is_described || !after_.is_described) return;
        if (before_.name != after_.name) {
            add("service_renamed", text_value(before_.name), text_value(after_.name),
                renamed_in_words(before_.name, after_.name));
        }
        if (before_.service_type != after_.service_type) {
            add("service_type_changed", type_value(before_), type_value(after_),
                "was " + type_words(before_) + " and is now " + type_words(after_));
        }
    }

    void compare_number() {
        if (before_.number == after_.number) return;
        add("number_changed", text_value(before_.number), text_value(after_.number),
            "had the number " + number_words(before_) + " and has now " + number_words(after_));
    }

    void compare_pids() {
        if (before_.program_map_pid && after_.program_map_pid) {
            compare_pid("pmt_moved", "its PMT", *before_.program_map_pid, *after_.program_map_pid);
        }
        if (before_.pcr_pid && after_.pcr_pid) {
            compare_pid("pcr_moved", "its clock", *before_.pcr_pid, *after_.pcr_pid);
        }
    }

    void compare_streams() {
        if (!before_.streams || !after_.streams) return;
        std::vector<const service_stream*> gone = all_of(*before_.streams);
        std::vector<const service_stream*> come = all_of(*after_.streams);
        match(gone, come, [this](const service_stream& old, const service_stream& now) {
            if (old.elementary_pid != now.elementary_pid) return false;
            compare_stream(old, now);
            return true;
        });
        match(gone, come, [this](const service_stream& old, const service_stream& now) {
            const bool is_same = old.component_tag && old.component_tag == now.component_tag &&
                                 old.stream_type == now.stream_type;
            if (!is_same) return false;
            add("stream_moved", stream_value(old), stream_value(now),
                stream_words(old) + " is now on PID " + pid_in_words(now.elementary_pid));
            return true;
        });
        for (const service_stream* const old : gone) {
            add("stream_removed", stream_value(*old), {}, "has lost " + stream_words(*old));
        }
        for (const service_stream* const now : come) {
            add("stream_added", {}, stream_value(*now), "has got " + stream_words(*now));
        }
    }

    void compare_applications() {
        static const std::vector<service_application> none;
        const auto& before = before_.applications ? *before_.applications : none;
        const auto& after = after_.applications ? *after_.applications : none;
        std::vector<const service_application*> gone = all_of(before);
        std::vector<const service_application*> come = all_of(after);
        match(gone, come, [this](const service_application& old, const service_application& now) {
            const bool is_same = old.organisation_id == now.organisation_id &&
                                 old.application_id == now.application_id &&
                                 old.application_type == now.application_type;
            if (is_same) compare_application(old, now);
            return is_same;
        });
        for (const service_application* const old : gone) {
            add("application_removed", application_value(*old), {},
                "has lost the " + application_words(*old));
        }
        for (const service_application* const now : come) {
            add("application_added", {}, application_value(*now),
                "has got the " + application_words(*now));
        }
    }

private:
    template <typename Entry>
    static std::vector<const Entry*> all_of(const std::vector<Entry>& entries) {
        std::vector<const Entry*> all;
        all.reserve(entries.size());
        for (const Entry& entry : entries) all.push_back(&entry);
        return all;
    }

    /// Drops from both those that `is_same` says are one.
    template <typename Entry, typename IsSame>
    static void match(std::vector<const Entry*>& gone, std::vector<const Entry*>& come,
                      IsSame is_same) {
        const auto has_partner = [&](const Entry* old) {
            const auto now = std::find_if(come.begin(), come.end(),
                                          [&](const Entry* n) { return is_same(*old, *n); });
            if (now == come.end()) return false;
            come.erase(now);
            return true;
        };
        gone.erase(std::remove_if(gone.begin(), gone.end(), has_partner), gone.end());
    }

    void compare_stream(const service_stream& old, const service_stream& now) {
        const bool is_same = old.stream_type == now.stream_type &&
                             old.component_tag == now.component_tag && old.language == now.language;
        if (is_same) return;
        add("stream_changed", stream_value(old), stream_value(now),
            "PID " + pid_in_words(old.elementary_pid) + " was " + kind_words(old) + " and is now " +
                kind_words(now));
    }

    static std::string kind_words(const service_stream& stream) {
        const std::string tag =
            stream.component_tag ? std::to_string(*stream.component_tag) : "none";
        std::string words(names::stream_type(stream.stream_type));
        if (!stream.language.empty()) words += ' ' + stream.language;
        return words + " with component_tag " + tag;
    }

    void compare_application(const service_application& old, const service_application& now) {
        if (old.name != now.name) {
            add("application_renamed", text_value(old.name), text_value(now.name),
                "an application " + renamed_in_words(old.name, now.name));
        }
        if (old.application_control_code != now.application_control_code) {
            const std::string was(names::application_control_code(old.application_control_code));
            const std::string is(names::application_control_code(now.application_control_code));
            add("application_control_changed", value::number{old.application_control_code, 2, was},
                value::number{now.application_control_code, 2, is},
                application_words(now) + " was " + was + " and is now " + is);
        }
    }

    void compare_pid(std::string_view kind, const std::string& what, std::uint16_t before,
                     std::uint16_t after) {
        if (before == after) return;
        add(kind, hex_value(before), hex_value(after),
            what + " was on PID " + pid_in_words(before) + " and is now on PID " +
                pid_in_words(after));
    }

    static std::string number_words(const told_service& service) {
        return service.number.empty() ? "none" : service.number;
    }
    static value type_value(const told_service& service) {
        if (!service.service_type) return {};
        return value::number{*service.service_type, 2,
                             std::string(names::service_type(*service.service_type))};
    }
    static std::string type_words(const told_service& service) {
        return service.service_type ? std::string(names::service_type(*service.service_type))
                                    : "of no type";
    }

    void add(std::string_view kind, value before, value after, const std::string& what) {
        to_.push_back(
            {kind, after_.service_id, {}, std::move(before), std::move(after), who_ + ": " + what});
    }

    changes& to_;
    const told_service& before_;
    const told_service& after_;
    std::string who_;
};

void compare_text(changes& to, std::string_view kind, const std::string& what,
                  const std::string& before, const std::string& after) {
    if (before == after) return;
    to.push_back({kind,
                  {},
                  {},
                  text_value(before),
                  text_value(after),
                  what + ' ' + renamed_in_words(before, after)});
}

void compare_id(changes& to, std::string_view kind, const std::string& what,
                const std::optional<std::uint16_t>& before,
                const std::optional<std::uint16_t>& after) {
    if (!before || !after || before == after) return;
    to.push_back({kind,
                  {},
                  {},
                  hex_value(*before),
                  hex_value(*after),
                  what + " was " + pid_in_words(*before) + " and is now " + pid_in_words(*after)});
}

value service_value(const told_service& service) {
    return value::record{{"number", text_value(service.number)},
                         {"name", text_value(service.name)}};
}

}  // namespace

void add_service_differences(changes& to, const snapshot& before, const snapshot& after,
                             const std::set<std::uint16_t>& wanted) {
    const auto both_have_whole = [&](std::uint8_t table_id) {
        return before.tables.has_whole(table_id) && after.tables.has_whole(table_id);
    };
    const told_services old = before.services_told.told();
    const told_services now = after.services_told.told();

    const bool has_network = both_have_whole(table_ids::nit_actual);
    if (has_network) {
        compare_id(to, "network_id_changed", "the network_id", old.network_id, now.network_id);
        compare_text(to, "network_renamed", "the network", old.network_name, now.network_name);
        compare_text(to, "transport_stream_renamed", "the transport stream", old.ts_name,
                     now.ts_name);
    }
    if (both_have_whole(table_ids::pat)) {
        compare_id(to, "transport_stream_id_changed", "the transport_stream_id",
                   old.transport_stream_id, now.transport_stream_id);
    }
    if (both_have_whole(table_ids::sdt_actual)) {
        compare_id(to, "original_network_id_changed", "the original_network_id",
                   old.original_network_id, now.original_network_id);
    }

    // The PAT lists the services, and where there is none, the SDT.
    const auto lists_by = [](const snapshot& of) {
        return of.tables.has_whole(table_ids::pat) ? table_ids::pat : table_ids::sdt_actual;
    };
    const bool has_list = lists_by(before) == lists_by(after) && both_have_whole(lists_by(after));
    const auto is_wanted = [&wanted](const told_service& service) {
        return wanted.empty() || wanted.count(service.service_id) != 0;
    };
    const auto aits_before = before.tables.pids_of_whole_aits();
    const auto aits_after = after.tables.pids_of_whole_aits();
    const auto has_ait = [](const std::bitset<0x2000>& on, const told_service& service) {
        return service.streams && std::any_of(service.streams->begin(), service.streams->end(),
                                              [&on](const service_stream& stream) {
                                                  return on[stream.elementary_pid];
                                              });
    };

    auto was = old.services.begin();
    auto is = now.services.begin();
    while (was != old.services.end() || is != now.services.end()) {
        const bool is_gone = is == now.services.end() ||
                             (was != old.services.end() && was->service_id < is->service_id);
        const bool is_new =
            !is_gone && (was == old.services.end() || is->service_id < was->service_id);
        if (is_gone) {
            if (has_list && is_wanted(*was)) {
                to.push_back({"service_removed",
                              was->service_id,
                              {},
                              service_value(*was),
                              {},
                              in_words(*was) + " is gone"});
            }
            ++was;
        } else if (is_new) {
            if (has_list && is_wanted(*is)) {
                to.push_back({"service_added",
                              is->service_id,
                              {},
                              {},
                              service_value(*is),
                              in_words(*is) + " is new"});
            }
            ++is;
        } else {
            if (is_wanted(*is)) {
                service_comparison comparison(to, *was, *is);
                comparison.compare_description();
                if (has_network) comparison.compare_number();
                comparison.compare_pids();
                comparison.compare_streams();
                if (has_ait(aits_before, *was) && has_ait(aits_after, *is)) {
                    comparison.compare_applications();
                }
            }
            ++was;
            ++is;
        }
    }
}

}  // namespace orvix::broadcast
