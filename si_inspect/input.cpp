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

input::input(const std::string& path)
    : name_(path == "-" ? "standard input" : printable(path)),
      descriptor_(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    struct stat found = {};
    if (descriptor_ < 0 || fstat(descriptor_, &found) != 0) {
        throw input_error(name_ + ": " + std::strerror(errno));
    }
    if (S_ISREG(found.st_mode)) size_ = static_cast<std::uint64_t>(found.st_size);
}

input::~input() {
    if (descriptor_ != STDIN_FILENO) close(descriptor_);
}

std::size_t input::read(std::uint8_t* to, std::size_t room) {
    for (;;) {
        pollfd waited_for[] = {{descriptor_, POLLIN, 0}, {interruption::descriptor(), POLLIN, 0}};
        if (poll(waited_for, 2, -1) < 0 && errno != EINTR) break;
        if (interruption::happened()) return 0;

        const ssize_t count = ::read(descriptor_, to, room);
        if (count >= 0) return static_cast<std::size_t>(count);
        if (errno != EINTR && errno != EAGAIN) break;
    }
    throw input_error(name_ + ": " + std::strerror(errno));
}

}  // namespace orvix::si_inspect
