#pragma once

#include <broadcast/times.h>

#include <memory>

#include "sink.h"
#include "writers/writer.h"

namespace orvix::si_inspect {

class text_block;

/// For people: a block of aligned lines for each section, with the library's field names and the
/// raw value beside what it means.
class text_writer : public writer {
public:
    struct settings {
        broadcast::utc_offset offset = broadcast::brasilia;
        bool color = false;
    };
    text_writer(sink& to, const settings& how);
    ~text_writer() override;

    void table(const broadcast::sighting& seen) override;
    void refused(const broadcast::place& where, const broadcast::refusal& what) override;
    void services(const std::string& file, const broadcast::told_services& all) override;
    void findings(const std::string& file, const std::vector<broadcast::finding>& all) override;
    void finding_changed(const std::string& file, const broadcast::finding& changed) override;
    void differences(const broadcast::changes& all) override;
    void guide(const broadcast::guide_contents& all) override;
    void finish(const totals* counts) override;

private:
    sink& to_;
    settings how_;
    std::unique_ptr<text_block> block_;
};

}  // namespace orvix::si_inspect
