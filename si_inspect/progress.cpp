#include "progress.h"

#include <array>
#include <cstdio>

namespace orvix::si_inspect {

namespace {

constexpr auto interval = std::chrono::milliseconds(100);
constexpr std::size_t bar_width = 30;
constexpr std::uint64_t mebibyte = 1024 * 1024;

}  // namespace

progress::progress(std::uint64_t total) : total_(total) {}

void progress::update(std::uint64_t done) {
    if (total_ == 0) return;
    const clock::time_point now = clock::now();
    if (now < next_) return;
    next_ = now + interval;
    const double seconds = std::chrono::duration<double>(now - start_).count();
    std::fprintf(stderr, "\r%s\033[K", line(done, total_, seconds).c_str());
    std::fflush(stderr);
    shown_ = true;
}

void progress::hide() {
    if (!shown_) return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
    shown_ = false;
}

std::string progress::line(std::uint64_t done, std::uint64_t total, double seconds) {
    // A file that grows while it is read is never more than complete.
    const double part = done < total ? static_cast<double>(done) / static_cast<double>(total) : 1;
    const double rate = seconds > 0 ? static_cast<double>(done) / seconds : 0;
    const auto filled = static_cast<std::size_t>(part * bar_width);
    std::string bar(filled, '#');
    bar.resize(bar_width, ' ');

    std::array<char, 64> numbers;
    std::snprintf(numbers.data(), numbers.size(), "  %3d%%  %.1f MiB/s",
                  static_cast<int>(part * 100), rate / static_cast<double>(mebibyte));
    std::string text = '[' + bar + ']' + numbers.data();
    if (rate > 0) {
        const auto left = static_cast<long long>(static_cast<double>(total) * (1 - part) / rate);
        std::snprintf(numbers.data(), numbers.size(), "  %lld:%02lld left", left / 60, left % 60);
        text += numbers.data();
    }
    return text;
}

std::optional<std::uint64_t> silence::update(std::uint64_t bytes, std::uint64_t found) {
    bytes_ = found == found_ ? bytes_ + bytes : 0;
    found_ = found;
    const std::uint64_t mebibytes = next_mebibytes_;
    if (bytes_ / mebibyte < mebibytes) return std::nullopt;
    constexpr std::uint64_t growth = 10;
    next_mebibytes_ *= growth;
    return mebibytes;
}

}  // namespace orvix::si_inspect
