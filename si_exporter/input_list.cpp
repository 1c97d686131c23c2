#include "input_list.h"

#include <inputs/network_address.h>
#include <inputs/source.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <set>

#include "printable.h"

namespace orvix::si_exporter {

namespace {

constexpr std::string_view letters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-.";

std::string_view trimmed(std::string_view line) {
    constexpr std::string_view blanks = " \t\r";
    const std::size_t begin = line.find_first_not_of(blanks);
    if (begin == std::string_view::npos) return {};
    return line.substr(begin, line.find_last_not_of(blanks) - begin + 1);
}

}  // namespace

named_input parse_input(const std::string& word) {
    const std::size_t equals = word.find('=');
    named_input parsed = {word.substr(0, equals),
                          equals == std::string::npos ? "" : word.substr(equals + 1)};
    constexpr std::size_t longest_name = 64;
    const bool has_name = !parsed.name.empty() && parsed.name.size() <= longest_name &&
                          parsed.name.find_first_not_of(letters) == std::string::npos;
    if (!has_name || parsed.address.empty()) {
        throw list_error("'" + printable(word) +
                         "' is not like NAME=INPUT, the name of letters, digits, '_', '-', '.'");
    }
    try {
        inputs::parse_network_address(parsed.address);
    } catch (const inputs::source_error& e) {
        throw list_error(printable(word) + ": " + e.what());
    }
    return parsed;
}

std::vector<named_input> read_input_list(const std::string& path) {
    std::ifstream file(path);
    if (!file) throw list_error(path + ": " + std::strerror(errno));
    std::vector<named_input> all;
    std::string line;
    for (std::size_t number = 1; std::getline(file, line); ++number) {
        const std::string_view word = trimmed(line);
        if (word.empty() || word.front() == '#') continue;
        try {
            all.push_back(parse_input(std::string(word)));
        } catch (const list_error& e) {
            throw list_error(path + ":" + std::to_string(number) + ": " + e.what());
        }
    }
    if (file.bad()) throw list_error(path + ": cannot be read");
    return all;
}

void check_input_list(const std::vector<named_input>& all) {
    if (all.size() > most_inputs) {
        throw list_error("more than " + std::to_string(most_inputs) + " inputs");
    }
    std::set<std::string_view> names;
    for (const named_input& input : all) {
        if (!names.insert(input.name).second) {
            throw list_error("two inputs have the name '" + input.name + "'");
        }
    }
}

}  // namespace orvix::si_exporter
