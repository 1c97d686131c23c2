#include "writers/m3u_writer.h"

#include <broadcast/utf8.h>

#include <algorithm>
#include <string_view>

#include "display.h"
#include "writers/channel_id.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

constexpr std::string_view service_id_word = "{service_id}";
constexpr std::string_view number_word = "{number}";

/// Words that stay in their place. The format knows no escapes: quotes end an attribute, commas
/// the attributes, and line breaks all of it.
std::string in_line(std::string_view words) {
    std::string safe;
    while (!words.empty()) {
        const utf8_character next = first_character(words);
        if (words[0] == '"') {
            safe += '\'';
        } else if (words[0] == ',') {
            safe += ';';
        } else if (next.is_valid && !is_hidden(next.code)) {
            safe += words.substr(0, next.size);
        }
        words.remove_prefix(next.size);
    }
    return safe;
}

void add_attribute(std::string& to, std::string_view name, const std::string& value) {
    if (value.empty()) return;
    to.append(" ").append(name).append("=\"").append(in_line(value)).append("\"");
}

std::string with_words(std::string address, const told_service& service) {
    const auto put_in = [&address](std::string_view word, const std::string& value) {
        for (std::size_t at = 0; (at = address.find(word, at)) != std::string::npos;) {
            address.replace(at, word.size(), value);
        }
    };
    put_in(service_id_word, std::to_string(service.service_id));
    put_in(number_word, service.number);
    return address;
}

std::string name_of(const told_service& service) {
    std::string name = in_line(service.name);
    if (name.find_first_not_of(' ') != std::string::npos) return name;
    return service.number.empty() ? std::to_string(service.service_id) : service.number;
}

/// "#EXTINF:-1 tvg-id="s23584.n737.isdb-tb.br" tvg-chno="3.1" ...,TV Manacá HD"
std::string information(const told_services& of, const told_service& service) {
    const std::string name = name_of(service);
    std::string line = "#EXTINF:-1";
    if (of.original_network_id) {
        add_attribute(line, "tvg-id", channel_id(*of.original_network_id, service.service_id));
    }
    add_attribute(line, "tvg-chno", service.number);
    add_attribute(line, "tvg-name", name);
    add_attribute(line, "group-title", of.ts_name.empty() ? of.network_name : of.ts_name);
    constexpr std::uint8_t digital_radio = 0x02;
    if (service.service_type == digital_radio) add_attribute(line, "radio", "true");
    return line + ',' + name;
}

}  // namespace

std::string why_no_address(const std::string& address) {
    const auto steers = [](char c) { return static_cast<unsigned char>(c) <= ' ' || c == '\x7F'; };
    if (address.empty()) return "is empty";
    if (address[0] == '#') return "begins as a comment does";
    if (std::any_of(address.begin(), address.end(), steers)) return "has a space or a line break";
    for (std::size_t at = 0; (at = address.find('{', at)) != std::string::npos; ++at) {
        const std::string_view rest = std::string_view(address).substr(at);
        const auto begins_with = [rest](std::string_view word) {
            return rest.substr(0, word.size()) == word;
        };
        if (begins_with(service_id_word) || begins_with(number_word)) continue;
        return "has a '{' without service_id} or number} behind it";
    }
    return {};
}

void m3u_writer::services(const std::string& /*file*/, const told_services& all) {
    const bool needs_number = address_.find(number_word) != std::string::npos;
    std::uint64_t without_number = 0;
    for (const told_service& service : all.services) {
        if (needs_number && service.number.empty()) {
            ++without_number;
            continue;
        }
        lines_ += information(all, service) + '\n' + with_words(address_, service) + '\n';
    }
    to_.write(lines_);
    lines_.clear();
    if (without_number != 0) {
        notice_("m3u: left out services without a number: " + std::to_string(without_number));
    }
}

void m3u_writer::finish(const totals* /*counts*/) { to_.write(lines_); }

}  // namespace orvix::si_inspect
