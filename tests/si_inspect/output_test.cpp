// What the operating system may answer to a write, and to all that puts a file in its place.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <interruption.h>
#include <output.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "system_calls.h"
#include "tool.h"

namespace orvix::test {
namespace {

using si_inspect::output;
using si_inspect::output_closed;
using si_inspect::output_error;
using testing::ElementsAre;

class OutputFile : public testing::Test {
protected:
    /// What goes wrong on the way; empty where nothing does.
    std::string failure() const {
        try {
            output to(path);
            to.write("new");
            to.commit();
            return {};
        } catch (const output_error& e) {
            return e.what();
        }
    }
    void expect_untouched() const {
        EXPECT_EQ(read_file(path), "old");
        EXPECT_THAT(folder.names(), ElementsAre("output"));
    }
    void expect_replaced() const {
        EXPECT_EQ(read_file(path), "new");
        EXPECT_THAT(folder.names(), ElementsAre("output"));
    }
    unsigned int permissions() const {
        struct stat found = {};
        return stat(path.c_str(), &found) == 0 ? found.st_mode & 07777 : 0;
    }

    temporary_folder folder;
    std::string path = folder.file("output", {'o', 'l', 'd'});
    system_calls calls;
};

// --- Writing ---

TEST_F(OutputFile, HoldsEverythingThatShortWritesLeaveOver) {
    calls.shorten_write(1);
    calls.shorten_write(1);
    EXPECT_EQ(failure(), "");
    expect_replaced();
}

TEST_F(OutputFile, HoldsTextsLargerThanOneWrite) {
    std::string text;
    for (int i = 0; i < 20'000; ++i) text += std::to_string(i) + '\n';
    output to(path);
    to.write(text);
    to.write("end");
    to.commit();
    EXPECT_EQ(read_file(path), text + "end");
}

TEST_F(OutputFile, IsWrittenAgainWhenASignalComesBetween) {
    calls.fail("write", EINTR);
    calls.fail("poll", EINTR);
    EXPECT_EQ(failure(), "");
    expect_replaced();
}

TEST_F(OutputFile, WaitsForRoomWhenThereIsNone) {
    calls.fail("write", EAGAIN);
    output to(path);
    to.write("new");
    EXPECT_THAT(calls.made(), ElementsAre("poll", "write", "poll", "write"));
    to.commit();
    expect_replaced();
}

TEST_F(OutputFile, WaitsForRoomAgainWhenASignalComesBetween) {
    calls.fail("poll", EINTR);
    output to(path);
    to.write("new");
    EXPECT_THAT(calls.made(), ElementsAre("poll", "poll", "write"));
}

TEST_F(OutputFile, IsWrittenWhereOneCannotWaitForRoom) {
    calls.fail("poll", ENOMEM);
    EXPECT_EQ(failure(), "");
    expect_replaced();
}

TEST_F(OutputFile, StaysAsItWasWhereAWriteFails) {
    calls.fail("write", ENOSPC);
    EXPECT_EQ(failure(), path + ": No space left on device");
    expect_untouched();
}

TEST_F(OutputFile, ThatItsReaderHasClosedIsNoFailure) {
    calls.fail("write", EPIPE);
    output to(path);
    EXPECT_THROW(to.write("new"), output_closed);
}

TEST_F(OutputFile, WaitsForRoomOnTheStandardErrorToo) {
    calls.fail("write", EAGAIN);
    si_inspect::write_to_standard_error("a line\n");
    EXPECT_THAT(calls.made(), ElementsAre("poll", "write", "poll", "write"));
}

TEST_F(OutputFile, DoesWithoutAStandardError) {
    calls.fail("write", EPIPE);
    EXPECT_NO_THROW(si_inspect::write_to_standard_error("a line\n"));
    calls.fail("write", EBADF);
    EXPECT_NO_THROW(si_inspect::write_to_standard_error("a line\n"));
}

// --- Putting it in its place ---

TEST_F(OutputFile, IsOnTheDiskBeforeItIsInItsPlaceAndSoIsItsNameThen) {
    output to(path);
    to.write("new");
    const std::size_t before = calls.made().size();
    to.commit();
    const std::vector<std::string> made(calls.made().begin() + static_cast<std::ptrdiff_t>(before),
                                        calls.made().end());
    EXPECT_THAT(made,
                ElementsAre("fchown", "fchown", "fsync", "close", "rename", "fsync", "close"));
    expect_replaced();
}

TEST_F(OutputFile, StaysAsItWasWhereItsBytesDoNotReachTheDisk) {
    calls.fail("fsync", EIO);
    EXPECT_EQ(failure(), path + ": Input/output error");
    expect_untouched();
}

TEST_F(OutputFile, IsBroughtToTheDiskAgainWhenASignalComesBetween) {
    calls.fail("fsync", EINTR);
    calls.fail("fsync", EIO);
    EXPECT_EQ(failure(), path + ": Input/output error");
    expect_untouched();
}

TEST_F(OutputFile, NeedsNoDisk) {
    calls.fail("fsync", EINVAL);
    EXPECT_EQ(failure(), "");
    expect_replaced();
}

TEST_F(OutputFile, OfWhichTheNameIsNotOnTheDiskYetIsInItsPlace) {
    calls.answer("fsync", 0);
    calls.fail("fsync", EIO);
    EXPECT_EQ(failure(), "");
    expect_replaced();
}

TEST_F(OutputFile, StaysAsItWasWhereClosingFails) {
    calls.fail("close", EDQUOT);
    EXPECT_EQ(failure(), path + ": Disk quota exceeded");
    expect_untouched();
}

TEST_F(OutputFile, IsClosedAlsoWhenASignalComesBetween) {
    calls.fail("close", EINTR);
    EXPECT_EQ(failure(), "");
    expect_replaced();
}

TEST_F(OutputFile, StaysAsItWasWhereItCannotBeRenamed) {
    calls.fail("rename", EACCES);
    EXPECT_EQ(failure(), path + ": Permission denied");
    expect_untouched();
}

TEST_F(OutputFile, GivesAnotherGroupNoMoreThanAnyone) {
    ASSERT_EQ(chmod(path.c_str(), 0664), 0);
    calls.fail("fchown", EPERM);
    EXPECT_EQ(failure(), "");
    EXPECT_EQ(permissions(), 0644u);
}

TEST_F(OutputFile, KeepsItsPermissionsWhereItsOwnerCannotBeKept) {
    ASSERT_EQ(chmod(path.c_str(), 0664), 0);
    calls.answer("fchown", 0);
    calls.fail("fchown", EPERM);
    EXPECT_EQ(failure(), "");
    EXPECT_EQ(permissions(), 0664u);
}

// --- Interrupted: each in a process of its own, for there is no way back ---

using OutputFileDeathTest = OutputFile;

TEST_F(OutputFileDeathTest, OfAnInterruptedProgramIsStillWritten) {
    const auto interrupted = [this] {
        ::signal(SIGTERM, SIG_DFL);  // whatever the test was started to ignore
        si_inspect::interruption::watch();
        calls.rest();
        std::raise(SIGTERM);
        calls.go_on();
        _exit(si_inspect::interruption::happened() && failure().empty() ? 0 : 1);
    };
    EXPECT_EXIT(interrupted(), testing::ExitedWithCode(0), "");
    expect_replaced();
}

TEST_F(OutputFileDeathTest, OfAnInterruptedProgramDoesNotWaitForAReaderThatHangs) {
    const auto interrupted = [this] {
        ::signal(SIGTERM, SIG_DFL);  // whatever the test was started to ignore
        si_inspect::interruption::watch();
        calls.rest();
        std::raise(SIGTERM);
        calls.go_on();
        calls.answer("poll", 0);
        _exit(failure() == path + ": interrupted, and nobody reads it" ? 0 : 1);
    };
    EXPECT_EXIT(interrupted(), testing::ExitedWithCode(0), "");
    expect_untouched();
}

}  // namespace
}  // namespace orvix::test
