#pragma once

#include "output.h"
#include "times.h"
#include "writer.h"

namespace orvix::si_inspect {

/// JSON Lines: one object for each section, complete before it is written
/// (docs/si_inspect.schema.json).
class json_writer : public writer {
public:
    json_writer(output& to, utc_offset offset) : to_(to), offset_(offset) {}

    void table(const place& where, const table_ref& table) override;
    void refused(const place& where, const refusal& what) override;
    void finish(const totals* counts) override;

private:
    output& to_;
    utc_offset offset_;
};

}  // namespace orvix::si_inspect
