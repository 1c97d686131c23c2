#pragma once

#include <prometheus/metric_family.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "watched_input.h"

namespace orvix::si_exporter {

/// What one input shows, whose time is `now`: a family for each metric, also for those without a
/// sample, always in the same order and without help.
std::vector<prometheus::MetricFamily> metrics_of(const named_input& what, const monitor& of,
                                                 const watched_input::link& link, machine_time now);

/// What a scrape is answered. It takes one input after the other as text, so that what
/// `metrics_of` has of all of them, many times as large, never stands in memory at once.
class metrics_page {
public:
    metrics_page();
    void add(std::vector<prometheus::MetricFamily> of_input);
    std::string text() const;

private:
    std::vector<std::string> families_;
};

/// What these inputs show just now.
std::string page_of(const std::vector<std::shared_ptr<watched_input>>& inputs);

/// Texts as labels may have them: U+FFFD for what is not UTF-8, a space for a control code.
std::string label_text(std::string_view bytes);

}  // namespace orvix::si_exporter
