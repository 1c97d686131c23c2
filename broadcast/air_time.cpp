#include "air_time.h"

#include <cmath>

#include "times.h"

namespace orvix::broadcast {

std::optional<std::time_t> time_in(const table_ref& table) {
    if (const auto* const tdt = std::get_if<const si_parser::tdt*>(&table)) return (*tdt)->utc_time;
    if (const auto* const tot = std::get_if<const si_parser::tot*>(&table)) return (*tot)->utc_time;
    return std::nullopt;
}

namespace {

std::int64_t whole(double seconds) { return static_cast<std::int64_t>(std::floor(seconds)); }

}  // namespace

void air_time::take(const sighting& seen) {
    if (seen.table == nullptr || seen.where.crc_error || !seen.seconds) return;
    const std::optional<std::time_t> received = time_in(*seen.table);
    if (!received || *received == undefined_time) return;
    last_ = {as_sent(*received), *seen.seconds};
    if (!first_) first_ = last_;
}

std::optional<air_time::span> air_time::told(std::optional<double> seconds) const {
    if (!first_ || !seconds) return std::nullopt;
    return span{first_->time - whole(first_->seconds),
                last_->time + whole(*seconds - last_->seconds)};
}

}  // namespace orvix::broadcast
