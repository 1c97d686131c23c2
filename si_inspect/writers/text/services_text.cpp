#include "writers/text/services_text.h"

#include <broadcast/names.h>

#include <algorithm>
#include <string_view>

#include "display.h"
#include "writers/hex.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

constexpr std::string_view bold = "\033[1m";
constexpr std::string_view cyan = "\033[36m";
constexpr std::string_view no_color = "\033[0m";

constexpr std::string_view untold = "not told";

// A service is to fit on a screen of 24 lines. Hardly one has more of these.
constexpr std::size_t most_streams = 8;
constexpr std::size_t most_applications = 4;

/// "0x0111 (273)"
std::string id(std::uint16_t value) {
    return hex_number(value, 4) + " (" + std::to_string(value) + ')';
}

template <typename Value>
std::string id_or_untold(const std::optional<Value>& value) {
    return value ? id(*value) : std::string(untold);
}

/// The broadcast's words, and what stands behind them.
std::string with_words(const std::string& words, const std::string& rest) {
    return words.empty() ? rest : printable(words) + ", " + rest;
}

/// Lines of two columns, a name and its values below each other.
class lines {
public:
    lines(bool color, std::size_t indent, std::size_t width)
        : color_(color), indent_(indent), width_(width) {}

    void add(std::string_view name, const std::string& value) {
        text_.append(indent_, ' ');
        if (color_ && !name.empty()) text_ += cyan;
        text_ += name;
        if (color_ && !name.empty()) text_ += no_color;
        text_.append(width_ - name.size() + 2, ' ').append(value).append("\n");
    }
    void add(std::string_view name, const std::vector<std::string>& values) {
        for (const std::string& value : values) {
            add(name, value);
            name = {};
        }
    }
    const std::string& text() const { return text_; }

private:
    bool color_;
    std::size_t indent_;
    std::size_t width_;
    std::string text_;
};

/// Of entries that do not all fit, how many are left.
void add_rest(std::vector<std::string>& to, std::size_t all, std::size_t most) {
    if (all > most) to.push_back("and " + std::to_string(all - most) + " more");
}

std::vector<std::string> streams_of(const told_service& service) {
    if (!service.streams) return {std::string(untold)};
    if (service.streams->empty()) return {"none"};
    const std::size_t count = std::min(service.streams->size(), most_streams);
    std::vector<std::string> words;
    std::size_t width = 0;
    for (std::size_t i = 0; i < count; ++i) {
        words.push_back(printable(in_words((*service.streams)[i])));
        width = std::max(width, display_width(words.back()).value_or(0));
    }
    std::vector<std::string> told;
    for (std::size_t i = 0; i < count; ++i) {
        const service_stream& stream = (*service.streams)[i];
        std::string line = padded(id(stream.elementary_pid), id(0x1FFF).size()) + "  ";
        line += stream.component_tag ? padded(words[i], width) + "  component_tag " +
                                           hex_number(*stream.component_tag, 2)
                                     : words[i];
        told.push_back(std::move(line));
    }
    add_rest(told, service.streams->size(), most_streams);
    return told;
}

std::vector<std::string> applications_of(const std::vector<service_application>& applications) {
    std::vector<std::string> told;
    for (std::size_t i = 0; i < std::min(applications.size(), most_applications); ++i) {
        const service_application& a = applications[i];
        std::string line(names::application_type(a.application_type).view());
        line.append(", ").append(names::application_control_code(a.application_control_code));
        line += ", organisation " + hex_number(a.organisation_id, 8) + ", application " +
                hex_number(a.application_id, 4);
        told.push_back(with_words(a.name, line));
    }
    add_rest(told, applications.size(), most_applications);
    return told;
}

/// "2026-11-21 20:30:00, 0:45:00"
std::string times_of(const event_on_air& event, utc_offset offset) {
    constexpr std::size_t date_size = 10;
    constexpr std::size_t time_size = 8;
    std::string told = "no start time";
    if (event.start_time != undefined_time) {
        const short_text iso = iso_time(event.start_time, offset);
        told = iso.view().substr(0, date_size);
        told.append(" ").append(iso.view().substr(date_size + 1, time_size));
    }
    if (event.duration == undefined_duration) return told + ", no duration";
    return told.append(", ").append(clock_duration(event.duration));
}

/// "rated 12, violence; soap opera"
std::string kind_of(const event_on_air& event) {
    std::string told;
    if (event.rating) {
        const short_text rating = names::rating(event.rating->country_code, event.rating->rating);
        told.append("rated ").append(rating);
    }
    std::vector<std::uint8_t> done;
    for (const std::uint8_t content_nibble : event.content_nibbles) {
        if (std::find(done.begin(), done.end(), content_nibble) != done.end()) continue;
        done.push_back(content_nibble);
        told.append(told.empty() ? "" : "; ").append(names::genre(content_nibble));
    }
    return told;
}

std::vector<std::string> event_lines(const std::optional<event_on_air>& event, utc_offset offset) {
    if (!event) return {std::string(untold)};
    std::vector<std::string> told = {times_of(*event, offset)};
    if (!event->name.empty()) told.front() += "  " + printable(event->name);
    if (std::string kind = kind_of(*event); !kind.empty()) told.push_back(std::move(kind));
    return told;
}

std::string service_text(const told_service& service, const text_writer::settings& how) {
    std::string title = service.number.empty() ? id(service.service_id) : service.number;
    title += "  " + (service.name.empty() ? "without a name" : printable(service.name));
    if (how.color) title = std::string(bold) + title + std::string(no_color);

    lines to(how.color, 2, std::string_view("applications").size());
    std::string type(untold);
    if (service.service_type) {
        type = names::service_type(*service.service_type);
        type += " (" + hex_number(*service.service_type, 2) + ')';
    }
    to.add("service_id", id(service.service_id));
    to.add("service_type", type);
    to.add("PMT PID", id_or_untold(service.program_map_pid));
    constexpr std::uint16_t no_pcr = 0x1FFF;
    to.add("PCR PID", service.pcr_pid == no_pcr ? "none" : id_or_untold(service.pcr_pid));
    to.add("streams", streams_of(service));
    if (service.applications) to.add("applications", applications_of(*service.applications));
    to.add("now", event_lines(service.present, how.offset));
    to.add("next", event_lines(service.following, how.offset));
    return title + '\n' + to.text();
}

}  // namespace

std::string services_text(const std::string& file, const told_services& all,
                          const text_writer::settings& how) {
    lines to(how.color, 0, std::string_view("transport stream").size());
    if (!file.empty()) to.add("file", printable(file));
    to.add("network", with_words(all.network_name, id_or_untold(all.network_id)));
    to.add("transport stream", with_words(all.ts_name, id_or_untold(all.transport_stream_id)));
    std::string text = to.text();
    for (const told_service& service : all.services) text += '\n' + service_text(service, how);
    return text;
}

}  // namespace orvix::si_inspect
