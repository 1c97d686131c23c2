// What the operating system may answer to a read.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <input.h>

#include <array>
#include <cerrno>
#include <chrono>

#include "system_calls.h"
#include "tool.h"

namespace orvix::test {
namespace {

using si_inspect::input;
using si_inspect::input_error;
using testing::ElementsAre;

class Input : public testing::Test {
protected:
    std::string read_once() {
        std::array<std::uint8_t, 16> bytes;
        const std::size_t count = from.read(bytes.data(), bytes.size());
        return {bytes.begin(), bytes.begin() + count};
    }

    temporary_folder folder;
    std::string path = folder.file("input", {'a', 'b', 'c'});
    input from{path};
    system_calls calls;
};

TEST_F(Input, ReadsAgainWhenASignalComesBetween) {
    calls.fail("read", EINTR);
    EXPECT_EQ(read_once(), "abc");
    EXPECT_EQ(read_once(), "");
}

TEST_F(Input, WaitsAgainWhenThereIsNothingYet) {
    calls.fail("read", EAGAIN);
    EXPECT_EQ(read_once(), "abc");
    EXPECT_THAT(calls.made(), ElementsAre("poll", "read", "poll", "read"));
}

TEST_F(Input, WaitsOnWhenASignalEndsTheWait) {
    calls.fail("poll", EINTR);
    EXPECT_EQ(read_once(), "abc");
    EXPECT_THAT(calls.made(), ElementsAre("poll", "poll", "read"));
}

TEST_F(Input, ReadsNothingFromTheTimeOnThatItIsGiven) {
    std::array<std::uint8_t, 16> bytes;
    const auto now = input::clock::now();
    EXPECT_EQ(from.read(bytes.data(), bytes.size(), now + std::chrono::hours(1)), 3u);
    EXPECT_EQ(input(path).read(bytes.data(), bytes.size(), now), 0u);
}

TEST_F(Input, WaitsOnWhereItsLongestWaitIsOver) {
    calls.answer("poll", 0);
    EXPECT_EQ(read_once(), "abc");
    EXPECT_THAT(calls.made(), ElementsAre("poll", "poll", "read"));
}

TEST_F(Input, ReadsWhereItCannotWait) {
    calls.fail("poll", ENOMEM);
    EXPECT_EQ(read_once(), "abc");
}

TEST_F(Input, NamesItselfAndTheReasonOfAFailure) {
    calls.fail("read", EIO);
    try {
        read_once();
        FAIL();
    } catch (const input_error& e) {
        EXPECT_EQ(e.what(), path + ": Input/output error");
    }
}

}  // namespace
}  // namespace orvix::test
