// What a guide costs as a stream goes on: the memory that it holds, and the branches that it takes,
// which the compiler counts in the sources of this program (-fsanitize-coverage=trace-pc).

#include <broadcast/guide.h>
#include <gmock/gmock.h>
#include <live_memory.h>

#include "hostile_streams.h"
#include "table_reader.h"

namespace {

// The tests have one thread.
std::uint64_t branches = 0;

}  // namespace

extern "C" void __sanitizer_cov_trace_pc();  // NOLINT: the compiler's name
extern "C" void __sanitizer_cov_trace_pc() { ++branches; }

namespace orvix::broadcast {

namespace {

using namespace orvix::test;

struct cost {
    std::uint64_t of_sections = 0;  ///< branches
    std::uint64_t of_contents = 0;
    std::size_t bytes = 0;  ///< of memory, the contents included
};

/// Of a guide that has read so many sections of a stream.
cost cost_of(const hostile_stream& stream, std::uint32_t sections) {
    table_reader reader;
    const std::size_t bytes_before = live_bytes();
    guide of;
    cost total;
    for (std::uint32_t number = 0; number < sections; ++number) {
        const table_ref table = reader.read(stream.section(number).section);
        const std::uint64_t before = branches;
        of.take(table, reader.section());
        total.of_sections += branches - before;
    }
    const std::uint64_t before = branches;
    const guide_contents contents = of.contents();
    total.of_contents = branches - before;
    total.bytes = live_bytes() - bytes_before;
    return total;
}

struct growth {
    const char* stream;
    std::uint32_t some;  ///< sections, with which the contents still grow
    std::uint32_t many;  ///< sections, with which the guide holds all it ever will
};
void PrintTo(const growth& g, std::ostream* out) { *out << g.stream; }

class GuideGrowth : public testing::TestWithParam<growth> {
protected:
    const hostile_stream& stream_ = hostile_stream_of(GetParam().stream);
};

TEST_P(GuideGrowth, TakesTwiceTheTimeForTwiceTheSections) {
    const cost once = cost_of(stream_, GetParam().some);
    const cost twice = cost_of(stream_, 2 * GetParam().some);
    EXPECT_GT(once.of_sections, GetParam().some);
    EXPECT_LT(twice.of_sections * 10, once.of_sections * 24);
    EXPECT_LT(twice.of_contents * 10, once.of_contents * 24);
}

TEST_P(GuideGrowth, TakesNoMoreMemoryInTheEnd) {
    const cost once = cost_of(stream_, GetParam().many);
    const cost twice = cost_of(stream_, 2 * GetParam().many);
    EXPECT_LT(twice.of_sections * 10, once.of_sections * 24);
    EXPECT_LT(twice.bytes * 10, once.bytes * 11);
    EXPECT_LT(twice.bytes, 2 * event_limits().bytes.most);
}

constexpr growth growths[] = {
    {"programs-ever-new", 400, 1200},
    {"present-event-toggles", 100, 200},
    {"present-event-repeats", 100, 200},
    {"present-events-ever-new", 200, 200},
    {"present-event-slips", 200, 200},
    {"present-events-without-times", 200, 200},
    {"many-days", 48 * 20 * 4, 4 * 48 * 20 * 4},
    {"empty-eits-of-new-services", 400, 1200},
    {"one-event-id-at-many-times", 15, 50},
    {"one-event-id-at-times-that-overlap", 15, 50},
    {"schedules-of-many-services", 400, 1200},
    {"schedule-of-one-service", 30, 100},
    {"texts-that-overlap", 50, 400},
    {"tables-that-shrink-and-grow", 512, 1024},
    {"sdts-of-other-streams", 512, 3072},
    {"names-that-change", 20, 40},
    {"nits-of-many-streams", 8, 40},
};

INSTANTIATE_TEST_SUITE_P(All, GuideGrowth, testing::ValuesIn(growths),
                         [](const testing::TestParamInfo<growth>& of) {
                             std::string name = of.param.stream;
                             for (char& c : name) c = c == '-' ? '_' : c;
                             return name;
                         });

}  // namespace

}  // namespace orvix::broadcast
