#pragma once

// What a tool writes, line by line.

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

namespace orvix::test {

inline std::vector<std::string> lines_of(const std::string& text) {
    std::istringstream from(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(from, line);) lines.push_back(line);
    return lines;
}

/// Of JSON lines; fails with an exception where one is none.
template <typename Json = nlohmann::json>
std::vector<Json> objects_of(const std::string& text) {
    std::vector<Json> objects;
    for (const std::string& line : lines_of(text)) objects.push_back(Json::parse(line));
    return objects;
}

}  // namespace orvix::test
