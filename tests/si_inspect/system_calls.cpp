#include "system_calls.h"

#include <poll.h>
#include <sys/types.h>

#include <algorithm>
#include <cerrno>

namespace orvix::test {

namespace {

system_calls* active = nullptr;

bool is_planned(const char* name, int& result) {
    return active != nullptr && active->take(name, result);
}

}  // namespace

system_calls::system_calls() { active = this; }
system_calls::~system_calls() { active = nullptr; }

void system_calls::rest() { active = nullptr; }
void system_calls::go_on() { active = this; }

bool system_calls::take(const std::string& name, int& result) {
    made_.push_back(name);
    auto& plans = plans_[name];
    if (plans.empty()) return false;
    const plan next = plans.front();
    plans.pop_front();
    result = next.error != 0 ? -1 : next.value;
    errno = next.error;
    return true;
}

std::size_t system_calls::room_of_write(std::size_t size) {
    if (short_writes_.empty()) return size;
    const std::size_t most = short_writes_.front();
    short_writes_.pop_front();
    return std::min(most, size);
}

extern "C" {

ssize_t __real_read(int descriptor, void* to, std::size_t room);
ssize_t __real_write(int descriptor, const void* from, std::size_t size);
int __real_poll(pollfd* waited_for, nfds_t count, int milliseconds);
int __real_close(int descriptor);
int __real_fsync(int descriptor);
int __real_fchown(int descriptor, uid_t owner, gid_t group);
int __real_rename(const char* from, const char* to);

ssize_t __wrap_read(int descriptor, void* to, std::size_t room) {
    int result = 0;
    return is_planned("read", result) ? result : __real_read(descriptor, to, room);
}

ssize_t __wrap_write(int descriptor, const void* from, std::size_t size) {
    int result = 0;
    if (is_planned("write", result)) return result;
    return __real_write(descriptor, from, active ? active->room_of_write(size) : size);
}

int __wrap_poll(pollfd* waited_for, nfds_t count, int milliseconds) {
    int result = 0;
    return is_planned("poll", result) ? result : __real_poll(waited_for, count, milliseconds);
}

int __wrap_close(int descriptor) {
    int result = 0;
    const bool planned = is_planned("close", result);
    const int planned_error = errno;
    const int closed = __real_close(descriptor);  // as the real one: gone, whatever it says
    if (!planned) return closed;
    errno = planned_error;
    return result;
}

int __wrap_fsync(int descriptor) {
    int result = 0;
    return is_planned("fsync", result) ? result : __real_fsync(descriptor);
}

int __wrap_fchown(int descriptor, uid_t owner, gid_t group) {
    int result = 0;
    return is_planned("fchown", result) ? result : __real_fchown(descriptor, owner, group);
}

int __wrap_rename(const char* from, const char* to) {
    int result = 0;
    return is_planned("rename", result) ? result : __real_rename(from, to);
}

}  // extern "C"

}  // namespace orvix::test
