#include "tables_view.h"

#include <broadcast/names.h>

#include <algorithm>

namespace orvix::si_inspect {

using namespace broadcast;

using namespace si_parser;

namespace {

// Memory stays bounded also where every section is damaged in a way of its own.
constexpr std::size_t most_refusals = 10'000;

std::uint16_t pid_of(const place& where) { return where.pid.value_or(totals::no_pid); }

/// Which services a table speaks of; empty where it concerns all of them.
class concerned_services {
public:
    explicit concerned_services(const std::set<std::uint16_t>& of_pid) : of_pid_(of_pid) {}

    std::set<std::uint16_t> operator()(const pat* table) const {
        std::set<std::uint16_t> services;
        for (const auto& entry : table->program_map) services.insert(id(entry.first));
        return services;
    }
    std::set<std::uint16_t> operator()(const pmt* table) const {
        return {id(table->program_number)};
    }
    std::set<std::uint16_t> operator()(const sdt* table) const {
        std::set<std::uint16_t> services;
        for (const auto& service : table->services) services.insert(id(service.service_id));
        return services;
    }
    std::set<std::uint16_t> operator()(const eit* table) const { return {id(table->service_id)}; }
    std::set<std::uint16_t> operator()(const ait* /*table*/) const { return of_pid_; }
    std::set<std::uint16_t> operator()(const nit* /*table*/) const { return {}; }
    std::set<std::uint16_t> operator()(const tdt* /*table*/) const { return {}; }
    std::set<std::uint16_t> operator()(const tot* /*table*/) const { return {}; }

private:
    static std::uint16_t id(std::uint32_t value) { return static_cast<std::uint16_t>(value); }

    const std::set<std::uint16_t>& of_pid_;
};

bool concerns(const std::set<std::uint16_t>& services, const std::set<std::uint16_t>& wanted) {
    if (wanted.empty() || services.empty()) return true;
    return std::any_of(services.begin(), services.end(),
                       [&](std::uint16_t service) { return wanted.count(service) != 0; });
}

}  // namespace

void tables_view::begin_input() {
    repeats_ = repeats();
    refusals_.clear();
}

bool tables_view::is_wanted(const place& where, std::uint32_t table_id) const {
    const bool pid_is_wanted = how_.pids.empty() || (where.pid && how_.pids.count(*where.pid) != 0);
    return pid_is_wanted && (how_.tables.empty() ||
                             how_.tables.count(std::string(names::table_kind(table_id))) != 0);
}

std::optional<table_ref> tables_view::take(const place& where, std::uint8_t* section,
                                           std::size_t size,
                                           const std::set<std::uint16_t>& services) {
    totals::table_counts& counts = counts_.tables[std::string(names::table_kind(section[0]))];
    ++counts.sections;
    const bool is_new = repeats_.is_new(pid_of(where), section, size);
    if (!is_new && !how_.all) return std::nullopt;

    const std::optional<table_ref> table = decoder_.decode(section, size);
    if (!table) {
        if (is_new) ++counts_.passed_over;
        return std::nullopt;
    }
    if (!done() && is_wanted(where, section[0]) &&
        concerns(std::visit(concerned_services(services), *table), how_.services)) {
        to_.table(where, *table);
        ++counts.shown;
        ++shown_;
    }
    return is_new ? table : std::nullopt;
}

void tables_view::refuse(const place& where, const refusal& what) {
    if (what.why.why == section_feed::verdict::not_decoded) {
        ++counts_.not_decoded;
        return;
    }
    ++counts_.refused[pid_of(where)][what.why.why];
    if (done() || !is_wanted(where, what.section[0])) return;
    if (refusals_.size() >= most_refusals) refusals_.clear();
    const bool is_new = refusals_.emplace(pid_of(where), what.why.text()).second;
    if (!is_new && !how_.all) return;
    to_.refused(where, what);
    report_refusal_(where, what);
}

}  // namespace orvix::si_inspect
