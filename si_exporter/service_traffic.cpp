#include "service_traffic.h"

#include <utility>

namespace orvix::si_exporter {

using broadcast::told_service;
using section_feed::stream_counts;

namespace {

std::vector<std::uint16_t> pids_of(const told_service& service) {
    std::vector<std::uint16_t> pids;
    if (!service.streams) return pids;
    for (const broadcast::service_stream& stream : *service.streams) {
        pids.push_back(stream.elementary_pid);
    }
    return pids;
}

std::uint64_t packets_on(const std::vector<std::uint16_t>& pids, const stream_counts& counts) {
    std::uint64_t sum = 0;
    for (const std::uint16_t pid : pids) sum += counts.of(pid).packets;
    return sum;
}

}  // namespace

std::uint64_t service_traffic::packets_of(const traffic& of, const stream_counts& counts) {
    return packets_on(of.pids, counts) - of.not_its_own;
}

void service_traffic::follow(const std::vector<told_service>& services,
                             const stream_counts& counts) {
    std::map<std::uint16_t, traffic> before = std::exchange(services_, {});
    for (const told_service& service : services) {
        traffic& now = services_[service.service_id];
        std::vector<std::uint16_t> pids = pids_of(service);
        const auto known = before.find(service.service_id);
        if (known != before.end()) {
            now = std::move(known->second);
            now.not_its_own = packets_on(pids, counts) - packets_of(now, counts);
        }
        now.pids = std::move(pids);
    }
}

void service_traffic::look(double now, const stream_counts& counts) {
    for (auto& [service_id, of] : services_) {
        const std::uint64_t packets = packets_of(of, counts);
        if (packets != of.at_last_look) of.last_seen = now;
        of.at_last_look = packets;
    }
}

std::uint64_t service_traffic::packets(const told_service& of, const stream_counts& counts) const {
    const auto known = services_.find(of.service_id);
    return known != services_.end() ? packets_of(known->second, counts)
                                    : packets_on(pids_of(of), counts);
}

bool service_traffic::has_come_since(double then, const told_service& of,
                                     const stream_counts& counts) const {
    const std::uint64_t now = packets(of, counts);
    const auto known = services_.find(of.service_id);
    if (known == services_.end()) return now > 0;
    const traffic& service = known->second;
    return now != service.at_last_look || (now > 0 && service.last_seen > then);
}

}  // namespace orvix::si_exporter
