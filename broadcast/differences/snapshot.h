#pragma once

#include <broadcast/completeness.h>
#include <broadcast/guide.h>
#include <broadcast/observer.h>
#include <broadcast/services.h>

#include <vector>

#include "table_contents.h"

namespace orvix::broadcast {

/// What a capture says of its broadcast, for a comparison with another one.
struct snapshot {
    services services_told;
    guide programmes;
    completeness whole;
    table_contents tables;

    void take(const sighting& seen) {
        services_told.take(seen);
        whole.take(seen);
        tables.take(seen);
        if (seen.is_new && seen.table != nullptr) {
            programmes.take(*seen.table, {seen.bytes, seen.size});
        }
    }

    /// What the stream may make us keep, but for what `whole` counts.
    std::vector<bound> bounds() const {
        std::vector<bound> all = services_told.bounds();
        for (const auto& more : {programmes.bounds(), tables.bounds()}) {
            all.insert(all.end(), more.begin(), more.end());
        }
        return all;
    }
};

}  // namespace orvix::broadcast
