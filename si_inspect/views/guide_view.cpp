#include "views/guide_view.h"

namespace orvix::si_inspect {

using namespace broadcast;

std::vector<bound> guide_view::bounds() const {
    std::vector<bound> all = view::bounds();
    for (const bound& b : guide_.bounds()) all.push_back(b);
    return all;
}

void guide_view::tell(const sighting& seen) { guide_.take(*seen.table, {seen.bytes, seen.size}); }

void guide_view::end() {
    const guide_contents contents = guide_.contents(how().services);
    to().guide(contents);
    notice_what_is_left_out(contents);
}

void guide_view::notice_what_is_left_out(const guide_contents& contents) const {
    if (contents.channels.empty()) notice_("guide: no programmes");
    const auto left_out = [this](std::uint64_t count, const std::string& what) {
        if (count != 0) notice_("guide: left out " + what + ": " + std::to_string(count));
    };
    left_out(contents.untimed_events, "events with undefined start times");
    left_out(contents.unnamed_events, "events without a name");
    left_out(contents.covered_events, "programmes at the same time as another");
    left_out(contents.services_untold, "services without events");

    if (contents.overlaps != 0) {
        notice_("guide: programmes that begin before one before them ends: " +
                std::to_string(contents.overlaps));
    }
    left_out(contents.forgotten, "programmes of long before");
}

}  // namespace orvix::si_inspect
