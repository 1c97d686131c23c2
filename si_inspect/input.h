#pragma once

#include <inputs/source.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace orvix::si_inspect {

/// An input that cannot be read or is not what it should be; `what()` names it, and says why.
class input_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// One file, the standard input ("-"), or a broadcast that comes from a network.
class input {
public:
    /// Throws input_error.
    explicit input(const std::string& word);

    using clock = inputs::source::clock;

    /// Waits for bytes; 0 at the end, when the user has interrupted the program, and from `until`
    /// on. Throws input_error.
    std::size_t read(std::uint8_t* to, std::size_t room,
                     clock::time_point until = clock::time_point::max());

    /// As messages name it, also one that is not opened.
    static std::string name_of(const std::string& word);
    const std::string& name() const { return name_; }
    /// Bytes, of a regular file.
    std::optional<std::uint64_t> size() const { return from_->size(); }
    /// What the user should know of it although it works; often empty.
    std::string notice() const { return from_->notice(); }
    /// What the network did; null for what is no network.
    const inputs::network_counts* network() const { return from_->network(); }

private:
    std::string name_;
    std::unique_ptr<inputs::source> from_;
};

}  // namespace orvix::si_inspect
