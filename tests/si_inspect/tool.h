#pragma once

// Runs si_inspect as a user does: a command line in, exit status and two outputs back.

#include <section_writer.h>

#include <functional>
#include <string>
#include <vector>

namespace orvix::test {

/// A folder that is gone, with all that it holds, at the end of the test.
class temporary_folder {
public:
    temporary_folder();
    ~temporary_folder();
    temporary_folder(const temporary_folder&) = delete;
    temporary_folder& operator=(const temporary_folder&) = delete;

    const std::string& path() const { return path_; }
    std::string path(const std::string& name) const { return path_ + '/' + name; }
    /// Writes a file; returns its path.
    std::string file(const std::string& name, const bytes& content) const;
    std::vector<std::string> names() const;

private:
    std::string path_;
};

std::string read_file(const std::string& path);

struct outcome {
    int status = -1;  ///< exit status; 128 and the signal's number where a signal ended it
    std::string out;
    std::string err;
};

struct how_to_run {
    bytes input;                                ///< what stands in the standard input
    std::function<void()> in_child = [] {};     ///< done in the new process before it starts
    std::vector<std::string> environment = {};  ///< "NAME=value", beside a plain one
};

/// The standard input is a pipe.
outcome si_inspect(const std::vector<std::string>& arguments, const how_to_run& how = {});

/// One that runs while the test does something with it.
class running_tool {
public:
    /// The descriptors become its standard input, output and error; they stay the caller's.
    running_tool(const std::vector<std::string>& arguments, int in, int out, int err,
                 const how_to_run& how = {});
    ~running_tool();
    running_tool(const running_tool&) = delete;
    running_tool& operator=(const running_tool&) = delete;

    void signal(int number) const;
    /// Waits until it has a handler of its own for the signal.
    void wait_until_it_handles(int number) const;
    /// Waits for its end; as `outcome::status`.
    int wait();

private:
    int pid_ = -1;
    bool waited_ = false;
};

}  // namespace orvix::test
