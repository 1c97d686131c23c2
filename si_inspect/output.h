#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "sink.h"

namespace orvix::si_inspect {

/// The output cannot be written; `what()` says which, and why.
class output_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// There is nobody left to write for: whoever read the output has closed it, or the user has
/// interrupted the wait for a reader.
class output_closed : public std::runtime_error {
public:
    output_closed() : std::runtime_error("closed by its reader") {}
};

/// Where the formats go: the standard output, or a file that appears only when it is whole.
class output : public sink {
public:
    /// The standard output.
    output();
    /// A file, written beside `path` as ".NAME.si_inspect-XXXXXX" and renamed by `commit`; until
    /// then a file that stood there stays as it is. A link is followed, also where it leads to no
    /// file yet. What is not a regular file (a device, a pipe), and a descriptor that the program
    /// was started with ("/dev/stdout", "/dev/fd/3"), is written directly.
    /// Throws output_error and output_closed.
    explicit output(const std::string& path);
    /// Without `commit`, removes what was written aside.
    ~output() override;

    /// Writes all of `text` before it returns, however long its reader takes; but an interruption
    /// does not wait for one that takes nothing. Throws output_error and output_closed.
    void write(std::string_view text) override;
    /// Says that the output is whole: its bytes go to the disk, and then the file to its place,
    /// with the owner and the permissions of the one that it replaces as far as the user may give
    /// them, but never set-user-ID, set-group-ID or sticky. Throws output_error.
    void commit();

    bool is_terminal() const;
    /// Whether nothing is seen of it before `commit`.
    bool is_aside() const { return !aside_.empty(); }
    /// As messages name it.
    const std::string& name() const { return name_; }

private:
    [[noreturn]] void fail() const;
    void open_aside();

    int descriptor_ = -1;
    std::string name_;
    std::string path_;   ///< behind all links
    std::string aside_;  ///< the other name; empty where the output is written directly
};

/// Lines of the program's own. What cannot be written there is lost.
void write_to_standard_error(std::string_view lines);

}  // namespace orvix::si_inspect
