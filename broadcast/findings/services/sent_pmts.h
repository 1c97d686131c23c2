#pragma once

#include <broadcast/bound.h>
#include <broadcast/observer.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace orvix::broadcast {

/// A stream of a service, as its PMT was sent.
struct sent_stream {
    std::uint16_t elementary_pid = 0;
    std::uint8_t stream_type = 0;
    std::optional<std::uint8_t> component_tag;  ///< by the last descriptor that gives one
    bool announces_applications = false;        ///< a descriptor says that it is an AIT
};

/// What the PMTs of the services name, also those that the receiver refuses.
class sent_pmts {
public:
    void stream_begins(const stream_facts& of) { stream_.emplace(of); }
    void take(const std::uint8_t* section, std::size_t size, std::optional<std::uint16_t> pid,
              std::optional<double> seconds);

    /// Calls `visit` with the service_id and the streams of each service that is still there, and
    /// forgets the others.
    template <typename Visit>
    void for_each(Visit visit) {
        for (auto pmt = pmts_.begin(); pmt != pmts_.end();) {
            if (is_expected(pmt->first, pmt->second.pid)) {
                visit(pmt->first, pmt->second.streams);
                ++pmt;
            } else {
                pmt = pmts_.erase(pmt);
            }
        }
    }
    /// When one last took the place of another.
    std::optional<double> changed() const { return changed_; }

    const bound& limit() const { return bound_; }

private:
    struct kept_pmt {
        std::uint16_t pid = 0;
        std::uint8_t version_number = 0;
        std::vector<sent_stream> streams;
    };
    bool is_expected(std::uint16_t service_id, std::uint16_t pid) const;

    std::optional<stream_facts> stream_;
    std::map<std::uint16_t, kept_pmt> pmts_;  ///< by service_id
    std::optional<double> changed_;
    // A multiplex has below a hundred services, each of a dozen streams.
    bound bound_ = {"PMTs whose streams are compared", 1'000};
};

}  // namespace orvix::broadcast
