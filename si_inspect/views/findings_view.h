#pragma once

#include <broadcast/findings/findings.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "options.h"
#include "views/view.h"
#include "writers/writer.h"

namespace orvix::si_inspect {

/// Tells what is wrong with each input: when it ends, and with live ones also as it happens.
class findings_view : public view {
public:
    /// Is handed a sentence about what could not be judged.
    using notice_handler = std::function<void(const std::string& sentence)>;

    findings_view(const options& how, writer& to, refusal_reporter report_refusal,
                  notice_handler notice)
        : view(std::move(report_refusal)), how_(how), to_(to), notice_(std::move(notice)) {}

    /// An error in any of them.
    bool has_failed() const override { return has_error_; }
    std::vector<broadcast::bound> bounds() const override;

    void stream_begins(const broadcast::stream_facts& of) override;
    void packets_passed(std::uint64_t last_packet) override;
    void gap(const broadcast::packet_gap& skipped) override;
    void packet_fault(const section_feed::packet& packet, std::uint16_t pid,
                      section_feed::packet_fault what) override;
    void clock_reference(const section_feed::clock_reference& reference) override;
    void dropped(std::uint16_t pid, std::uint64_t packet, section_feed::drop_reason why) override;

private:
    void input_began(const std::string& name, bool is_live) override;
    void input_ended() override;
    bool show(const broadcast::sighting& seen) override;
    void see_refusal(const broadcast::place& where, const broadcast::refusal& what) override;
    // Refusals are findings.
    bool wants_refusal(const broadcast::place& /*where*/,
                       const broadcast::refusal& /*what*/) const override {
        return false;
    }

    const options& how_;
    writer& to_;
    notice_handler notice_;
    std::string file_;
    std::optional<broadcast::findings> findings_;  ///< of the input that is being read
    bool has_error_ = false;
};

}  // namespace orvix::si_inspect
