#include "output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "display.h"

namespace orvix::si_inspect {

namespace {

[[noreturn]] void fail(const std::string& path) {
    throw output_error(printable(path) + ": " + std::strerror(errno));
}

bool is_special(const std::string& path) {
    struct stat found = {};
    return stat(path.c_str(), &found) == 0 && !S_ISREG(found.st_mode);
}

/// The file that a link leads to, so that the link itself stays.
std::string behind_links(const std::string& path) {
    std::error_code none;
    const auto real = std::filesystem::canonical(path, none);
    return none ? path : real.string();
}

/// The permissions of the file that stood at `path`, or those of a new one.
mode_t permissions_for(const std::string& path) {
    struct stat found = {};
    if (stat(path.c_str(), &found) == 0) return found.st_mode & 07777;
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

}  // namespace

output::output() : descriptor_(STDOUT_FILENO), path_("standard output") {}

output::output(const std::string& path) : path_(behind_links(path)) {
    if (is_special(path_)) {
        descriptor_ = open(path_.c_str(), O_WRONLY | O_CLOEXEC);
        if (descriptor_ < 0) fail(path_);
        return;
    }
    // In the same folder: a file is renamed in one step only within its file system.
    aside_ = path_ + ".XXXXXX";
    descriptor_ = mkostemp(aside_.data(), O_CLOEXEC);
    if (descriptor_ < 0) fail(path_);
    if (fchmod(descriptor_, permissions_for(path_)) != 0) {
        close(descriptor_);
        unlink(aside_.c_str());
        fail(path_);
    }
}

output::~output() {
    if (descriptor_ >= 0 && descriptor_ != STDOUT_FILENO) close(descriptor_);
    if (!aside_.empty()) unlink(aside_.c_str());
}

void output::write(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor_, text.data(), text.size());
        if (written < 0) {
            if (errno == EINTR) continue;
            if (errno == EPIPE) throw output_closed();
            fail(path_);
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

void output::commit() {
    if (descriptor_ == STDOUT_FILENO) return;
    // Some file systems tell only now that the bytes did not fit.
    const int closed = close(descriptor_);
    descriptor_ = -1;
    if (closed != 0) fail(path_);
    if (aside_.empty()) return;
    if (std::rename(aside_.c_str(), path_.c_str()) != 0) fail(path_);
    aside_.clear();
}

bool output::is_terminal() const { return isatty(descriptor_) == 1; }

}  // namespace orvix::si_inspect
