#pragma once

#include <broadcast/guide.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "views/tables_view.h"

namespace orvix::si_inspect {

/// Tells the programme guide that the tables add up to which the user asked for: one out of all
/// inputs, when they have ended.
class guide_view : public tables_view {
public:
    /// Is handed a sentence about what the guide has to leave out.
    using notice_handler = std::function<void(const std::string& sentence)>;

    guide_view(const options& how, writer& to, refusal_reporter report_refusal,
               notice_handler notice)
        : tables_view(how, to, std::move(report_refusal)), notice_(std::move(notice)) {}

    void end() override;
    std::vector<broadcast::bound> bounds() const override;

private:
    void tell(const broadcast::sighting& seen) override;
    // A guide has no place for them.
    void show_refusal(const broadcast::place& /*where*/,
                      const broadcast::refusal& /*what*/) override {}
    void notice_what_is_left_out(const broadcast::guide_contents& contents) const;

    notice_handler notice_;
    broadcast::guide guide_;
};

}  // namespace orvix::si_inspect
