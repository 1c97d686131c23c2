#pragma once

#include <optional>
#include <string>
#include <vector>

namespace orvix::si_inspect {

/// Where the links of a path lead to, whether there is something or not.
struct destination {
    std::string path;
    std::optional<int> descriptor;  ///< of the program itself: "/dev/stdout", "/dev/fd/3"
};

/// Links must not lead in circles.
destination behind_links(const std::string& path);

/// Throws output_error where the output (a path, or empty for the standard output) is the same file
/// as one of the inputs ("-" for the standard input), whatever they are called.
void refuse_to_damage(const std::vector<std::string>& inputs, const std::string& output);

}  // namespace orvix::si_inspect
