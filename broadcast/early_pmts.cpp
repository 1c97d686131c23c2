#include "early_pmts.h"

#include <bitstream/mpeg/ts.h>

#include <utility>

namespace orvix::broadcast {

namespace {

constexpr std::uint8_t pmt_table_id = 0x02;

// Five seconds at 20 Mbit/s: ten times as long as a PAT may take.
constexpr std::uint64_t most_packets = 65'536;
// More than any multiplex has programmes, and more sections than those repeat in that time.
constexpr std::size_t most_pids = 256;
constexpr std::size_t most_sections = 4'096;

bool may_begin_pmt(const std::uint8_t* packet) {
    if (!ts_get_unitstart(packet) || !ts_has_payload(packet)) return false;
    const std::uint8_t* const payload = ts_payload(const_cast<std::uint8_t*>(packet));
    const std::uint8_t* const end = packet + TS_SIZE;
    if (payload >= end) return false;
    const std::uint8_t pointer_field = *payload;
    return end - payload > pointer_field + 1 && payload[1 + pointer_field] == pmt_table_id;
}

}  // namespace

early_pmts::early_pmts()
    : collector_([this](const section_feed::section& found) { keep(found); },
                 [this](const section_feed::section& found, const section_feed::gate_result&) {
                     keep(found);
                 }) {}

void early_pmts::look(const section_feed::packet& p) {
    if (p.index >= most_packets) return stop();
    const std::uint16_t pid = ts_get_pid(p.bytes);
    if (!collector_.follows(pid) && followed_ < most_pids && may_begin_pmt(p.bytes)) {
        collector_.follow(pid);
        ++followed_;
    }
    collector_.push(p);
}

void early_pmts::keep(const section_feed::section& found) {
    if (found.bytes[0] != pmt_table_id || kept_ == most_sections) return;
    ++kept_;
    by_pid_[found.pid].push_back(
        {std::vector<std::uint8_t>(found.bytes, found.bytes + found.size + 1), found.packet_index});
}

std::vector<early_pmts::pmt_section> early_pmts::take(std::uint16_t pid) {
    const auto found = by_pid_.find(pid);
    if (found == by_pid_.end()) return {};
    std::vector<pmt_section> sections = std::move(found->second);
    by_pid_.erase(found);
    return sections;
}

void early_pmts::stop() {
    is_looking_ = false;
    by_pid_.clear();
}

}  // namespace orvix::broadcast
