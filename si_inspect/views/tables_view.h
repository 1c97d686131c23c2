#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "options.h"
#include "passing_time.h"
#include "views/view.h"
#include "writers/writer.h"

namespace orvix::si_inspect {

/// Shows the tables: sections that are new and that the user asked for go to the writer.
class tables_view : public view {
public:
    tables_view(const options& how, writer& to, refusal_reporter report_refusal)
        : view(std::move(report_refusal)), how_(how), to_(to) {}

    /// Whether as many sections were shown as the user wants.
    bool is_done() const override { return shown_ >= how_.limit; }

protected:
    writer& to() { return to_; }
    const options& how() const { return how_; }

private:
    /// A section that the user asked for.
    virtual void tell(const broadcast::sighting& seen) { to_.table(seen); }
    void input_began(const std::string& /*name*/, bool /*is_live*/) override { passing_time_ = {}; }
    bool show(const broadcast::sighting& seen) override;
    bool wants_refusal(const broadcast::place& where,
                       const broadcast::refusal& what) const override;
    bool wants_repeated_refusals() const override { return how_.all; }
    void show_refusal(const broadcast::place& where, const broadcast::refusal& what) override;

    bool is_wanted(const broadcast::place& where, std::uint32_t table_id) const;

    const options& how_;
    writer& to_;
    passing_time passing_time_;
    std::uint64_t shown_ = 0;
};

}  // namespace orvix::si_inspect
