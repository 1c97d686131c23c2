// What an exporter holds while a broadcast goes on and on. The stream has the clock, so that its
// days pass in seconds; scripts/soak has a week, of more services.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <live_memory.h>
#include <log/orvix_log.h>
#include <metrics.h>

#include <algorithm>
#include <string>
#include <utility>

#include "../broadcast/endless_broadcast.h"

namespace orvix::test {
namespace {

using si_exporter::machine_time;
using si_exporter::metrics_of;
using si_exporter::metrics_page;
using si_exporter::monitor;
using testing::HasSubstr;

constexpr std::uint16_t services = 2;

class Week : public testing::Test {
protected:
    ~Week() override { OrvixLog::reporting_level() = level_before_; }

    /// A day of the broadcast, with a scrape in each hour. Returns the last one's page.
    std::string pass_a_day() {
        constexpr unsigned int steps_of_hour = endless_broadcast::steps_of_day / 24;
        std::string page;
        for (unsigned int step = 1; step <= endless_broadcast::steps_of_day; ++step) {
            read(broadcast_.next_step());
            if (step % steps_of_hour == 0) page = scrape();
        }
        return page;
    }

private:
    void read(const bytes& stream) {
        std::copy(stream.begin(), stream.end(), watched_.room(stream.size()));
        time_.steady += endless_broadcast::seconds_of_step;
        time_.utc += endless_broadcast::seconds_of_step;
        watched_.filled(stream.size(), time_);
    }
    std::string scrape() const {
        metrics_page page;
        page.add(metrics_of({"tv", "udp://127.0.0.1:5004"}, watched_, {}, time_));
        return page.text();
    }

    // What the receiver's library notes of each section is not looked at.
    const OrvixLog::Level level_before_ =
        std::exchange(OrvixLog::reporting_level(), OrvixLog::NONE);
    // 2026-11-21T00:00:00-03:00
    machine_time time_ = {0, 1795230000};
    monitor watched_{monitor::settings(), time_};
    endless_broadcast broadcast_{services};
};

std::ptrdiff_t lines(const std::string& page, const std::string& begin = "") {
    std::ptrdiff_t count = 0;
    for (std::size_t at = 0; at < page.size(); at = page.find('\n', at) + 1) {
        if (page.compare(at, begin.size(), begin) == 0) ++count;
    }
    return count;
}

TEST_F(Week, LeavesMemoryAndSeriesAsTheyWereOnTheSecondDay) {
    // A number in a text may have another digit. A leak of a word for each event has more.
    constexpr std::size_t slack = 256;

    // On the second day the schedule changes: from then on a version before the present one is
    // kept.
    pass_a_day();
    const std::ptrdiff_t series = lines(pass_a_day());
    const std::size_t held = live_bytes();
    pass_a_day();
    const std::string page = pass_a_day();
    EXPECT_EQ(lines(page), series);
    EXPECT_LE(live_bytes() - page.capacity(), held + slack);

    // It has seen what there was.
    EXPECT_THAT(page, HasSubstr("\nisdb_sections_total{input=\"tv\",table=\"pat\"} 34464\n"));
    EXPECT_THAT(page, HasSubstr("name=\"Programa 1191 do canal 1\"} 1\n"));
    EXPECT_EQ(lines(page, "isdb_event_info{"), services);
    EXPECT_THAT(page, HasSubstr("isdb_clock_offset_seconds{input=\"tv\"} -10\n"));
    EXPECT_THAT(page, HasSubstr("isdb_finding_begun_total{input=\"tv\",finding=\"continuity\","
                                "severity=\"error\"} 96\n"));
    EXPECT_THAT(page, HasSubstr("isdb_section_refused_total{input=\"tv\",reason=\"crc_mismatch\"} "
                                "96\n"));
}

}  // namespace
}  // namespace orvix::test
