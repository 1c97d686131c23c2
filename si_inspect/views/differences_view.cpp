#include "views/differences_view.h"

namespace orvix::si_inspect {

using namespace broadcast;

std::vector<bound> differences_view::bounds() const {
    std::vector<bound> all = view::bounds();
    for (const snapshot& input : inputs_) {
        for (const bound& b : input.bounds()) all.push_back(b);
    }
    return all;
}

bool differences_view::show(const sighting& seen) {
    inputs_.back().take(seen);
    return seen.is_new && seen.table != nullptr;
}

void differences_view::end() {
    if (inputs_.size() != 2) return;  // one could not be opened
    const changes found = find_differences(inputs_.front(), inputs_.back(), wanted_);
    has_found_ = !found.empty();
    to_.differences(found);
}

}  // namespace orvix::si_inspect
