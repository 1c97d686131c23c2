#include "differences.h"

#include "event_differences.h"
#include "service_differences.h"
#include "version_differences.h"

namespace orvix::broadcast {

changes find_differences(const snapshot& before, const snapshot& after,
                         const std::set<std::uint16_t>& wanted) {
    changes all;
    add_service_differences(all, before, after, wanted);
    add_event_differences(all, before, after, wanted);
    add_version_differences(all, before, after, wanted);
    return all;
}

}  // namespace orvix::broadcast
