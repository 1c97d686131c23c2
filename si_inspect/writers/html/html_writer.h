#pragma once

#include <broadcast/times.h>

#include "output.h"
#include "writers/writer.h"

namespace orvix::si_inspect {

/// One page that needs nothing from elsewhere and no JavaScript. Light or dark as its reader's
/// system is; on narrow screens and on paper the guide's grid is a list.
class html_writer : public writer {
public:
    html_writer(output& to, broadcast::utc_offset offset) : to_(to), offset_(offset) {}

    void everything(const page& all) override;
    void finish(const totals* /*counts*/) override {}

private:
    output& to_;
    broadcast::utc_offset offset_;
};

}  // namespace orvix::si_inspect
