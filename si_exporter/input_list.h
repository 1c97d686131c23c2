#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace orvix::si_exporter {

/// An input and what the metrics call it.
struct named_input {
    std::string name;
    std::string address;  ///< as `inputs::open_source` takes it

    friend bool operator==(const named_input& a, const named_input& b) {
        return a.name == b.name && a.address == b.address;
    }
};

/// A list of inputs that cannot be used; `what()` says where and why.
class list_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Each has a thread; more than a machine can follow.
constexpr std::size_t most_inputs = 1'000;

/// "NAME=INPUT": a name of letters, digits, '_', '-' and '.', at most 64. Throws list_error.
named_input parse_input(const std::string& word);

/// One input in each line; empty lines and those that begin with '#' are none. Throws list_error.
std::vector<named_input> read_input_list(const std::string& path);

/// Throws list_error where a name stands twice, or where there are too many.
void check_input_list(const std::vector<named_input>& all);

}  // namespace orvix::si_exporter
