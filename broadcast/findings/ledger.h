#pragma once

#include <broadcast/bound.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <list>
#include <map>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include "finding.h"

namespace orvix::broadcast {

/// What happened, at the ledger's time.
struct occurrence {
    finding_kind kind = finding_kind::sync_lost;
    finding_subject about;
    std::optional<double> measured;   ///< in seconds; the worst one is kept
    std::optional<double> limit;      ///< where it is not that of the kind
    std::optional<severity> how_bad;  ///< where it is not that of the kind
};

/// Whether a finding that has ended is still told. Who is told of changes, and follows a broadcast
/// for years, keeps only what is in force.
enum class ended_findings : std::uint8_t { kept, forgotten };

/// Keeps the findings, each once. Whoever looks for faults writes what it finds here.
///
/// A finding ends when it has neither lasted nor occurred for `quiet_seconds` of the stream's
/// clock; if it comes again after that, it has begun anew.
class ledger {
public:
    static constexpr double quiet_seconds = 10;

    /// Is told when a finding begins, and when it ends.
    using change_handler = std::function<void(const finding& changed)>;

    explicit ledger(finding_limits limits = {}, change_handler on_change = {},
                    ended_findings ended = ended_findings::kept)
        : limits_(limits), on_change_(std::move(on_change)), ended_(ended) {}
    ledger(const ledger&) = delete;
    ledger& operator=(const ledger&) = delete;

    double limit_of(finding_kind kind) const { return limits_.of(kind); }

    /// What is written from now on happens then.
    void set_time(const moment_of_stream& now);
    const moment_of_stream& now() const { return now_; }

    /// It happens, once more. `words` makes the sentence; it is asked only for the worst so far.
    template <typename Words>
    void occurs(const occurrence& what, Words words) {
        if (entry* const kept = add(what)) kept->is.what = words();
        announce();
    }
    /// It happens, and lasts from now on until it `ends` as often as it has begun.
    template <typename Words>
    void begins(const occurrence& what, Words words) {
        if (entry* const kept = hold(what)) kept->is.what = words();
        announce();
    }
    /// What has happened is worse by now.
    template <typename Words>
    void worsens(const occurrence& what, Words words) {
        if (entry* const kept = update(what)) kept->is.what = words();
    }
    void ends(finding_kind kind, const finding_subject& about);

    /// Between the two stands all that is wrong of these kinds; what does not any more has ended.
    void begin_review() { ++review_; }
    template <typename Words>
    void stands(const occurrence& what, Words words) {
        if (entry* const kept = confirm(what)) kept->is.what = words();
        announce();
    }
    /// Returns how many findings it looked at.
    std::size_t end_review(std::initializer_list<finding_kind> kinds);

    /// The most severe first, then in the order of their kinds and by whom they are about.
    std::vector<finding> told() const;
    const bound& limit() const { return bound_; }

private:
    struct entry {
        finding is;
        std::uint64_t lasting = 0;  ///< how often it has begun and not ended
        std::uint64_t review = 0;   ///< the last one that has seen it
        std::optional<std::list<entry*>::iterator> recent;
    };
    using key = std::tuple<finding_kind, std::optional<std::uint16_t>, std::optional<std::uint16_t>,
                           std::uint64_t>;

    static key key_of(finding_kind kind, const finding_subject& about) {
        return {kind, about.pid, about.service_id, about.item};
    }
    entry* find_or_add(const occurrence& what);
    entry* add(const occurrence& what);
    entry* hold(const occurrence& what);
    entry* update(const occurrence& what);
    entry* confirm(const occurrence& what);
    static bool is_worse(const entry& known, const occurrence& what);
    entry* take_worst(entry& known, const occurrence& what) const;
    void start(entry& e);
    void begin(entry& e);
    void end(entry& e);
    void rest(entry& e);
    void end_the_quiet();
    void announce();

    finding_limits limits_;
    change_handler on_change_;
    ended_findings ended_;
    moment_of_stream now_;
    std::map<key, entry> entries_;
    std::list<entry*> recent_;  ///< in force but not lasting, by when they last occurred
    entry* begun_ = nullptr;    ///< waits for its words
    std::uint64_t review_ = 0;
    // Nobody reads more: a multiplex that is in order has few, one that is not, some dozens.
    bound bound_ = {"findings", 2'000};
};

}  // namespace orvix::broadcast
