#include "watched_input.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>
#include <utility>

namespace orvix::si_exporter {

namespace {

using inputs::source;
using std::chrono::milliseconds;

constexpr std::size_t read_bytes = 128 * 1024;
// So soon is what has gone away sought again.
constexpr auto rest_before_opening = milliseconds(1'000);
// So often does a thread show that it runs, and take note of silence.
constexpr auto turn = milliseconds(1'000);
// So long are datagrams left in the socket's buffer, where all its packets are not too many: a
// multiplex of 20 Mbit/s sends ten. Else most of the time would go into waking up.
constexpr auto nap = milliseconds(5);
// What a nap leaves there at most; more is fetched at once.
constexpr std::size_t nap_bytes = 32 * 1024;

// So long must what failed be read before the failure counts as over, in seconds. What fails again
// and again would say so for ever.
constexpr double time_of_trial = 5;

double seconds_of(std::chrono::nanoseconds time) {
    return std::chrono::duration<double>(time).count();
}

int make_wake() {
    const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
    return descriptor;
}

}  // namespace

machine_time now() {
    return {seconds_of(std::chrono::steady_clock::now().time_since_epoch()),
            seconds_of(std::chrono::system_clock::now().time_since_epoch())};
}

watched_input::watched_input(named_input what, const monitor::settings& how,
                             notice_handler on_notice)
    : what_(std::move(what)),
      how_(how),
      on_notice_(std::move(on_notice)),
      wake_(make_wake()),
      last_turn_(now().steady),
      monitor_(std::in_place, how, now()),
      thread_([this] { run(); }) {}

watched_input::~watched_input() {
    stop();
    thread_.join();
    close(wake_);
}

void watched_input::stop() {
    is_stopping_ = true;
    eventfd_write(wake_, 1);
}

double watched_input::idle_seconds() const { return now().steady - last_turn_; }

/// Whatever fails here must not end the program, which follows others.
void watched_input::run() {
    while (!is_stopping()) {
        try {
            follow();
        } catch (const std::exception& e) {
            {
                // It may have stopped in the middle of anything.
                const std::lock_guard<std::mutex> hold(mutex_);
                monitor_.reset();
            }
            say_failure(e);
            rests(rest_before_opening);
        }
    }
}

/// Until it is to end.
void watched_input::follow() {
    if (!monitor_) {
        const std::lock_guard<std::mutex> hold(mutex_);
        monitor_.emplace(how_, now());
    }
    bool comes_back = true;
    while (comes_back) {
        try {
            comes_back = open_and_read();
        } catch (const inputs::source_error& e) {
            say_error(std::string(e.what()) + ", trying again");
        }
        if (!rests(rest_before_opening)) return;
    }
    // What has been read stays to be told.
    while (rests(turn)) {
    }
}

/// False when nothing comes any more.
bool watched_input::open_and_read() {
    while (!is_stopping()) {
        const std::unique_ptr<source> from = inputs::open_source(what_.address);
        if (!from->notice().empty()) say_notice(from->notice());
        read_until_end(*from);
        if (from->is_stale()) continue;
        const bool comes_back = !from->size() && what_.address != "-";
        if (comes_back) break;
        const std::lock_guard<std::mutex> hold(mutex_);
        monitor_->end();
        return false;
    }
    return true;
}

void watched_input::read_until_end(source& from) {
    inputs::network_counts before;
    {
        const std::lock_guard<std::mutex> hold(mutex_);
        ++link_.opened;
        if (link_.network) before = *link_.network;
    }
    const double opened = now().steady;
    bool has_come = false;
    while (!is_stopping() && !from.has_ended() && !from.is_stale()) {
        std::uint8_t* room = nullptr;
        {
            const std::lock_guard<std::mutex> hold(mutex_);
            room = monitor_->room(read_bytes);
        }
        const std::size_t count = from.read(room, read_bytes, source::clock::now() + turn, wake_);
        const machine_time time = now();
        last_turn_ = time.steady;
        {
            const std::lock_guard<std::mutex> hold(mutex_);
            if (count > 0) {
                monitor_->filled(count, time);
            } else {
                monitor_->pass(time);
            }
            if (from.network() != nullptr) count_network(*from.network(), before);
        }
        has_come = has_come || count > 0;
        if (has_come && time.steady - opened > time_of_trial) say_it_is_back();
        if (from.network() != nullptr && count < nap_bytes) std::this_thread::sleep_for(nap);
    }
    if (has_come) say_it_is_back();
}

/// A socket that is opened again begins at 0.
void watched_input::count_network(const inputs::network_counts& now,
                                  const inputs::network_counts& before) {
    inputs::network_counts sum = now;
    sum += before;
    sum.buffer_bytes = now.buffer_bytes;
    link_.network = sum;
}

void watched_input::say_notice(const std::string& line) {
    if (line == last_notice_) return;
    on_notice_(what_.name, line);
    last_notice_ = line;
}

void watched_input::say_error(const std::string& line) {
    if (line == last_error_) return;
    on_notice_(what_.name, line);
    last_error_ = line;
}

void watched_input::say_failure(const std::exception& why) {
    try {
        say_error(std::string(why.what()) + ", begins anew");
    } catch (const std::exception&) {
        // Nor is there memory for this. It is tried again when it fails again.
    }
}

void watched_input::say_it_is_back() {
    if (last_error_.empty()) return;
    on_notice_(what_.name, "reads again");
    last_error_.clear();
}

/// False when the thread is to end.
bool watched_input::rests(milliseconds time) {
    inputs::wait_for(wake_, source::clock::now() + time, source::no_descriptor);
    last_turn_ = now().steady;
    const std::lock_guard<std::mutex> hold(mutex_);
    if (monitor_) monitor_->pass(now());
    return !is_stopping();
}

}  // namespace orvix::si_exporter
