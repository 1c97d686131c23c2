#pragma once

#include <broadcast/air_time.h>
#include <broadcast/findings/findings.h>
#include <broadcast/guide.h>
#include <broadcast/interval_statistics.h>
#include <broadcast/services.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "options.h"
#include "passing_time.h"
#include "views/view.h"
#include "writers/html/page.h"
#include "writers/text/table_texts.h"
#include "writers/writer.h"

namespace orvix::si_inspect {

/// Shows all of one input together, when it ends.
class page_view : public view {
public:
    page_view(const options& how, writer& to, refusal_reporter report_refusal)
        : view(std::move(report_refusal)),
          to_(to),
          findings_({how.limits, {}, [this](const auto& ended) { intervals_.take(ended); }}),
          texts_(how.utc_offset.value_or(broadcast::brasilia)) {
        page_.is_stream = !how.sections;
    }

    std::vector<broadcast::bound> bounds() const override;

    void stream_begins(const broadcast::stream_facts& of) override;
    void packets_passed(std::uint64_t last_packet) override;
    void gap(const broadcast::packet_gap& skipped) override;
    void packet_fault(const section_feed::packet& packet, std::uint16_t pid,
                      section_feed::packet_fault what) override;
    void clock_reference(const section_feed::clock_reference& reference) override;
    void dropped(std::uint16_t pid, std::uint64_t packet, section_feed::drop_reason why) override;

private:
    bool show(const broadcast::sighting& seen) override;
    void see_refusal(const broadcast::place& where, const broadcast::refusal& what) override;
    void show_refusal(const broadcast::place& where, const broadcast::refusal& what) override;
    void input_ended() override;
    void end() override;

    writer& to_;
    page page_;
    std::optional<broadcast::stream_facts> stream_;  ///< of the input while it is read
    broadcast::interval_statistics intervals_;
    broadcast::findings findings_;
    broadcast::services services_;
    broadcast::guide guide_;
    broadcast::air_time air_time_;
    passing_time passing_time_;
    table_texts texts_;
};

}  // namespace orvix::si_inspect
