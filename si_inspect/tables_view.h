#pragma once

#include <broadcast/repeats.h>
#include <broadcast/table_decoder.h>

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "options.h"
#include "totals.h"
#include "writers/writer.h"

namespace orvix::si_inspect {

/// What becomes of the sections of all inputs: new ones are decoded, those that the user asked for
/// go to the writer, and all are counted.
class tables_view {
public:
    /// Is handed each different refusal once, or with `all` each.
    using refusal_reporter =
        std::function<void(const broadcast::place&, const broadcast::refusal&)>;

    tables_view(const options& how, writer& to, refusal_reporter report_refusal)
        : how_(how), to_(to), report_refusal_(std::move(report_refusal)) {}

    /// Another input begins: what it repeats of the one before counts as new.
    void begin_input();

    /// Takes an admitted section, with a spare byte behind it. Returns the table if it is new, for
    /// whoever follows its references: valid until the next call. `services` are those that the
    /// section's PID belongs to, if it belongs to any in particular.
    std::optional<broadcast::table_ref> take(const broadcast::place& where, std::uint8_t* section,
                                             std::size_t size,
                                             const std::set<std::uint16_t>& services = {});
    /// What comes on this PID from now on is new.
    void forget(std::uint16_t pid) { repeats_.forget(pid); }
    void refuse(const broadcast::place& where, const broadcast::refusal& what);

    /// Whether as many sections were shown as the user wants.
    bool done() const { return shown_ >= how_.limit; }

    totals& counts() { return counts_; }

private:
    bool is_wanted(const broadcast::place& where, std::uint32_t table_id) const;

    const options& how_;
    writer& to_;
    refusal_reporter report_refusal_;
    broadcast::repeats repeats_;
    broadcast::table_decoder decoder_;
    std::set<std::pair<std::uint16_t, std::string>> refusals_;  ///< PID and sentence
    totals counts_;
    std::uint64_t shown_ = 0;
};

}  // namespace orvix::si_inspect
