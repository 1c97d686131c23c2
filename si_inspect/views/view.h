#pragma once

#include <broadcast/bound.h>
#include <broadcast/observer.h>

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "totals.h"

namespace orvix::si_inspect {

/// What is told of the inputs (`--show`). Whatever comes is counted here, and each different
/// refusal reported; what is told of it, and when, each view decides.
class view : public broadcast::observer {
public:
    /// Is handed each different refusal once, or each if the view wants that.
    using refusal_reporter =
        std::function<void(const broadcast::place&, const broadcast::refusal&)>;

    explicit view(refusal_reporter report_refusal) : report_refusal_(std::move(report_refusal)) {}

    /// Another input begins: what was told of the one before counts as new. `name` is
    /// empty where only one input is read; live is one that has no end of its own.
    void begin_input(const std::string& name, bool is_live);
    /// No more of this input comes, or is wanted.
    void end_input() { input_ended(); }
    /// All inputs have ended: what is told of them together. Called once, unless nothing was read.
    virtual void end() {}

    void section(const broadcast::sighting& seen) final;
    void refused(const broadcast::place& where, const broadcast::refusal& what) final;

    totals& counts() { return counts_; }
    /// Whether the inputs are not as they should be, which --strict asks.
    virtual bool has_failed() const { return !counts_.complete(); }
    /// Whether the inputs are not the same, where that is asked.
    virtual bool has_differences() const { return false; }
    /// What the inputs may make us keep.
    virtual std::vector<broadcast::bound> bounds() const { return {different_refusals_}; }

private:
    /// PID, and what the gate says: the verdict, the field, its place, what it says and what it
    /// broke.
    using refusal_key = std::tuple<std::uint16_t, section_feed::verdict, const char*, std::uint32_t,
                                   std::uint32_t, std::uint32_t>;

    virtual void input_began(const std::string& /*name*/, bool /*is_live*/) {}
    virtual void input_ended() {}
    /// Returns whether the section is shown.
    virtual bool show(const broadcast::sighting& seen) = 0;
    /// Whether the view tells of refusals here, also of those that were told before.
    virtual bool wants_refusal(const broadcast::place& /*where*/,
                               const broadcast::refusal& /*what*/) const {
        return true;
    }
    /// Each one, whether or not it is told.
    virtual void see_refusal(const broadcast::place& /*where*/,
                             const broadcast::refusal& /*what*/) {}
    virtual bool wants_repeated_refusals() const { return false; }
    virtual void show_refusal(const broadcast::place& /*where*/,
                              const broadcast::refusal& /*what*/) {}

    bool is_new(const broadcast::place& where, const section_feed::gate_result& why);

    refusal_reporter report_refusal_;
    std::set<refusal_key> refusals_;
    // Nobody reads more of them, and a stream may be damaged in a new way in each section.
    broadcast::bound different_refusals_ = {"different refusals", 1'000};
    totals counts_;
};

}  // namespace orvix::si_inspect
