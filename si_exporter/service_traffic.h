#pragma once

#include <broadcast/services.h>
#include <section_feed/stream_counts.h>

#include <cstdint>
#include <map>
#include <vector>

namespace orvix::si_exporter {

/// How many packets have come of each service, and when the last ones. A total never falls, also
/// where the service's PIDs change.
class service_traffic {
public:
    /// These are the services now; others are forgotten.
    void follow(const std::vector<broadcast::told_service>& services,
                const section_feed::stream_counts& counts);
    /// To be told every now and then what has come, also when nothing has.
    void look(double now, const section_feed::stream_counts& counts);

    /// On the PIDs of its streams, until now.
    std::uint64_t packets(const broadcast::told_service& of,
                          const section_feed::stream_counts& counts) const;
    /// Whether packets of it were there at a look since then, or have come behind the last one.
    bool has_come_since(double then, const broadcast::told_service& of,
                        const section_feed::stream_counts& counts) const;

private:
    struct traffic {
        std::vector<std::uint16_t> pids;
        /// What came on these PIDs before they were its own, less what came on its former ones.
        std::uint64_t not_its_own = 0;  // below 0, it wraps, and so does what it is taken from
        std::uint64_t at_last_look = 0;
        double last_seen = 0;  ///< valid where packets had come at the last look
    };
    static std::uint64_t packets_of(const traffic& of, const section_feed::stream_counts& counts);

    std::map<std::uint16_t, traffic> services_;  ///< by service_id
};

}  // namespace orvix::si_exporter
