#pragma once

#include <broadcast/services.h>

#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "views/view.h"
#include "writers/writer.h"

namespace orvix::si_inspect {

/// Tells what a viewer can tune to: the services of each input, when it ends.
class services_view : public view {
public:
    /// Is handed a sentence where there is nothing to tell.
    using notice_handler = std::function<void(const std::string& sentence)>;

    /// `wanted`: service_ids; empty: all.
    services_view(std::set<std::uint16_t> wanted, writer& to, refusal_reporter report_refusal,
                  notice_handler notice)
        : view(std::move(report_refusal)),
          wanted_(std::move(wanted)),
          to_(to),
          notice_(std::move(notice)) {}

    std::vector<broadcast::bound> bounds() const override;

private:
    void input_began(const std::string& name, bool is_live) override;
    void input_ended() override;
    bool show(const broadcast::sighting& seen) override;

    std::set<std::uint16_t> wanted_;
    writer& to_;
    notice_handler notice_;
    std::string file_;
    broadcast::services services_;
};

}  // namespace orvix::si_inspect
