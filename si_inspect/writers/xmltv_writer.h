#pragma once

#include <broadcast/guide.h>

#include <optional>

#include "output.h"
#include "writers/writer.h"

namespace orvix::si_inspect {

/// XMLTV: a programme guide as one document.
class xmltv_writer : public writer {
public:
    /// `utc_offset`: of the broadcast's clock, and of the times that are written. Without it the
    /// broadcast's clock is that of `brasilia`, and times are written for the viewers that the TOT
    /// names.
    xmltv_writer(output& to, std::optional<broadcast::utc_offset> utc_offset)
        : to_(to), utc_offset_(utc_offset) {}

    void guide(const broadcast::guide_contents& all) override;
    void finish(const totals* /*counts*/) override {}

private:
    output& to_;
    std::optional<broadcast::utc_offset> utc_offset_;
};

}  // namespace orvix::si_inspect
