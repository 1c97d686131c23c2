#pragma once

#include <broadcast/programs.h>
#include <section_feed/packet_reader.h>
#include <section_feed/section_collector.h>

#include <bitset>
#include <set>
#include <string>

#include "tables_view.h"

namespace orvix::si_inspect {

/// A transport stream on its way to the tables_view: puts its sections together, on the PIDs that
/// are fixed for the tables and on those that PAT and PMTs refer to.
class capture {
public:
    /// `name` is what places give as their file. `to` must outlive the capture.
    capture(std::string name, tables_view& to, const section_feed::gate_options& options);

    /// Room for the stream's next bytes, and then how many of them there are.
    std::uint8_t* room(std::size_t size) { return reader_.room(size); }
    void filled(std::size_t size);
    /// No more bytes come: what is not whole by now is lost.
    void end();
    /// Adds the stream's counts to the tables_view's. Call it last.
    void count();

    std::uint64_t packets() const { return reader_.packets(); }

private:
    void push_packets();
    void take(const section_feed::section& found);
    void refuse(const section_feed::section& found, const section_feed::gate_result& why);
    void follow_references(const broadcast::table_ref& table, std::uint16_t pid);
    broadcast::place place_of(const section_feed::section& found) const;

    std::string name_;
    tables_view& to_;
    section_feed::packet_reader reader_;
    section_feed::section_collector collector_;
    broadcast::programs programs_;
    std::set<std::uint16_t> followed_;  ///< beside the fixed PIDs
    std::bitset<0x2000> seen_pids_;
};

}  // namespace orvix::si_inspect
