#include "passing_time.h"

#include <algorithm>
#include <cmath>

#include "totals.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

constexpr std::size_t time_end = 8;  // of a TDT and of a TOT
constexpr std::size_t crc_bytes = 4;

// The clock counts whole seconds, and a section may be a little late.
constexpr double tolerance = 2;
// Without PCRs: twice the time within which the next one has to come.
constexpr double longest_step = 60;

std::time_t time_of(const table_ref& table) {
    if (const auto* const tdt = std::get_if<const si_parser::tdt*>(&table)) {
        return (*tdt)->utc_time;
    }
    return std::get<const si_parser::tot*>(table)->utc_time;
}

std::vector<std::uint8_t> rest_of(const sighting& seen) {
    const std::size_t end = std::max(time_end, seen.size - std::min(seen.size, crc_bytes));
    return {seen.bytes + time_end, seen.bytes + std::min(end, seen.size)};
}

}  // namespace

bool passing_time::is_news(const sighting& seen) {
    const last_time now = {time_of(*seen.table), seen.seconds, rest_of(seen)};
    const auto key = std::make_pair(seen.where.pid.value_or(totals::no_pid), seen.bytes[0]);
    const auto [found, is_first] = known_.try_emplace(key, now);
    if (is_first) return true;

    last_time& before = found->second;
    const auto step = static_cast<double>(now.utc_time - before.utc_time);
    const bool jumped =
        now.stream_seconds && before.stream_seconds
            ? std::abs(step - (*now.stream_seconds - *before.stream_seconds)) > tolerance
            : step < 0 || step > longest_step;
    const bool is_news = jumped || now.rest != before.rest;
    before = now;
    return is_news;
}

}  // namespace orvix::si_inspect
