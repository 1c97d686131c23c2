#include <broadcast/air_time.h>
#include <broadcast/multiplex.h>
#include <broadcast/times.h>
#include <gtest/gtest.h>
#include <without_log.h>

#include <string>

#include "findings/finding_streams.h"

namespace orvix::broadcast {
namespace {

using namespace test;

class AirTime : public without_log {};

class time_observer : public observer {
public:
    void section(const sighting& seen) override { times.take(seen); }
    void refused(const place& /*where*/, const refusal& /*what*/) override {}

    air_time times;
};

/// "BEGIN to END", or "none".
std::string told(const timed_stream& stream) {
    time_observer all;
    multiplex from("", all, {});
    const stream_writer written = stream.write();
    const bytes read = written.stream();
    std::copy(read.begin(), read.end(), from.room(read.size()));
    from.filled(read.size());
    from.end();
    const auto span = all.times.told(from.clock().seconds(written.packets().size() - 1));
    if (!span) return "none";
    std::string words(iso_time(span->begin, brasilia));
    return words.append(" to ").append(iso_time(span->end, brasilia));
}

bytes tdt_at(std::uint16_t mjd, std::uint32_t hhmmss) { return tdt_section(utc_time(mjd, hhmmss)); }

TEST_F(AirTime, BeginsAndEndsWithTheStream) {
    timed_stream stream(12);
    stream.once(5.01, 0x0014, tdt_at(day, 0x203000)).once(10.01, 0x0014, tdt_at(day, 0x203005));
    EXPECT_EQ(told(stream), "2026-11-21T20:29:55-03:00 to 2026-11-21T20:30:06-03:00");
}

TEST_F(AirTime, EndsByTheLastTimeThatWasTold) {
    timed_stream stream(12);
    stream.once(5.01, 0x0014, tdt_at(day, 0x203000))
        .once(10.01, 0x0014, tot_section(utc_time(day, 0x204000), {}));
    EXPECT_EQ(told(stream), "2026-11-21T20:29:55-03:00 to 2026-11-21T20:40:01-03:00");
}

TEST_F(AirTime, IsTheOneThatWasSentWhereTheReceiversClockWraps) {
    timed_stream stream(3);
    stream.once(1.01, 0x0014, tdt_at(65444, 0x120000));
    EXPECT_EQ(told(stream), "2038-01-21T11:59:59-03:00 to 2038-01-21T12:00:01-03:00");
}

TEST_F(AirTime, IsNoneWithoutATimeAndWithoutAClock) {
    EXPECT_EQ(told(timed_stream(3)), "none");
    timed_stream undefined(3);
    undefined.once(1.01, 0x0014, tdt_at(0xFFFF, 0xFFFFFF));
    EXPECT_EQ(told(undefined), "none");
    timed_stream unclocked(3);
    unclocked.once(1.01, 0x0014, tdt_at(day, 0x203000)).without_pcrs();
    EXPECT_EQ(told(unclocked), "none");
}

}  // namespace
}  // namespace orvix::broadcast
