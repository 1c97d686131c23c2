#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "network_counts.h"

/// Where bytes come from: files, pipes, sockets.
namespace orvix::inputs {

/// Why bytes cannot be had. `what()` does not name the source: whoever opened it knows how to.
class source_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A stream of bytes that is open. One thread at a time.
class source {
public:
    using clock = std::chrono::steady_clock;
    /// What a wait never waits for.
    static constexpr int no_descriptor = -1;

    source() = default;
    virtual ~source() = default;
    source(const source&) = delete;
    source& operator=(const source&) = delete;

    /// Waits for bytes and returns how many stand in `to`, which has room for at least one. None
    /// came when it returns 0: because the stream has ended, because it is `until`, or because
    /// `wake` (a descriptor, or no_descriptor) can be read from. Throws source_error.
    virtual std::size_t read(std::uint8_t* to, std::size_t room, clock::time_point until,
                             int wake) = 0;
    /// Whether the stream has ended, and nothing comes any more.
    virtual bool has_ended() const = 0;
    /// Whether it is so silent that who wants more of it opens it anew: a network may have
    /// forgotten that it wants a group.
    virtual bool is_stale() const { return false; }
    /// Bytes, of a regular file.
    virtual std::optional<std::uint64_t> size() const { return std::nullopt; }
    /// What the network did; null for what is no network.
    virtual const network_counts* network() const { return nullptr; }
    /// What the user should know of it although it works; often empty.
    virtual std::string notice() const { return {}; }
};

/// "-" is the standard input, udp:// and rtp:// lead to a network (see network_address), anything
/// else is a path. Throws source_error.
std::unique_ptr<source> open_source(const std::string& word);

/// Waits until `descriptor` can be read from; false where it is `until`, or `wake` can be.
bool wait_for(int descriptor, source::clock::time_point until, int wake);

}  // namespace orvix::inputs
