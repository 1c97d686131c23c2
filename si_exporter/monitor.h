#pragma once

#include <broadcast/findings/findings.h>
#include <broadcast/multiplex.h>
#include <broadcast/services.h>
#include <broadcast/times.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <tuple>
#include <vector>

#include "histogram.h"
#include "service_traffic.h"

namespace orvix::si_exporter {

/// What the machine's clocks say, in seconds.
struct machine_time {
    double steady = 0;  ///< since some time that stays
    double utc = 0;     ///< since 1970
};

/// Follows one broadcast, for as long as it is sent, and keeps what metrics are made of.
///
/// Memory is bounded, whatever comes. One thread at a time.
class monitor final : public broadcast::observer {
public:
    struct settings {
        broadcast::finding_limits limits;
        broadcast::utc_offset clock_ahead_of_utc = broadcast::brasilia;
    };
    monitor(settings how, machine_time now);

    /// Room for the stream's next bytes, and then how many of them there are, and when.
    std::uint8_t* room(std::size_t size) { return stream_.room(size); }
    void filled(std::size_t size, machine_time now);
    /// Nothing came until now.
    void pass(machine_time now);
    /// Nothing comes any more.
    void end() { stream_.end(); }

    // --- What is told ---

    // What is there sends something in this time.
    static constexpr double longest_silence = 5;  // seconds
    static constexpr std::uint64_t packet_bytes = 188;

    const broadcast::multiplex& stream() const { return stream_; }
    std::uint64_t bytes() const { return bytes_; }
    /// Since the last packet; where none has come, since the start.
    double silent_seconds(machine_time now) const { return now.steady - last_packet_; }
    /// Whether packets have come lately.
    bool is_up(machine_time now) const;

    broadcast::told_services services() const { return services_.told(); }
    /// Whether packets of its streams have come lately.
    bool is_up(const broadcast::told_service& service, machine_time now) const;
    /// Of the packets of its streams; never falls.
    std::uint64_t bytes(const broadcast::told_service& service) const;

    /// Those that were admitted, by "pat", "pmt", ...
    const std::map<std::string_view, std::uint64_t>& sections() const { return sections_; }
    using refusals = std::array<std::uint64_t, section_feed::verdicts>;  ///< by verdict
    const refusals& refused_sections() const { return refused_; }
    using drops = std::array<std::uint64_t, section_feed::drop_reasons>;  ///< by drop_reason
    const drops& dropped_sections() const { return dropped_; }
    /// By the finding that a longer interval is.
    const std::map<broadcast::finding_kind, histogram>& intervals() const { return intervals_; }

    /// A table by its PID, table_id and table_id_extension.
    using table_key = std::tuple<std::uint16_t, std::uint8_t, std::uint16_t>;
    struct table_version {
        unsigned int number = 0;
        std::uint64_t changes = 0;
    };
    const std::map<table_key, table_version>& versions() const { return versions_; }

    struct finding_counts {
        std::uint64_t in_force = 0;
        std::uint64_t begun = 0;
    };
    using finding_key = std::pair<broadcast::finding_kind, broadcast::severity>;
    const std::map<finding_key, finding_counts>& finding_totals() const { return findings_seen_; }

    /// Seconds since 1970, where the broadcast's clock shows this.
    std::int64_t utc_of(std::time_t broadcast_clock) const;
    /// How far the broadcast's clock is ahead of the machine's; none where it has not been told for
    /// long, or nothing comes.
    std::optional<double> clock_offset(machine_time now) const;
    /// How much exceeded the bounds of what is kept, by `bound::what`. What both the services and
    /// the findings leave out counts twice.
    std::map<std::string_view, std::uint64_t> left_out() const;

    // --- broadcast::observer ---

    void stream_begins(const broadcast::stream_facts& of) override;
    void packets_passed(std::uint64_t last_packet) override;
    void gap(const broadcast::packet_gap& skipped) override;
    void packet_fault(const section_feed::packet& packet, std::uint16_t pid,
                      section_feed::packet_fault what) override;
    void clock_reference(const section_feed::clock_reference& reference) override;
    void dropped(std::uint16_t pid, std::uint64_t packet, section_feed::drop_reason why) override;
    void section(const broadcast::sighting& seen) override;
    void refused(const broadcast::place& where, const broadcast::refusal& what) override;

private:
    void finding_changed(const broadcast::finding& changed);
    void look_at_services();
    void take_version(const broadcast::sighting& seen);
    void take_time(const broadcast::sighting& seen);

    settings how_;
    machine_time now_;
    double last_packet_;
    std::uint64_t bytes_ = 0;
    broadcast::services services_;
    service_traffic traffic_;
    bool has_new_services_ = false;
    double last_look_ = 0;  ///< at the services
    std::map<std::string_view, std::uint64_t> sections_;
    refusals refused_ = {};
    drops dropped_ = {};
    std::map<broadcast::finding_kind, histogram> intervals_;
    std::map<table_key, table_version> versions_;
    // A hundred services with a PMT, an EIT and two AITs fit.
    broadcast::bound versions_limit_ = {"tables whose versions are told", 500};
    std::map<finding_key, finding_counts> findings_seen_;
    struct told_clock {
        double ahead = 0;    ///< seconds
        double told_at = 0;  ///< on the machine's steady clock
    };
    std::optional<told_clock> clock_;
    broadcast::findings findings_;
    broadcast::multiplex stream_;
};

}  // namespace orvix::si_exporter
