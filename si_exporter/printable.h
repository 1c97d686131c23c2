#pragma once

#include <string>

namespace orvix::si_exporter {

/// What comes from outside may hold what steers a terminal.
inline std::string printable(std::string word) {
    for (char& c : word) {
        if (c < ' ' || c == '\x7F') c = '?';
    }
    return word;
}

}  // namespace orvix::si_exporter
