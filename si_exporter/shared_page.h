#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace orvix::si_exporter {

/// A page that is made when somebody asks for it, one at a time. Those who ask while one is being
/// made share the next one, so that many at once cost no more than two. For many threads.
class shared_page {
public:
    using text = std::shared_ptr<const std::string>;

    explicit shared_page(std::function<std::string()> make) : make_(std::move(make)) {}

    /// One that was begun after the call. Throws what making it throws.
    text get();

private:
    std::function<std::string()> make_;
    std::atomic<std::uint64_t> begun_ = 0;  ///< how many
    std::mutex mutex_;                      ///< for what stands behind it
    std::weak_ptr<const std::string> last_;
};

}  // namespace orvix::si_exporter
