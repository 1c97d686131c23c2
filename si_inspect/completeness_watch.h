#pragma once

#include <broadcast/completeness.h>

#include <set>
#include <utility>

namespace orvix::si_inspect {

/// Looks on, on behalf of an observer, whether a broadcast has come whole.
class completeness_watch : public broadcast::observer {
public:
    /// `wanted`: the services that count; empty: all. `to` must outlive the watch.
    completeness_watch(broadcast::observer& to, std::set<std::uint16_t> wanted)
        : to_(to), seen_(std::move(wanted)) {}

    void stream_begins(const broadcast::stream_facts& of) override { to_.stream_begins(of); }
    void packets_passed(std::uint64_t last_packet) override { to_.packets_passed(last_packet); }
    void gap(const broadcast::packet_gap& skipped) override { to_.gap(skipped); }
    void packet_fault(const section_feed::packet& packet, std::uint16_t pid,
                      section_feed::packet_fault what) override {
        to_.packet_fault(packet, pid, what);
    }
    void clock_reference(const section_feed::clock_reference& reference) override {
        to_.clock_reference(reference);
    }
    void dropped(std::uint16_t pid, std::uint64_t packet, section_feed::drop_reason why) override {
        to_.dropped(pid, packet, why);
    }
    void section(const broadcast::sighting& seen) override {
        seen_.take(seen);
        has_news_ = has_news_ || seen.is_new;
        to_.section(seen);
    }
    void refused(const broadcast::place& where, const broadcast::refusal& what) override {
        seen_.take(where, what);
        has_news_ = true;
        to_.refused(where, what);
    }
    bool is_done() const override { return to_.is_done(); }

    /// Takes a while; costs nothing while nothing new comes.
    bool is_whole() {
        if (has_news_) is_whole_ = seen_.is_whole();
        has_news_ = false;
        return is_whole_;
    }
    const broadcast::completeness& seen() const { return seen_; }

private:
    broadcast::observer& to_;
    broadcast::completeness seen_;
    bool has_news_ = false;
    bool is_whole_ = false;
};

}  // namespace orvix::si_inspect
