#include "refused_reading.h"

#include "section_loops.h"

namespace orvix::broadcast {

using section_feed::verdict;

bool is_well_formed(const refusal& what) {
    switch (what.why.why) {
        case verdict::too_short:
        case verdict::overrun:
        case verdict::endless:
            return find_loops(what.section, what.size).well_formed;
        default:
            return false;
    }
}

}  // namespace orvix::broadcast
