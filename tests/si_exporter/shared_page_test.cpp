// A page that many ask for at once.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <shared_page.h>

#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace orvix::test {
namespace {

using si_exporter::shared_page;
using testing::Contains;
using testing::Gt;
using testing::Pointee;
using testing::StrEq;

TEST(SharedPage, IsMadeAnewForEachWhoAsksLater) {
    int made = 0;
    shared_page page([&] { return std::to_string(++made); });
    const shared_page::text first = page.get();
    EXPECT_THAT(first, Pointee(StrEq("1")));
    EXPECT_THAT(page.get(), Pointee(StrEq("2")));
    EXPECT_THAT(first, Pointee(StrEq("1")));
}

TEST(SharedPage, IsSharedByThoseWhoAskWhileOneIsBeingMade) {
    constexpr int askers = 8;
    std::atomic<int> asking = 0;
    std::promise<void> all_ask;
    std::shared_future<void> may_end = all_ask.get_future().share();
    int made = 0;
    shared_page page([&] {
        may_end.wait();
        return std::to_string(++made);
    });
    std::vector<shared_page::text> got(askers);
    std::vector<std::thread> threads;
    for (shared_page::text& text : got) {
        threads.emplace_back([&] {
            ++asking;
            text = page.get();
        });
    }
    while (asking < askers) std::this_thread::yield();
    // The last of them may not be in it yet.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    all_ask.set_value();
    for (std::thread& thread : threads) thread.join();
    EXPECT_LT(made, askers);
    EXPECT_THAT(got, Contains(Pointee(StrEq("2"))).Times(Gt(1)));
}

TEST(SharedPage, IsMadeAfterOneThatCouldNotBe) {
    bool fails = true;
    shared_page page([&]() -> std::string {
        if (fails) throw std::runtime_error("no");
        return "page";
    });
    EXPECT_THROW(page.get(), std::runtime_error);
    fails = false;
    EXPECT_THAT(page.get(), Pointee(StrEq("page")));
}

}  // namespace
}  // namespace orvix::test
