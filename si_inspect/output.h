#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace orvix::si_inspect {

/// The output cannot be written; `what()` says which, and why.
class output_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Whoever reads the output has closed it: there is nobody left to write for.
class output_closed : public std::runtime_error {
public:
    output_closed() : std::runtime_error("standard output: closed by its reader") {}
};

/// Where the formats go: the standard output, or a file that appears only when it is whole.
class output {
public:
    /// The standard output.
    output();
    /// A file, written beside `path` under another name and renamed by `commit`; until then a file
    /// that stood there stays as it is. A path that is not a regular file (a device, a pipe) is
    /// written directly.
    explicit output(const std::string& path);
    /// Without `commit`, removes what was written aside.
    ~output();
    output(const output&) = delete;
    output& operator=(const output&) = delete;

    /// Writes all of `text` before it returns. Throws output_error and output_closed.
    void write(std::string_view text);
    /// Says that the output is whole. Throws output_error.
    void commit();

    bool is_terminal() const;

private:
    int descriptor_;
    std::string path_;   ///< as messages name it
    std::string aside_;  ///< the other name; empty where the output is written directly
};

}  // namespace orvix::si_inspect
