#include "broadcast_clock.h"

#include <broadcast/air_time.h>
#include <broadcast/findings/wording.h>
#include <broadcast/times.h>

#include <cmath>
#include <string>

namespace orvix::broadcast {

namespace {

// 2007-01-01: before digital television began in Brazil.
constexpr std::int64_t first_time = 1167609600;
// 2038-01-19T00:00:00: the day on which 32 bits of seconds end.
constexpr std::int64_t last_time = 2147472000;
constexpr std::int64_t end_of_32_bits = 2147483648;

constexpr double minute = 60;
constexpr double slack = 1e-3;  // what is lost in counting

std::string date_of(std::int64_t time) { return std::string(iso_time(time, brasilia).view()); }

}  // namespace

void broadcast_clock::take(const sighting& seen) {
    if (seen.table == nullptr || seen.where.crc_error) return;
    const std::optional<std::time_t> received = time_in(*seen.table);
    if (!received || *received == undefined_time) return;
    const reading now = {as_sent(*received), seen.seconds};
    check(now, seen.bytes[0]);
    compare(now, seen.bytes[0]);
    last_ = now;
}

void broadcast_clock::check(const reading& now, std::uint8_t table_id) {
    if (now.time < first_time || now.time >= last_time) {
        to_.occurs({finding_kind::clock_wrong, {{}, {}, 1}, {}, {}, {}}, [&] {
            return "the " + wording::table(table_id) + " says that it is " + date_of(now.time);
        });
    }
    if (now.time >= end_of_32_bits) {
        to_.occurs({finding_kind::receiver_clock_2038, {{}, {}, table_id}, {}, {}, {}}, [&] {
            return "the " + wording::table(table_id) + " says " + date_of(now.time) +
                   ", which the receiver takes for a time of 1901 or 1902";
        });
    }
}

/// The broadcast's clock counts whole seconds; so it is compared with the stream's a minute apart.
void broadcast_clock::compare(const reading& now, std::uint8_t table_id) {
    if (!now.seconds) return;
    if (!compared_) {
        compared_ = now;
        return;
    }
    const double by_stream = *now.seconds - *compared_->seconds;
    const auto by_broadcast = static_cast<double>(now.time - compared_->time);
    const double difference = std::abs(by_broadcast - by_stream);
    const bool is_wrong = difference > to_.limit_of(finding_kind::clock_wrong) + slack;
    if (is_wrong) {
        to_.occurs({finding_kind::clock_wrong, {}, difference, {}, {}}, [&] {
            return "the " + wording::table(table_id) + " went on by " +
                   std::to_string(now.time - compared_->time) +
                   " s while the stream's clock did by " + wording::span_of_time(by_stream) +
                   " (at most " + wording::span_of_time(to_.limit_of(finding_kind::clock_wrong)) +
                   " apart in a minute)";
        });
    }
    if (is_wrong || by_stream >= minute) compared_ = now;
}

void broadcast_clock::forget() {
    last_.reset();
    compared_.reset();
}

std::optional<std::time_t> broadcast_clock::time(std::optional<double> seconds) const {
    if (!last_ || !seconds || !last_->seconds) return std::nullopt;
    return static_cast<std::time_t>(last_->time) +
           static_cast<std::time_t>(std::floor(*seconds - *last_->seconds));
}

}  // namespace orvix::broadcast
