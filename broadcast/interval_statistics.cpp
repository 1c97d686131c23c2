#include "interval_statistics.h"

#include <algorithm>

#include "findings/wording.h"

namespace orvix::broadcast {

std::string table_name(const interval_summary& of) {
    switch (of.limit) {
        case finding_kind::clock_rare:
            return "TOT or TDT";
        case finding_kind::eit_rare:
            return "EIT present/following";
        case finding_kind::eit_schedule_rare:
            return "EIT schedule " + wording::hex(of.table_id, 2) +
                   (of.later_days ? ", later days" : ", first day");
        default:
            return wording::table(of.table_id);
    }
}

void interval_statistics::take(const table_interval& ended) {
    const key k = {ended.limit, ended.service_id, ended.pid, ended.table_id, ended.later_days};
    auto known = tables_.find(k);
    if (known == tables_.end()) {
        if (!bound_.admits(tables_.size())) return;
        known = tables_.emplace(k, interval_summary()).first;
        interval_summary& added = known->second;
        added.limit = ended.limit;
        added.limit_seconds = ended.limit_seconds;
        added.service_id = ended.service_id;
        added.pid = ended.pid;
        added.table_id = ended.table_id;
        added.later_days = ended.later_days;
        added.least = ended.seconds;
    }
    interval_summary& sum = known->second;
    ++sum.count;
    if (ended.is_late) ++sum.late;
    sum.least = std::min(sum.least, ended.seconds);
    sum.greatest = std::max(sum.greatest, ended.seconds);
    sum.sum += ended.seconds;
}

std::vector<interval_summary> interval_statistics::told() const {
    std::vector<interval_summary> all;
    all.reserve(tables_.size());
    for (const auto& [k, sum] : tables_) all.push_back(sum);
    std::stable_sort(all.begin(), all.end(),
                     [](const interval_summary& a, const interval_summary& b) {
                         return a.limit_seconds < b.limit_seconds;
                     });
    return all;
}

}  // namespace orvix::broadcast
