#pragma once

#include <optional>
#include <string>
#include <vector>

#include "monitor.h"

namespace orvix::si_exporter {

constexpr int exit_ok = 0;
constexpr int exit_usage = 2;
constexpr int exit_failure = 3;

struct options {
    std::vector<std::string> inputs;  ///< NAME=INPUT
    std::string inputs_file;          ///< one in each line; empty: none
    std::string listen_address = "127.0.0.1:9879";
    monitor::settings monitoring;
};

struct parsed_options {
    options is;
    std::optional<int> exit_status;  ///< the program has nothing else to do
};

/// Prints help, version and what is wrong.
parsed_options parse_options(int argc, const char* const* argv);

}  // namespace orvix::si_exporter
