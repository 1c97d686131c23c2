#include "input.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "display.h"
#include "interruption.h"

namespace orvix::si_inspect {

namespace {

int open_for_reading(const std::string& path) {
    struct stat found = {};
    // A named pipe would wait here for its writer, where no interruption reaches it in time; one
    // that does not wait gives nothing before its writer does.
    const bool is_pipe = stat(path.c_str(), &found) == 0 && S_ISFIFO(found.st_mode);
    return open(path.c_str(), O_RDONLY | O_CLOEXEC | (is_pipe ? O_NONBLOCK : 0));
}

}  // namespace

input::input(const std::string& path)
    : name_(name_of(path)), descriptor_(path == "-" ? STDIN_FILENO : open_for_reading(path)) {
    struct stat found = {};
    if (descriptor_ < 0 || fstat(descriptor_, &found) != 0) {
        throw input_error(name_ + ": " + std::strerror(errno));
    }
    if (S_ISREG(found.st_mode)) size_ = static_cast<std::uint64_t>(found.st_size);
}

input::~input() {
    if (descriptor_ != STDIN_FILENO) close(descriptor_);
}

std::string input::name_of(const std::string& path) {
    return path == "-" ? "standard input" : printable(path);
}

std::size_t input::read(std::uint8_t* to, std::size_t room) {
    for (;;) {
        pollfd waited_for[] = {{descriptor_, POLLIN, 0}, {interruption::descriptor(), POLLIN, 0}};
        const bool is_ready = poll(waited_for, 2, -1) > 0;
        if (interruption::happened()) return 0;
        if (!is_ready && errno == EINTR) continue;

        const ssize_t count = ::read(descriptor_, to, room);
        if (count >= 0) return static_cast<std::size_t>(count);
        if (errno != EINTR && errno != EAGAIN) break;
    }
    throw input_error(name_ + ": " + std::strerror(errno));
}

}  // namespace orvix::si_inspect
