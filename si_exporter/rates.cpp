#include "rates.h"

#include <cstddef>

namespace orvix::si_exporter {

void rates::pass(double now, const section_feed::stream_counts& counts) {
    if (has_begun_ && now - began_ < window) return;
    constexpr double packet_bytes = 188;
    const std::vector<std::uint16_t>& pids = counts.pids();
    packets_.resize(pids.size());
    for (std::size_t i = 0; i < pids.size(); ++i) {
        const std::uint64_t packets = counts.of(pids[i]).packets;
        if (has_begun_) {
            const auto came = static_cast<double>(packets - packets_[i]);
            rates_[pids[i]] = came * packet_bytes / (now - began_);
        }
        packets_[i] = packets;
    }
    began_ = now;
    has_begun_ = true;
}

double rates::bytes_per_second(std::uint16_t pid) const { return rates_[pid]; }

}  // namespace orvix::si_exporter
