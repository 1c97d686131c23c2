#pragma once

#include <broadcast/bound.h>
#include <broadcast/findings/ledger.h>
#include <broadcast/observer.h>

#include <array>
#include <bitset>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace orvix::broadcast {

/// How long a section took to come again.
struct table_interval {
    finding_kind limit = finding_kind::pat_rare;  ///< which says how long it may take
    std::uint16_t pid = 0;
    std::optional<std::uint16_t> service_id;  ///< of a PMT or EIT
    std::uint8_t table_id = 0;                ///< 0 for TOT and TDT, which count as one
    std::uint8_t section_number = 0;
    double seconds = 0;
    double limit_seconds = 0;
    bool is_late = false;     ///< a finding
    bool later_days = false;  ///< of a schedule: beyond the first day
};

/// Whether each section comes again in time, and whether each table comes at all.
///
/// Costs a section the same whatever is watched; what does not come is found by the order in which
/// it was last seen.
class table_watch {
public:
    /// Is told of each interval as it ends.
    using interval_handler = std::function<void(const table_interval&)>;

    explicit table_watch(ledger& to, interval_handler on_interval = {})
        : to_(to), on_interval_(std::move(on_interval)) {}

    void stream_begins(const stream_facts& of);
    void take(const sighting& seen);
    /// Looks for what is overdue.
    void packets_passed();
    /// What is overdue by now will not come any more.
    void end();

    const bound& limit() const { return bound_; }

private:
    /// What has to come within the same time.
    enum class interval : std::uint8_t {
        pat,
        pmt,
        nit,
        sdt,
        eit,
        schedule_today,
        schedule_later,
        clock,
        ait,
    };
    static constexpr std::size_t intervals = 9;

    /// One section, or where it has never come one table.
    struct key {
        interval of = interval::pat;
        bool awaited = false;  ///< has never come
        std::uint16_t pid = 0;
        std::uint8_t table_id = 0;
        std::uint16_t extension = 0;
        std::uint8_t section_number = 0;

        friend bool operator<(const key& a, const key& b) {
            return std::tie(a.of, a.awaited, a.pid, a.table_id, a.extension, a.section_number) <
                   std::tie(b.of, b.awaited, b.pid, b.table_id, b.extension, b.section_number);
        }
    };
    struct entry;
    using entries = std::map<key, entry>;
    using queue = std::list<entries::iterator>;  ///< that seen longest ago first
    struct entry {
        double last = 0;  ///< in seconds; of what is awaited, when it was first
        bool is_overdue = false;
        queue::iterator place;  ///< in that of its interval, or among the overdue
    };

    /// One that came before the stream's clock ran.
    struct early_section {
        key of;
        std::uint64_t packet = 0;
        bool is_new = false;
    };
    // The clock runs after the second PCR; so many sections come in a second.
    static constexpr std::size_t most_early_sections = 1'000;

    static std::optional<interval> interval_of(const sighting& seen);
    static finding_kind kind_of(interval of);
    double limit_of(interval of) const;
    static finding_subject subject_of(const key& of);
    static std::optional<key> key_of(const sighting& seen);
    static std::string name_of(const key& of);
    std::string overdue_words(const key& k, double since) const;
    queue& queue_of(const key& k) {
        return queues_.at(static_cast<std::size_t>(k.of)).at(k.awaited ? 1 : 0);
    }

    void read_flags(const sighting& sdt);
    void take_early();
    void take(const key& k, bool is_new, double now);
    void arrived(const key& k, bool is_new, double now);
    void forget_what_is_gone(key k, const sighting& seen);
    void forget_sections(key first, unsigned int last);
    void look_for_overdue(queue& q, double now);
    void look_for_unexpected(double now);
    void await_table(const key& k, double since);
    bool is_expected(const key& k) const;
    void forget(entries::iterator e);

    void tell_interval(const key& k, double seconds) const;

    ledger& to_;
    interval_handler on_interval_;
    std::optional<stream_facts> stream_;
    entries entries_;
    std::array<std::array<queue, 2>, intervals> queues_;
    queue overdue_;
    std::vector<early_section> early_;
    std::bitset<0x10000> without_present_;  ///< services that announce no present/following events
    std::bitset<0x10000> without_schedule_;
    bool references_have_changed_ = false;
    std::uint64_t next_review_ = 0;  ///< the number of a packet
    // A full schedule of a hundred services fits.
    bound bound_ = {"sections watched for their intervals", 50'000};
};

}  // namespace orvix::broadcast
