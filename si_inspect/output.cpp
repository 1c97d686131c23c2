#include "output.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include "destination.h"
#include "display.h"
#include "interruption.h"

namespace orvix::si_inspect {

namespace {

// A pipe that is ready takes as much at once, so that no write waits where no interruption reaches
// it.
constexpr std::size_t most_at_once = PIPE_BUF;
// After an interruption, a reader that takes nothing for so long has ended or hangs.
constexpr int patience_in_ms = 2000;
// How often a named pipe is asked for a reader.
constexpr int asking_in_ms = 100;

[[noreturn]] void fail_at(const std::string& name) {
    throw output_error(name + ": " + std::strerror(errno));
}

/// Waits until bytes can be written; false where an interruption finds a reader that takes none.
bool wait_for_room(int descriptor) {
    for (;;) {
        const bool interrupted = interruption::happened();
        pollfd waited_for[] = {{descriptor, POLLOUT, 0},
                               {interrupted ? -1 : interruption::descriptor(), POLLIN, 0}};
        const int ready = poll(waited_for, 2, interrupted ? patience_in_ms : -1);
        if (ready == 0) return false;
        const bool failed = ready < 0 && errno != EINTR;
        if (failed || waited_for[0].revents != 0) return true;  // the write says why
    }
}

void write_all(int descriptor, const std::string& name, std::string_view text) {
    while (!text.empty()) {
        if (!wait_for_room(descriptor)) {
            throw output_error(name + ": interrupted, and nobody reads it");
        }
        const std::size_t size = std::min(text.size(), most_at_once);
        const ssize_t written = ::write(descriptor, text.data(), size);
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EPIPE) {
            throw output_closed();
        } else if (errno != EINTR && errno != EAGAIN) {
            fail_at(name);
        }
    }
}

int open_pipe_for_writing(const std::string& path) {
    for (;;) {
        const int descriptor = open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK);
        const bool has_no_reader = descriptor < 0 && errno == ENXIO;
        if (!has_no_reader) return descriptor;
        pollfd waited_for = {interruption::descriptor(), POLLIN, 0};
        poll(&waited_for, 1, asking_in_ms);
        if (interruption::happened()) throw output_closed();
    }
}

int open_special(const std::string& path, bool is_pipe) {
    return is_pipe ? open_pipe_for_writing(path) : open(path.c_str(), O_WRONLY | O_CLOEXEC);
}

/// A copy of a descriptor that the program was started with; not one of its own.
int copy_of(int descriptor) {
    const int flags = fcntl(descriptor, F_GETFD);
    if (flags >= 0 && (flags & FD_CLOEXEC) == 0) {
        return fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    }
    errno = EBADF;
    return -1;
}

mode_t permissions_of_a_new_file() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

/// Gives the new file what the one at `path` has, if there is one.
bool take_over_permissions(int descriptor, const std::string& path) {
    struct stat old = {};
    if (stat(path.c_str(), &old) != 0) {
        return fchmod(descriptor, permissions_of_a_new_file()) == 0;
    }
    mode_t permissions = old.st_mode & 0777;
    constexpr auto as_it_is = static_cast<uid_t>(-1);
    const bool keeps_group = fchown(descriptor, as_it_is, old.st_gid) == 0;
    // What the old group was allowed is not meant for another one.
    if (!keeps_group) permissions = (permissions & 0707) | (permissions & 0007) << 3;
    if (fchmod(descriptor, permissions) != 0) return false;
    // Last, because only the owner sets permissions. Mostly only the superuser may.
    [[maybe_unused]] const int kept = fchown(descriptor, old.st_uid, as_it_is);
    return true;
}

bool bring_to_disk(int descriptor) {
    while (fsync(descriptor) != 0) {
        // Some file systems have no disk to bring it to.
        if (errno == EINVAL) return true;
        if (errno != EINTR) return false;
    }
    return true;
}

/// So that the new name outlives a loss of power. The file is whole without it as well.
void bring_folder_to_disk(const std::string& folder) {
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return;
    bring_to_disk(descriptor);
    close(descriptor);
}

std::string folder_of(const std::string& path) { return path.substr(0, path.rfind('/') + 1) + '.'; }

}  // namespace

output::output() : descriptor_(STDOUT_FILENO), name_("standard output") {}

output::output(const std::string& path) : name_(printable(path)) {
    struct stat found = {};
    const bool exists = stat(path.c_str(), &found) == 0;
    if (!exists && errno != ENOENT) fail();
    const destination end = behind_links(path);
    if (end.descriptor) {
        descriptor_ = copy_of(*end.descriptor);
    } else if (exists && !S_ISREG(found.st_mode)) {
        descriptor_ = open_special(path, S_ISFIFO(found.st_mode));
    } else {
        path_ = end.path;
        open_aside();
    }
    if (descriptor_ < 0) fail();
}

output::~output() {
    if (descriptor_ >= 0 && descriptor_ != STDOUT_FILENO) close(descriptor_);
    if (!aside_.empty()) unlink(aside_.c_str());
}

void output::fail() const { fail_at(name_); }

/// In the same folder: a file is renamed in one step only within its file system.
void output::open_aside() {
    const std::string ending = ".si_inspect-XXXXXX";
    const std::size_t name = path_.rfind('/') + 1;
    const std::size_t room_for_name = NAME_MAX - 1 - ending.size();
    std::string aside = path_.substr(0, name) + '.' + path_.substr(name, room_for_name) + ending;
    descriptor_ = mkostemp(aside.data(), O_CLOEXEC);
    if (descriptor_ >= 0) aside_ = aside;
}

void output::write(std::string_view text) { write_all(descriptor_, name_, text); }

void output::commit() {
    if (descriptor_ == STDOUT_FILENO) return;
    if (is_aside() && !(take_over_permissions(descriptor_, path_) && bring_to_disk(descriptor_))) {
        fail();
    }
    // Some file systems tell only now that the bytes did not fit.
    const int closed = close(descriptor_);
    descriptor_ = -1;
    if (closed != 0 && errno != EINTR) fail();
    if (!is_aside()) return;
    if (std::rename(aside_.c_str(), path_.c_str()) != 0) fail();
    aside_.clear();
    bring_folder_to_disk(folder_of(path_));
}

bool output::is_terminal() const { return isatty(descriptor_) == 1; }

void write_to_standard_error(std::string_view lines) {
    try {
        write_all(STDERR_FILENO, "standard error", lines);
    } catch (const std::runtime_error&) {
        // There is nowhere left to tell it.
    }
}

}  // namespace orvix::si_inspect
