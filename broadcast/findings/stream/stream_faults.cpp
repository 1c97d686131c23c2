#include "stream_faults.h"

#include <broadcast/findings/wording.h>

#include <cmath>
#include <utility>

namespace orvix::broadcast {

using section_feed::drop_reason;
using section_feed::packet_fault;

namespace {

// A capture that begins or ends within a packet has so many bytes beside its packets at most.
constexpr std::uint64_t largest_packet = 204;

constexpr double pcr_wrap = static_cast<double>(std::uint64_t{1} << 33) / 90'000;

// What PCRs say is exact, but for what is lost in counting.
constexpr double slack = 1e-6;

// Between PCRs time is counted in packets, which says little of a stream without a steady rate. So
// PCRs that do not come are missed only after so many seconds.
constexpr double certainly_late = 1;

}  // namespace

void stream_faults::take(const packet_gap& skipped) {
    if (skipped.sync_lost) {
        to_.occurs({finding_kind::sync_lost, {}, {}, {}, {}}, [] {
            return std::string(
                "the sync bytes were lost: what came until they were found again is "
                "not received");
        });
    }
    const bool is_cut_capture = !skipped.sync_lost && skipped.bytes < largest_packet;
    if (is_cut_capture) return;
    to_.occurs({finding_kind::bytes_skipped, {}, {}, {}, {}}, [&] {
        return wording::count_of(skipped.bytes, "byte") +
               " that belong to no packet before packet " + std::to_string(skipped.next_packet);
    });
}

void stream_faults::take(std::uint16_t pid, packet_fault what) {
    if (what == packet_fault::transport_error) {
        to_.occurs({finding_kind::transport_error, {pid, {}, 0}, {}, {}, {}}, [&] {
            return wording::pid(pid) +
                   ": the receiving side marked a packet as damaged (transport_error_indicator)";
        });
    } else if (what == packet_fault::continuity) {
        to_.occurs({finding_kind::continuity, {pid, {}, 0}, {}, {}, {}}, [&] {
            return wording::pid(pid) +
                   ": packets were lost, doubled or out of order (continuity_counter)";
        });
    }
}

void stream_faults::take_drop(std::uint16_t pid, drop_reason why) {
    if (why == drop_reason::scrambled) {
        to_.occurs({finding_kind::scrambled_table, {pid, {}, 0}, {}, {}, {}}, [&] {
            return wording::pid(pid) + " carries tables, but a packet of it is scrambled";
        });
    } else if (why == drop_reason::unfinished) {
        to_.occurs({finding_kind::section_unfinished, {pid, {}, 0}, {}, {}, {}}, [&] {
            return wording::pid(pid) +
                   ": a section was begun and not ended before the next one began";
        });
    }
}

void stream_faults::take_wrong_crc(const place& where, std::uint8_t table_id) {
    to_.occurs({finding_kind::crc, {where.pid, {}, 0}, {}, {}, {}}, [&] {
        const std::string on = where.pid ? " on " + wording::pid(*where.pid) : "";
        return "a section of the " + wording::table(table_id) + on +
               " has a wrong CRC_32: receivers drop it";
    });
}

// --- The stream's clock ---

std::string stream_faults::rare_words(std::uint16_t pid, double seconds) const {
    return "PCRs on " + wording::pid(pid) + " came " + wording::span_of_time(seconds) +
           " apart (at most " + wording::span_of_time(to_.limit_of(finding_kind::pcr_rare)) + ")";
}

void stream_faults::note_jump(std::uint16_t pid, double difference) {
    to_.occurs({finding_kind::pcr_jump, {pid, {}, 0}, difference, {}, {}}, [&] {
        return "the PCR on " + wording::pid(pid) + " jumped by " +
               wording::span_of_time(difference) + " without an announcement (at most " +
               wording::span_of_time(to_.limit_of(finding_kind::pcr_jump)) + ")";
    });
}

void stream_faults::take(const section_feed::clock_reference& reference) {
    const std::uint16_t pid = reference.pid;
    last_reference& last = last_references_[pid];
    const bool was_late = std::exchange(last.is_late, false);
    last.seconds = to_.now().seconds;

    const bool can_be_compared = !reference.first && !reference.announced && reference.by_place;
    if (can_be_compared) {
        const double difference =
            std::abs(std::remainder(reference.by_value - *reference.by_place, pcr_wrap));
        const double largest_jump = to_.limit_of(finding_kind::pcr_jump);
        const bool jumped = reference.by_value > largest_jump && difference > largest_jump + slack;
        const double seconds = jumped ? *reference.by_place : reference.by_value;
        const occurrence rare = {finding_kind::pcr_rare, {pid, {}, 0}, seconds, {}, {}};
        if (jumped) note_jump(pid, difference);
        if (was_late) {
            to_.worsens(rare, [&] { return rare_words(pid, seconds); });
        } else if (!jumped && seconds > to_.limit_of(finding_kind::pcr_rare) + slack) {
            to_.occurs(rare, [&] { return rare_words(pid, seconds); });
        }
    }
    if (was_late) to_.ends(finding_kind::pcr_rare, {pid, {}, 0});
}

void stream_faults::packets_passed() {
    if (!pace_.is_due(to_.now())) return;
    pace_.reviewed(to_.now(), last_references_.size());
    const double now = *to_.now().seconds;
    for (auto& [pid, last] : last_references_) {
        if (last.is_late || !last.seconds || now - *last.seconds <= certainly_late) continue;
        last.is_late = true;
        const double since = now - *last.seconds;
        to_.begins({finding_kind::pcr_rare, {pid, {}, 0}, since, {}, {}},
                   [&, of = pid] { return rare_words(of, since); });
    }
}

}  // namespace orvix::broadcast
