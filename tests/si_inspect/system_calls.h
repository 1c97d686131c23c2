#pragma once

// System calls of the code under test that fail, or do less, when a test wants it. The program is
// linked so that each of them comes by here (see CMakeLists.txt).

#include <deque>
#include <map>
#include <string>
#include <vector>

namespace orvix::test {

/// While it lives, calls are noted by name and end as planned; without a plan, as they do.
class system_calls {
public:
    system_calls();
    ~system_calls();
    system_calls(const system_calls&) = delete;
    system_calls& operator=(const system_calls&) = delete;

    /// The next call of `name` that has no plan yet ends in this error.
    void fail(const std::string& name, int error) { plans_[name].push_back({error, 0}); }
    /// The next such call does nothing and returns this.
    void answer(const std::string& name, int value) { plans_[name].push_back({0, value}); }
    /// The next write takes only so many bytes.
    void shorten_write(std::size_t most) { short_writes_.push_back(most); }

    /// Until `go_on`, calls are neither noted nor planned: a signal handler may make them.
    void rest();
    void go_on();

    const std::vector<std::string>& made() const { return made_; }

    /// Notes a call; whether it is planned, and what it returns then.
    bool take(const std::string& name, int& result);
    std::size_t room_of_write(std::size_t size);

private:
    struct plan {
        int error;
        int value;
    };
    std::map<std::string, std::deque<plan>> plans_;
    std::deque<std::size_t> short_writes_;
    std::vector<std::string> made_;
};

}  // namespace orvix::test
