#include "file_source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace orvix::inputs {

namespace {

int open_for_reading(const std::string& path) {
    struct stat found = {};
    // A named pipe would wait here for its writer, where nothing ends the wait; one that does not
    // wait gives nothing before its writer does.
    const bool is_pipe = stat(path.c_str(), &found) == 0 && S_ISFIFO(found.st_mode);
    return open(path.c_str(), O_RDONLY | O_CLOEXEC | (is_pipe ? O_NONBLOCK : 0));
}

}  // namespace

file_source::file_source(const std::string& path)
    : descriptor_(path == "-" ? STDIN_FILENO : open_for_reading(path)) {
    struct stat found = {};
    if (descriptor_ < 0 || fstat(descriptor_, &found) != 0) throw source_error(strerror(errno));
    if (S_ISREG(found.st_mode)) size_ = static_cast<std::uint64_t>(found.st_size);
}

file_source::~file_source() {
    if (descriptor_ != STDIN_FILENO) close(descriptor_);
}

std::size_t file_source::read(std::uint8_t* to, std::size_t room, clock::time_point until,
                              int wake) {
    while (wait_for(descriptor_, until, wake)) {
        const ssize_t count = ::read(descriptor_, to, room);
        has_ended_ = count == 0;
        if (count >= 0) return static_cast<std::size_t>(count);
        if (errno != EINTR && errno != EAGAIN) throw source_error(strerror(errno));
    }
    return 0;
}

}  // namespace orvix::inputs
