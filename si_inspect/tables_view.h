#pragma once

#include <broadcast/bound.h>
#include <broadcast/observer.h>

#include <cstdint>
#include <functional>
#include <set>
#include <tuple>

#include "options.h"
#include "passing_time.h"
#include "totals.h"
#include "writers/writer.h"

namespace orvix::si_inspect {

/// Shows the tables: sections that are new and that the user asked for go to the writer, and all
/// are counted.
class tables_view : public broadcast::observer {
public:
    /// Is handed each different refusal once, or with `all` each.
    using refusal_reporter =
        std::function<void(const broadcast::place&, const broadcast::refusal&)>;

    tables_view(const options& how, writer& to, refusal_reporter report_refusal)
        : how_(how), to_(to), report_refusal_(std::move(report_refusal)) {}

    /// Another input begins: what was told of the one before counts as new.
    void begin_input() {
        refusals_.clear();
        passing_time_ = {};
    }

    void section(const broadcast::sighting& seen) override;
    void refused(const broadcast::place& where, const broadcast::refusal& what) override;
    /// Whether as many sections were shown as the user wants.
    bool is_done() const override { return shown_ >= how_.limit; }

    totals& counts() { return counts_; }
    /// Further refusals are counted, but not shown.
    const broadcast::bound& different_refusals() const { return different_refusals_; }

private:
    /// PID, and what the gate says: the verdict, the field, its place, what it says and what it
    /// broke.
    using refusal_key = std::tuple<std::uint16_t, section_feed::verdict, const char*, std::uint32_t,
                                   std::uint32_t, std::uint32_t>;

    bool is_wanted(const broadcast::place& where, std::uint32_t table_id) const;
    bool is_new(const broadcast::place& where, const section_feed::gate_result& why);

    const options& how_;
    writer& to_;
    refusal_reporter report_refusal_;
    std::set<refusal_key> refusals_;
    passing_time passing_time_;
    // Nobody reads more of them, and a stream may be damaged in a new way in each section.
    broadcast::bound different_refusals_ = {"different refusals", 1'000};
    totals counts_;
    std::uint64_t shown_ = 0;
};

}  // namespace orvix::si_inspect
