#include "interruption.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <initializer_list>

namespace orvix::si_inspect::interruption {

namespace {

std::atomic<bool> noted = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler writes it");
// Whoever waits for input or output waits for the first end of this pipe too: so an interruption
// just before the wait is not missed.
int pipe_ends[2] = {-1, -1};

void note(int /*signal*/) {
    const int before = errno;
    noted = true;
    const char wake = 0;
    [[maybe_unused]] const ssize_t written = write(pipe_ends[1], &wake, 1);
    errno = before;
}

bool is_ignored(int signal) {
    struct sigaction action = {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

void watch() {
    if (pipe2(pipe_ends, O_CLOEXEC | O_NONBLOCK) != 0) return;
    struct sigaction action = {};
    action.sa_handler = note;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        if (!is_ignored(signal)) sigaction(signal, &action, nullptr);
    }
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
}

const std::atomic<bool>& happened() { return noted; }

int descriptor() { return pipe_ends[0]; }

}  // namespace orvix::si_inspect::interruption
