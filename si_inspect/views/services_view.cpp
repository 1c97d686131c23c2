#include "views/services_view.h"

#include <algorithm>

namespace orvix::si_inspect {

using namespace broadcast;

std::vector<bound> services_view::bounds() const {
    std::vector<bound> all = view::bounds();
    for (const bound& b : services_.bounds()) all.push_back(b);
    return all;
}

void services_view::input_began(const std::string& name, bool /*is_live*/) {
    counts().add(services_.bounds());  // of the input before
    file_ = name;
    services_ = services();
}

bool services_view::show(const sighting& seen) {
    if (seen.table == nullptr || !seen.is_new) return false;
    services_.take(seen);
    return true;
}

void services_view::input_ended() {
    told_services all = services_.told();
    const auto is_unwanted = [this](const told_service& service) {
        return !wanted_.empty() && wanted_.count(service.service_id) == 0;
    };
    all.services.erase(std::remove_if(all.services.begin(), all.services.end(), is_unwanted),
                       all.services.end());
    if (all.services.empty()) return notice_("no services");
    to_.services(file_, all);
}

}  // namespace orvix::si_inspect
