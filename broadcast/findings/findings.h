#pragma once

#include <broadcast/bound.h>
#include <broadcast/observer.h>

#include <optional>
#include <vector>

#include "events/event_announcements.h"
#include "events/event_checks.h"
#include "ledger.h"
#include "receiver/receiver_checks.h"
#include "services/application_checks.h"
#include "services/component_checks.h"
#include "services/network_checks.h"
#include "services/sent_pmts.h"
#include "services/service_checks.h"
#include "stream/broadcast_clock.h"
#include "stream/pid_watch.h"
#include "stream/stream_faults.h"
#include "stream/table_versions.h"
#include "stream/table_watch.h"

namespace orvix::broadcast {

/// What is wrong with a broadcast, and where this receiver reads something else than was sent.
///
/// Each check is a class of its own; they see what comes in the stream's order and know nothing of
/// each other. Time is that of the stream; where there is none, nothing is found that takes it.
/// Memory is bounded, and time is linear in the stream, whatever it says.
class findings : public observer {
public:
    struct settings {
        finding_limits limits;
        ledger::change_handler on_change;           ///< a finding begins or ends
        table_watch::interval_handler on_interval;  ///< a section has come again
        ended_findings ended = ended_findings::kept;
    };
    findings() : findings(settings()) {}
    explicit findings(settings how)
        : ledger_(how.limits, std::move(how.on_change), how.ended),
          tables_(ledger_, std::move(how.on_interval)) {}

    void stream_begins(const stream_facts& of) override;
    void packets_passed(std::uint64_t last_packet) override;
    void gap(const packet_gap& skipped) override;
    void packet_fault(const section_feed::packet& packet, std::uint16_t pid,
                      section_feed::packet_fault what) override;
    void clock_reference(const section_feed::clock_reference& reference) override;
    void dropped(std::uint16_t pid, std::uint64_t packet, section_feed::drop_reason why) override;
    void section(const sighting& seen) override;
    void refused(const place& where, const refusal& what) override;
    /// The stream was not received for a while. What it has sent meanwhile is not known: versions
    /// and the broadcast's clock are not compared with what came before.
    void interrupted();
    /// No more comes, and the stream is still there.
    void end();

    /// The most severe first.
    std::vector<finding> told() const { return ledger_.told(); }
    /// Whether there was a clock, by which all that takes time was judged.
    bool had_clock() const { return ledger_.now().seconds.has_value(); }
    std::vector<bound> bounds() const;

private:
    void set_time(std::uint64_t number, std::optional<double> seconds);
    void set_time(std::uint64_t packet);

    std::optional<stream_facts> stream_;
    ledger ledger_;
    broadcast_clock clock_ = broadcast_clock(ledger_);
    stream_faults stream_faults_ = stream_faults(ledger_);
    pid_watch pids_ = pid_watch(ledger_);
    table_watch tables_;
    table_versions versions_ = table_versions(ledger_);
    event_checks events_ = event_checks(ledger_);
    receiver_checks receiver_ = receiver_checks(ledger_);
    service_checks services_ = service_checks(ledger_);
    network_checks network_ = network_checks(ledger_);
    event_announcements announcements_ = event_announcements(ledger_);
    sent_pmts pmts_;
    component_checks components_ = component_checks(ledger_, pmts_);
    application_checks applications_ = application_checks(ledger_, pmts_);
};

}  // namespace orvix::broadcast
