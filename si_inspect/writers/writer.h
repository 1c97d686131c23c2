#pragma once

#include <broadcast/differences/change.h>
#include <broadcast/findings/finding.h>
#include <broadcast/guide.h>
#include <broadcast/observer.h>
#include <broadcast/services.h>

#include <string>
#include <vector>

#include "totals.h"

namespace orvix::si_inspect {

struct page;

/// One output format. What it makes goes through the `output` that its constructor is given.
class writer {
public:
    writer() = default;
    virtual ~writer() = default;
    writer(const writer&) = delete;
    writer& operator=(const writer&) = delete;

    /// A section that has a table.
    virtual void table(const broadcast::sighting& /*seen*/) {}
    virtual void refused(const broadcast::place& /*where*/, const broadcast::refusal& /*what*/) {}
    /// The services of an input; `file` is empty where only one input is read.
    virtual void services(const std::string& /*file*/, const broadcast::told_services& /*all*/) {}
    /// What is wrong with an input, the most severe first.
    virtual void findings(const std::string& /*file*/,
                          const std::vector<broadcast::finding>& /*all*/) {}
    /// A finding on live input that has begun, or has ended.
    virtual void finding_changed(const std::string& /*file*/,
                                 const broadcast::finding& /*changed*/) {}
    /// What has changed from one input to the other.
    virtual void differences(const broadcast::changes& /*all*/) {}
    /// The guide out of all inputs.
    virtual void guide(const broadcast::guide_contents& /*all*/) {}
    /// All of an input together.
    virtual void everything(const page& /*all*/) {}
    /// Called last, once. `counts` is null unless the totals are to stand in the output.
    virtual void finish(const totals* counts) = 0;
};

}  // namespace orvix::si_inspect
