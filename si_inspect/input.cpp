#include "input.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
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

/// As poll wants it: rounded up, and -1 for ever.
int milliseconds_until(input::clock::time_point until) {
    if (until == input::clock::time_point::max()) return -1;
    using std::chrono::milliseconds;
    constexpr auto longest = milliseconds(std::chrono::hours(1));  // then it is asked again
    const auto left = std::chrono::ceil<milliseconds>(until - input::clock::now());
    return static_cast<int>(std::clamp(left, milliseconds(0), longest).count());
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

std::size_t input::read(std::uint8_t* to, std::size_t room, clock::time_point until) {
    for (;;) {
        pollfd waited_for[] = {{descriptor_, POLLIN, 0}, {interruption::descriptor(), POLLIN, 0}};
        const int ready = poll(waited_for, 2, milliseconds_until(until));
        if (interruption::happened() || clock::now() >= until) return 0;
        if (ready == 0 || (ready < 0 && errno == EINTR)) continue;

        const ssize_t count = ::read(descriptor_, to, room);
        if (count >= 0) return static_cast<std::size_t>(count);
        if (errno != EINTR && errno != EAGAIN) break;
    }
    throw input_error(name_ + ": " + std::strerror(errno));
}

}  // namespace orvix::si_inspect
