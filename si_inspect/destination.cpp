#include "destination.h"

#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <filesystem>
#include <system_error>

#include "display.h"
#include "output.h"

namespace orvix::si_inspect {

namespace {

namespace fs = std::filesystem;

/// The descriptor that a path such as "/dev/fd/3" means.
std::optional<int> own_descriptor(const fs::path& path) {
    std::error_code none;
    const fs::path own = fs::canonical("/proc/self/fd", none);
    if (none || fs::canonical(path.parent_path(), none) != own) return std::nullopt;
    const std::string number = path.filename().string();
    int descriptor = -1;
    const auto read = std::from_chars(number.data(), number.data() + number.size(), descriptor);
    if (read.ec != std::errc() || read.ptr != number.data() + number.size()) return std::nullopt;
    return descriptor;
}

/// Nothing where there is no such file.
std::optional<struct stat> status_of(const std::string& path, const std::string& standard_stream,
                                     int descriptor) {
    struct stat found = {};
    const int failed =
        path == standard_stream ? fstat(descriptor, &found) : stat(path.c_str(), &found);
    if (failed != 0) return std::nullopt;
    return found;
}

/// Whether writing the one changes what is read of the other.
bool are_one(const struct stat& a, const struct stat& b) {
    if (S_ISREG(a.st_mode)) return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
    return S_ISBLK(a.st_mode) && S_ISBLK(b.st_mode) && a.st_rdev == b.st_rdev;
}

}  // namespace

destination behind_links(const std::string& path) {
    fs::path end = path;
    for (;;) {
        std::error_code none;
        if (const auto descriptor = own_descriptor(end)) return {end.string(), descriptor};
        if (!fs::is_symlink(end, none)) return {end.string(), std::nullopt};
        // An absolute one replaces the folder.
        end = end.parent_path() / fs::read_symlink(end, none);
    }
}

void refuse_to_damage(const std::vector<std::string>& inputs, const std::string& output) {
    const auto written = status_of(output, "", STDOUT_FILENO);
    if (!written) return;
    for (const std::string& input : inputs) {
        const auto read = status_of(input, "-", STDIN_FILENO);
        if (!read || !are_one(*written, *read)) continue;
        throw output_error((output.empty() ? "standard output" : printable(output)) +
                           ": writing it would damage the input " +
                           (input == "-" ? "(standard input)" : printable(input)));
    }
}

}  // namespace orvix::si_inspect
