#pragma once

#include "output.h"
#include "writers/writer.h"

namespace orvix::si_inspect {

/// The sections themselves, one behind the other, as bare sections are read.
class sections_writer : public writer {
public:
    explicit sections_writer(output& to) : to_(to) {}

    void table(const broadcast::sighting& seen) override;
    void finish(const totals* /*counts*/) override {}

private:
    output& to_;
};

}  // namespace orvix::si_inspect
