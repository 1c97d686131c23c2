#include "source.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>

#include "file_source.h"
#include "network_address.h"
#include "network_source.h"

namespace orvix::inputs {

namespace {

/// As poll wants it: rounded up, and -1 for ever.
int milliseconds_until(source::clock::time_point until) {
    if (until == source::clock::time_point::max()) return -1;
    using std::chrono::milliseconds;
    constexpr auto longest = milliseconds(std::chrono::hours(1));  // then it is asked again
    const auto left = std::chrono::ceil<milliseconds>(until - source::clock::now());
    return static_cast<int>(std::clamp(left, milliseconds(0), longest).count());
}

}  // namespace

bool wait_for(int descriptor, source::clock::time_point until, int wake) {
    for (;;) {
        pollfd waited_for[] = {{descriptor, POLLIN, 0}, {wake, POLLIN, 0}};
        const int ready = poll(waited_for, 2, milliseconds_until(until));
        if (ready < 0 && errno == EINTR) continue;
        if (waited_for[1].revents != 0 || source::clock::now() >= until) return false;
        // What cannot be waited for is tried at once.
        if (ready != 0) return true;
    }
}

std::unique_ptr<source> open_source(const std::string& word) {
    if (const auto address = parse_network_address(word)) {
        return std::make_unique<network_source>(*address);
    }
    return std::make_unique<file_source>(word);
}

}  // namespace orvix::inputs
