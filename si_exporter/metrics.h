#pragma once

#include <prometheus/metric_family.h>

#include <memory>
#include <vector>

#include "watched_input.h"

namespace orvix::si_exporter {

/// What these inputs show just now, one family for each metric, also for those without a sample.
std::vector<prometheus::MetricFamily> collect(
    const std::vector<std::shared_ptr<watched_input>>& inputs);

/// The same of one input, whose time is `now`.
void add_metrics(std::vector<prometheus::MetricFamily>& to, const named_input& what,
                 const monitor& of, const watched_input::link& link, machine_time now);

/// Texts as labels may have them: U+FFFD for what is not UTF-8, a space for a control code.
std::string label_text(std::string_view bytes);

}  // namespace orvix::si_exporter
