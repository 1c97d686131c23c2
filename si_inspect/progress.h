#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace orvix::si_inspect {

/// A bar on the terminal behind the standard error: how much of a file is read, how fast, and how
/// long the rest takes. Gone when it is hidden or destroyed.
class progress {
public:
    /// A bar that is never shown, or one for `total` bytes.
    progress() = default;
    explicit progress(std::uint64_t total);
    ~progress() { hide(); }
    progress(const progress&) = delete;
    progress& operator=(const progress&) = delete;

    /// Draws, but not more often than the eye can follow.
    void update(std::uint64_t done);
    /// Makes room for a line of output; the next `update` draws again.
    void hide();

    /// "[#####     ]  50%  120.0 MiB/s  0:04 left"
    static std::string line(std::uint64_t done, std::uint64_t total, double seconds);

private:
    using clock = std::chrono::steady_clock;

    std::uint64_t total_ = 0;
    clock::time_point start_ = clock::now();
    clock::time_point next_ = start_;
    bool shown_ = false;
};

/// Notices when an endless input yields nothing for long: for 1 MiB, and from then on for ten times
/// as much as the last time, so that there is little to say of any input.
class silence {
public:
    /// `bytes` more were read, and all that were read yielded `found` packets or sections. Returns
    /// how many mebibytes yielded none, when it is time to say so.
    std::optional<std::uint64_t> update(std::uint64_t bytes, std::uint64_t found);

private:
    std::uint64_t found_ = 0;
    std::uint64_t bytes_ = 0;  ///< since then
    std::uint64_t next_mebibytes_ = 1;
};

}  // namespace orvix::si_inspect
