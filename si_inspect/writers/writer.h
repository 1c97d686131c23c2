#pragma once

#include <broadcast/observer.h>

#include "totals.h"

namespace orvix::si_inspect {

/// One output format. What it makes goes through the `output` that its constructor is given.
class writer {
public:
    writer() = default;
    virtual ~writer() = default;
    writer(const writer&) = delete;
    writer& operator=(const writer&) = delete;

    /// A section that has a table.
    virtual void table(const broadcast::sighting& seen) = 0;
    virtual void refused(const broadcast::place& /*where*/, const broadcast::refusal& /*what*/) {}
    /// Called last, once. `counts` is null unless the totals are to stand in the output.
    virtual void finish(const totals* counts) = 0;
};

}  // namespace orvix::si_inspect
