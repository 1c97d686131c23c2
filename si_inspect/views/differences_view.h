#pragma once

#include <broadcast/differences/differences.h>

#include <deque>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "views/view.h"
#include "writers/writer.h"

namespace orvix::si_inspect {

/// Tells what has changed from the first input to the second, when both have ended.
class differences_view : public view {
public:
    /// `wanted`: service_ids; empty: all.
    differences_view(std::set<std::uint16_t> wanted, writer& to, refusal_reporter report_refusal)
        : view(std::move(report_refusal)), wanted_(std::move(wanted)), to_(to) {}

    void end() override;
    std::vector<broadcast::bound> bounds() const override;
    bool has_differences() const override { return has_found_; }

private:
    void input_began(const std::string& /*name*/, bool /*is_live*/) override {
        inputs_.emplace_back();
    }
    bool show(const broadcast::sighting& seen) override;
    void see_refusal(const broadcast::place& where, const broadcast::refusal& what) override {
        inputs_.back().whole.take(where, what);
    }

    std::set<std::uint16_t> wanted_;
    writer& to_;
    std::deque<broadcast::snapshot> inputs_;
    bool has_found_ = false;
};

}  // namespace orvix::si_inspect
