#pragma once

#include <broadcast/times.h>

#include <memory>

#include "output.h"
#include "writers/writer.h"

namespace orvix::si_inspect {

class json_line;

/// JSON Lines: one object for each section, complete before it is written
/// (docs/si_inspect.schema.json).
class json_writer : public writer {
public:
    json_writer(output& to, broadcast::utc_offset offset);
    ~json_writer() override;

    void table(const broadcast::sighting& seen) override;
    void refused(const broadcast::place& where, const broadcast::refusal& what) override;
    void services(const std::string& file, const broadcast::told_services& all) override;
    void findings(const std::string& file, const std::vector<broadcast::finding>& all) override;
    void finding_changed(const std::string& file, const broadcast::finding& changed) override;
    void differences(const broadcast::changes& all) override;
    void guide(const broadcast::guide_contents& all) override;
    void finish(const totals* counts) override;

private:
    output& to_;
    std::unique_ptr<json_line> line_;
};

}  // namespace orvix::si_inspect
