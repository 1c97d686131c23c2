#include "views/tables_view.h"

#include <broadcast/names.h>
#include <broadcast/programs.h>

#include <algorithm>
#include <string>

namespace orvix::si_inspect {

using namespace broadcast;
using namespace si_parser;

namespace {

/// Whether a table speaks of one of the wanted services, or of all services.
class concerns_any {
public:
    concerns_any(const std::set<std::uint16_t>& wanted, const sighting& seen)
        : wanted_(wanted), seen_(seen) {}

    bool operator()(const pat* table) const {
        return table->program_map.empty() ||
               std::any_of(table->program_map.begin(), table->program_map.end(),
                           [this](const auto& entry) { return is_wanted(entry.first); });
    }
    bool operator()(const pmt* table) const { return is_wanted(table->program_number); }
    bool operator()(const sdt* table) const {
        return table->services.empty() ||
               std::any_of(table->services.begin(), table->services.end(),
                           [this](const auto& service) { return is_wanted(service.service_id); });
    }
    bool operator()(const eit* table) const { return is_wanted(table->service_id); }
    bool operator()(const ait* /*table*/) const {
        const programs* const known = seen_.known_programs;
        if (known == nullptr || !known->has_applications_on(*seen_.where.pid)) return true;
        return std::any_of(wanted_.begin(), wanted_.end(), [&](std::uint16_t service) {
            return known->has_applications_on(service, *seen_.where.pid);
        });
    }
    bool operator()(const nit* /*table*/) const { return true; }
    bool operator()(const tdt* /*table*/) const { return true; }
    bool operator()(const tot* /*table*/) const { return true; }

private:
    bool is_wanted(std::uint32_t service_id) const {
        return wanted_.count(static_cast<std::uint16_t>(service_id)) != 0;
    }

    const std::set<std::uint16_t>& wanted_;
    const sighting& seen_;
};

bool concerns(const sighting& seen, const std::set<std::uint16_t>& services) {
    return services.empty() || std::visit(concerns_any(services, seen), *seen.table);
}

}  // namespace

bool tables_view::is_wanted(const place& where, std::uint32_t table_id) const {
    const bool pid_is_wanted = how_.pids.empty() || (where.pid && how_.pids.count(*where.pid) != 0);
    const std::string table(names::table_kind(table_id));
    return pid_is_wanted && (how_.tables.empty() || how_.tables.count(table) != 0) &&
           how_.tables_left_out.count(table) == 0;
}

bool tables_view::show(const sighting& seen) {
    if (seen.table == nullptr || (!seen.is_new && !how_.all)) return false;
    const std::uint8_t table_id = seen.bytes[0];
    // Time is watched also where nobody wants to see it now: news is what differs from the last.
    const bool is_time =
        names::table_kind(table_id) == "tdt" || names::table_kind(table_id) == "tot";
    if (is_time && !passing_time_.is_news(seen) && !how_.all) return false;
    if (is_done() || !is_wanted(seen.where, table_id)) return false;
    if (!concerns(seen, how_.services)) return false;
    tell(seen);
    ++shown_;
    return true;
}

bool tables_view::wants_refusal(const place& where, const refusal& what) const {
    return is_wanted(where, what.section[0]);
}

void tables_view::show_refusal(const place& where, const refusal& what) {
    to_.refused(where, what);
}

}  // namespace orvix::si_inspect
