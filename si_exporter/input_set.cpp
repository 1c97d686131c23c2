#include "input_set.h"

#include <algorithm>
#include <utility>

namespace orvix::si_exporter {

namespace {

// In seconds. A thread turns at least every second, unless the machine has no time for it.
constexpr double longest_idle = 20;

}  // namespace

input_set::~input_set() {
    // All at once, and not each only when the one before has ended.
    for (const auto& input : inputs_) input->stop();
}

void input_set::follow(const std::vector<named_input>& wanted) {
    const inputs before = all();
    inputs next;
    for (const named_input& what : wanted) {
        const auto known = std::find_if(before.begin(), before.end(),
                                        [&](const auto& input) { return input->what() == what; });
        next.push_back(known != before.end()
                           ? *known
                           : std::make_shared<watched_input>(what, how_, on_notice_));
    }
    for (const auto& input : before) {
        if (std::find(next.begin(), next.end(), input) == next.end()) input->stop();
    }
    const std::lock_guard<std::mutex> hold(mutex_);
    inputs_ = std::move(next);
}

input_set::inputs input_set::all() const {
    const std::lock_guard<std::mutex> hold(mutex_);
    return inputs_;
}

bool input_set::is_healthy() const {
    const inputs now = all();
    return std::all_of(now.begin(), now.end(),
                       [](const auto& input) { return input->idle_seconds() < longest_idle; });
}

}  // namespace orvix::si_exporter
