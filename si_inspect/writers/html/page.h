#pragma once

#include <broadcast/air_time.h>
#include <broadcast/bit_rates.h>
#include <broadcast/findings/finding.h>
#include <broadcast/guide.h>
#include <broadcast/interval_statistics.h>
#include <broadcast/services.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "writers/text/table_texts.h"

namespace orvix::si_inspect {

/// All that a page says of one input.
struct page {
    bool is_stream = true;          ///< else bare sections, which have neither packets nor time
    std::optional<double> seconds;  ///< by the stream's clock; none where none ran
    std::optional<broadcast::air_time::span> on_air;
    broadcast::stream_shares shares;
    broadcast::told_services services;
    broadcast::guide_contents guide;
    std::vector<broadcast::finding> findings;  ///< the most severe first
    std::vector<broadcast::interval_summary> intervals;
    std::vector<table_texts::kind> tables;
    std::vector<std::string> missing;  ///< what was announced and has not come
    std::string reading;               ///< the totals
};

}  // namespace orvix::si_inspect
