#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "input_list.h"
#include "watched_input.h"

namespace orvix::si_exporter {

/// The inputs that are followed now. Any thread may ask; one changes them.
class input_set {
public:
    using inputs = std::vector<std::shared_ptr<watched_input>>;

    input_set(const monitor::settings& how, watched_input::notice_handler on_notice)
        : how_(how), on_notice_(std::move(on_notice)) {}
    ~input_set();
    input_set(const input_set&) = delete;
    input_set& operator=(const input_set&) = delete;

    /// Follows these from now on. Those that were followed before are not disturbed.
    void follow(const std::vector<named_input>& wanted);
    inputs all() const;
    /// Whether the thread of each has shown lately that it runs.
    bool is_healthy() const;

private:
    monitor::settings how_;
    watched_input::notice_handler on_notice_;
    mutable std::mutex mutex_;
    inputs inputs_;
};

}  // namespace orvix::si_exporter
