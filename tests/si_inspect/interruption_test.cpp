// Each in a process of its own, for there is no way back.

#include <gtest/gtest.h>
#include <interruption.h>
#include <unistd.h>

#include <csignal>

namespace orvix::si_inspect {
namespace {

TEST(InterruptionDeathTest, ASecondSignalEndsTheProgram) {
    const auto interrupt_twice = [] {
        ::signal(SIGINT, SIG_DFL);  // which a background job ignores
        interruption::watch();
        std::raise(SIGINT);
        if (interruption::happened()) std::raise(SIGINT);
        _exit(0);
    };
    EXPECT_EXIT(interrupt_twice(), testing::KilledBySignal(SIGINT), "");
}

TEST(InterruptionDeathTest, ASignalThatIsIgnoredIsNone) {
    const auto hang_up = [] {
        ::signal(SIGHUP, SIG_IGN);
        ::signal(SIGTERM, SIG_DFL);
        interruption::watch();
        std::raise(SIGHUP);
        const bool is_noted = interruption::happened();
        std::raise(SIGTERM);
        _exit(!is_noted && interruption::happened() ? 0 : 1);
    };
    EXPECT_EXIT(hang_up(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace orvix::si_inspect
