#pragma once

#include <section_feed/packet_reader.h>
#include <section_feed/section_collector.h>
#include <section_feed/stream_clock.h>
#include <section_feed/stream_counts.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "early_pmts.h"
#include "intake.h"
#include "programs.h"

namespace orvix::broadcast {

/// A transport stream on its way to an observer: puts its sections together, on the PIDs on which
/// tables live and on those that PAT and PMTs refer to.
class multiplex {
public:
    struct settings : intake_settings {
        std::set<std::uint16_t> pids;  ///< read also where nothing refers to them
    };
    /// `name` is what places give as their file. `to` must outlive the multiplex.
    multiplex(std::string name, observer& to, const settings& how);

    /// Room for the stream's next bytes, and then how many of them there are.
    std::uint8_t* room(std::size_t size) { return reader_.room(size); }
    void filled(std::size_t size);
    /// No more bytes come: what is not whole by now is lost.
    void end();

    const section_feed::packet_reader& reader() const { return reader_; }
    const section_feed::section_collector& collector() const { return collector_; }
    /// Of all PIDs, also of those whose sections nobody wants.
    const section_feed::stream_counts& counts() const { return counts_; }
    const section_feed::stream_clock& clock() const { return clock_; }
    /// What the stream may make us keep.
    std::vector<bound> bounds() const;

private:
    void push_packets();
    void observe(const section_feed::packet& p);
    void observe_gap(std::uint64_t next_packet);
    void take(const section_feed::section& found);
    void refuse(const section_feed::section& found, const section_feed::gate_result& why);
    void follow_references(const table_ref& table, std::uint16_t pid);
    void take_early_pmts();
    bool is_always_followed(std::uint16_t pid) const;
    place place_of(const section_feed::section& found) const;

    // So many packets take 5 ms of a stream of 10 Mbit/s.
    static constexpr std::uint64_t packets_between_looks = 32;

    std::string name_;
    settings how_;
    observer& to_;
    intake intake_;
    section_feed::packet_reader reader_;
    section_feed::section_collector collector_;
    programs programs_;
    early_pmts early_pmts_;
    std::vector<std::uint16_t> newly_referred_;
    std::uint64_t packet_ = 0;  ///< the number of the one in hand
    bool is_ended_ = false;
    std::uint64_t skipped_bytes_ = 0;  ///< of those that the observer was told of
    std::uint64_t sync_losses_ = 0;
    section_feed::stream_counts counts_;
    section_feed::stream_clock clock_;
};

}  // namespace orvix::broadcast
