#pragma once

#include <broadcast/guide.h>

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "output.h"
#include "writers/writer.h"

namespace orvix::si_inspect {

/// XMLTV: a programme guide, written as one document when all tables are there.
class xmltv_writer : public writer {
public:
    struct settings {
        /// Of the broadcast's clock, and of the times that are written. Without it the broadcast's
        /// clock is that of `brasilia`, and times are written for the viewers that the TOT names.
        std::optional<broadcast::utc_offset> utc_offset;
        std::set<std::uint16_t> services;  ///< empty: all
    };
    /// `notice` is handed a sentence about what the guide has to leave out.
    using notice_handler = std::function<void(const std::string& sentence)>;

    xmltv_writer(output& to, settings how, notice_handler notice)
        : to_(to), how_(std::move(how)), notice_(std::move(notice)) {}

    void table(const broadcast::sighting& seen) override;
    std::vector<broadcast::bound> bounds() const override { return guide_.bounds(); }
    void finish(const totals* counts) override;

private:
    output& to_;
    settings how_;
    notice_handler notice_;
    broadcast::guide guide_;
};

}  // namespace orvix::si_inspect
