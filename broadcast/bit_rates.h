#pragma once

#include <section_feed/stream_counts.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "services.h"

namespace orvix::broadcast {

/// Whom the packets of a PID are for.
enum class pid_owner : std::uint8_t {
    one_service,
    several_services,
    all,      ///< tables and clocks of the whole multiplex
    nobody,   ///< null packets
    unknown,  ///< nothing refers to the PID
};

struct pid_share {
    std::uint16_t pid = 0;
    std::uint64_t packets = 0;
    pid_owner owner = pid_owner::unknown;
    std::vector<std::uint16_t> service_ids;  ///< in order; none unless the owner is a service
    std::string what;                        ///< "H.264 video", "PMT"; empty where unknown
};

struct owner_share {
    pid_owner owner = pid_owner::unknown;
    std::optional<std::uint16_t> service_id;  ///< of one service
    std::uint64_t packets = 0;
};

/// Who fills a transport stream, in packets.
struct stream_shares {
    std::uint64_t packets = 0;
    std::vector<pid_share> pids;      ///< the busiest first
    std::vector<owner_share> owners;  ///< each service, then the others; those with packets
};

stream_shares share_out(const section_feed::stream_counts& counts, const told_services& all);

/// The bit rate of so many packets of 188 bytes in this time.
double bits_per_second(std::uint64_t packets, double seconds);

}  // namespace orvix::broadcast
