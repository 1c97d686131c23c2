// The logger and memory: what it takes, and what becomes of a line that there is none for.

#include <failing_allocator.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log/orvix_log.h>
#include <log_capture.h>

#include <string>
#include <vector>

namespace orvix::test {
namespace {

using testing::AnyOf;
using testing::ElementsAre;

TEST(LogMemory, WithoutItFiltersAreNotMade) {
    ASSERT_EQ(OrvixLog::data(), nullptr) << "must be the first test that logs";
    const failing_allocations failing(1, failing_allocations::all_that_follow);
    EXPECT_FALSE(OrvixLog::can_log("test"));
    EXPECT_EQ(OrvixLog::data(), nullptr);
}

/// Writes a line during which `count` allocations fail from the n-th on, then another. Whether any
/// failed.
bool log_two_lines(long n, long count, const std::string& category, const std::string& message) {
    bool failed = false;
    {
        const failing_allocations failing(n, count);
        EXPECT_NO_THROW(ORVIX_LOG(ERROR, category, message << ' ' << 26));
        failed = failing.failed() != 0;
    }
    ORVIX_LOG(ERROR, "test", "next");
    return failed;
}

void expect_whole_lines(long count, std::size_t category_size, std::size_t message_size) {
    const std::string category(category_size, 'c');
    const std::string message(message_size, 'm');
    const std::string first = "<" + category + "> ERROR: " + message + " 26";
    const std::string next = "<test> ERROR: next";

    int lost = 0;
    for (long n = 1;; ++n) {
        const log_capture log;
        const bool failed = log_two_lines(n, count, category, message);
        EXPECT_THAT(log.statements(), AnyOf(ElementsAre(first, next), ElementsAre(next))) << n;
        if (!failed) break;
        if (log.lines().size() == 1) ++lost;
    }
    EXPECT_GT(lost, 0);
}

TEST(LogMemory, WithoutItALineIsLostWhole) {
    for (const std::size_t category : {4u, 15u, 16u, 1000u}) {
        for (const std::size_t message : {4u, 500u, 5000u}) {
            SCOPED_TRACE(std::to_string(category) + "/" + std::to_string(message));
            expect_whole_lines(1, category, message);
            expect_whole_lines(failing_allocations::all_that_follow, category, message);
        }
    }
}

TEST(LogMemory, IsNotAskedForBySuppressedStatements) {
    log_capture log(OrvixLog::INFO);
    OrvixLog::add_disabled_category("test");
    const long before = allocations();
    ORVIX_LOG(DEBUG, std::string(100, 'c'), std::string(100, 'm'));  // the level
    ORVIX_LOG(ERROR, "test", std::string(100, 'm'));                 // a filter
    OrvixLog::output_stream() = nullptr;
    ORVIX_LOG(ERROR, std::string(100, 'c'), std::string(100, 'm'));  // no stream
    EXPECT_EQ(allocations(), before);
    EXPECT_EQ(log.text(), "");
}

}  // namespace
}  // namespace orvix::test
