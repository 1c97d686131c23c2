#pragma once

#include <inputs/network_counts.h>
#include <inputs/source.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "input_list.h"
#include "monitor.h"

namespace orvix::si_exporter {

/// The machine's clocks.
machine_time now();

/// An input that a thread of its own follows. What goes away is opened again every second, a
/// group that is silent joined again every ten; a regular file is read once. Where memory lacks, it
/// begins anew with another monitor.
class watched_input {
public:
    /// Is told, by the input's thread, what a user should know: one line, without the name.
    using notice_handler = std::function<void(const std::string& name, const std::string& line)>;

    watched_input(named_input what, const monitor::settings& how, notice_handler on_notice);
    /// Waits for the thread; see `stop`.
    ~watched_input();
    watched_input(const watched_input&) = delete;
    watched_input& operator=(const watched_input&) = delete;

    const named_input& what() const { return what_; }
    /// Lets the thread end, and does not wait for it.
    void stop();

    /// What the input itself has shown.
    struct link {
        std::uint64_t opened = 0;  ///< how often
        std::optional<inputs::network_counts> network;
    };
    /// Calls `read(monitor, link)` while nothing changes; not where memory lacks for a monitor.
    template <typename Read>
    void look(Read read) const {
        const std::lock_guard<std::mutex> hold(mutex_);
        if (monitor_) read(*monitor_, link_);
    }

    /// Seconds since its thread has last shown that it runs.
    double idle_seconds() const;

private:
    void run();
    void follow();
    bool open_and_read();
    void read_until_end(inputs::source& from);
    void count_network(const inputs::network_counts& now, const inputs::network_counts& before);
    void say_notice(const std::string& line);
    void say_error(const std::string& line);
    void say_failure(const std::exception& why);
    void say_it_is_back();
    bool rests(std::chrono::milliseconds time);
    bool is_stopping() const { return is_stopping_; }

    named_input what_;
    monitor::settings how_;
    notice_handler on_notice_;
    int wake_;
    std::atomic<bool> is_stopping_ = false;
    std::atomic<double> last_turn_;
    // What was said, so that the same is not said again and again.
    std::string last_notice_;
    std::string last_error_;  ///< empty where it is over

    mutable std::mutex mutex_;  ///< for what stands behind it
    std::optional<monitor> monitor_;
    link link_;

    std::thread thread_;  ///< the last, because it uses all others
};

}  // namespace orvix::si_exporter
