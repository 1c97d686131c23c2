#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace orvix::si_inspect {

/// An input that cannot be read or is not what it should be; `what()` names it, and says why.
class input_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// One file, or the standard input ("-").
class input {
public:
    /// Throws input_error.
    explicit input(const std::string& path);
    ~input();
    input(const input&) = delete;
    input& operator=(const input&) = delete;

    using clock = std::chrono::steady_clock;

    /// Waits for bytes; 0 at the end, when the user has interrupted the program, and from `until`
    /// on. Throws input_error.
    std::size_t read(std::uint8_t* to, std::size_t room,
                     clock::time_point until = clock::time_point::max());

    /// As messages name it, also one that is not opened.
    static std::string name_of(const std::string& path);
    const std::string& name() const { return name_; }
    /// Bytes, of a regular file.
    std::optional<std::uint64_t> size() const { return size_; }

private:
    std::string name_;
    int descriptor_;
    std::optional<std::uint64_t> size_;
};

}  // namespace orvix::si_inspect
