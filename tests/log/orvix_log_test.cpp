#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log/orvix_log.h>
#include <log_capture.h>
#include <pthread.h>
#include <sys/time.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <ios>
#include <locale>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace orvix::test {
namespace {

/// The logger's clock, once a test has stopped it.
struct {
    std::atomic<bool> stopped{false};
    timeval at = {};
    std::atomic<int> reads{0};
} clock_in_test;

}  // namespace
}  // namespace orvix::test

/// Stands before the C library's own, for the logger too. Leaves a mark in errno.
extern "C" __attribute__((visibility("default"))) int gettimeofday(timeval* now, void*) noexcept {
    auto& clock = orvix::test::clock_in_test;
    ++clock.reads;
    errno = EPERM;
    if (clock.stopped) {
        *now = clock.at;
    } else {
        timespec precise;
        clock_gettime(CLOCK_REALTIME, &precise);
        now->tv_sec = precise.tv_sec;
        now->tv_usec = static_cast<suseconds_t>(precise.tv_nsec / 1000);
    }
    return 0;
}

namespace orvix::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSubsetOf;
using testing::Not;
using testing::SizeIs;

static_assert(std::is_same_v<decltype(&OrvixLog::reporting_level), OrvixLog::Level& (*)()>);
static_assert(std::is_same_v<decltype(&OrvixLog::output_stream), std::FILE*& (*)()>);
static_assert(std::is_same_v<decltype(&OrvixLog::can_log), bool (*)(const std::string&)>);
static_assert(std::is_same_v<decltype(&OrvixLog::to_string), std::string (*)(OrvixLog::Level)>);
static_assert(std::is_same_v<decltype(&OrvixLog::data), OrvixLog::filter_data* (*)()>);
static_assert(std::is_same_v<decltype(&OrvixLog::data_locker::get_mutex), pthread_mutex_t& (*)()>);
static_assert(std::is_same_v<decltype(&OrvixLog::get),
                             std::ostream& (OrvixLog::*)(OrvixLog::Level, const std::string&)>);

constexpr char bold_red[] = "\x1B[1;31m";
constexpr char bold_yellow[] = "\x1B[1;33m";
constexpr char default_colour[] = "\x1B[0;39m";

/// What the logger was like before anything used it.
const struct settings_at_start {
    settings_at_start() {
        log_capture log(OrvixLog::ERROR);
        ORVIX_LOG(WARNING, "test", "above the level");
        OrvixLog::output_stream() = nullptr;
        ORVIX_LOG(ERROR, "test", "no stream");
        no_data_after_suppressed_statements = OrvixLog::data() == nullptr;

        OrvixLog::can_log("test");
        if (OrvixLog::data() != nullptr) {
            data_after_can_log = true;
            filters = *OrvixLog::data();
        }
    }

    OrvixLog::Level reporting_level = OrvixLog::reporting_level();
    bool writes_to_stdout = OrvixLog::output_stream() == stdout;
    bool no_data = OrvixLog::data() == nullptr;
    bool no_data_after_suppressed_statements = false;
    bool data_after_can_log = false;
    OrvixLog::filter_data filters;
} at_start;

/// An item or a category that counts how often it was asked for.
class counted {
public:
    std::string operator()() {
        ++times_;
        return "test";
    }
    int times() const { return times_; }

private:
    int times_ = 0;
};

class stopped_clock {
public:
    stopped_clock(time_t seconds, suseconds_t microseconds) {
        clock_in_test.at.tv_sec = seconds;
        clock_in_test.at.tv_usec = microseconds;
        clock_in_test.stopped = true;
    }
    ~stopped_clock() { clock_in_test.stopped = false; }
    stopped_clock(const stopped_clock&) = delete;
    stopped_clock& operator=(const stopped_clock&) = delete;
};

class time_zone {
public:
    explicit time_zone(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }
    ~time_zone() {
        unsetenv("TZ");
        tzset();
    }
    time_zone(const time_zone&) = delete;
    time_zone& operator=(const time_zone&) = delete;
};

/// A pseudo-terminal; `stream` is what a program prints to.
class terminal {
public:
    terminal() : screen_(posix_openpt(O_RDWR | O_NOCTTY)) {
        if (screen_ < 0 || grantpt(screen_) != 0 || unlockpt(screen_) != 0) {
            throw std::runtime_error("no pseudo-terminal");
        }
        const int program = open(ptsname(screen_), O_RDWR | O_NOCTTY);
        termios raw;
        tcgetattr(program, &raw);
        cfmakeraw(&raw);
        tcsetattr(program, TCSANOW, &raw);
        stream_ = fdopen(program, "w");
    }
    ~terminal() {
        if (stream_ != nullptr) std::fclose(stream_);
        close(screen_);
    }
    terminal(const terminal&) = delete;
    terminal& operator=(const terminal&) = delete;

    std::FILE* stream() const { return stream_; }

    /// Ends the program's side and returns everything that it printed.
    std::string shown() {
        std::fclose(stream_);
        stream_ = nullptr;
        std::string shown;
        std::array<char, 4096> part;
        ssize_t size;
        while ((size = read(screen_, part.data(), part.size())) > 0) {
            shown.append(part.data(), static_cast<std::size_t>(size));
        }
        return shown;
    }

private:
    int screen_;
    std::FILE* stream_;
};

/// A file without a name.
class file {
public:
    file() : stream_(std::tmpfile()) {
        if (stream_ == nullptr) throw std::runtime_error("no temporary file");
    }
    ~file() { std::fclose(stream_); }
    file(const file&) = delete;
    file& operator=(const file&) = delete;

    std::FILE* stream() const { return stream_; }

    std::string content() const {
        std::rewind(stream_);
        std::string content;
        for (int c; (c = std::getc(stream_)) != EOF;) content.push_back(static_cast<char>(c));
        return content;
    }

private:
    std::FILE* stream_;
};

/// A stream that keeps what each write of it held: each single call, or with a buffer all that was
/// in it when it was flushed.
class call_recorder {
public:
    explicit call_recorder(int mode = _IONBF) {
        cookie_io_functions_t functions = {};
        functions.write = [](void* calls, const char* text, std::size_t size) {
            static_cast<std::vector<std::string>*>(calls)->emplace_back(text, size);
            return static_cast<ssize_t>(size);
        };
        stream_ = fopencookie(&calls_, "w", functions);
        if (stream_ == nullptr) throw std::runtime_error("no recording stream");
        std::setvbuf(stream_, nullptr, mode, mode == _IONBF ? 0 : 1 << 16);
    }
    ~call_recorder() { std::fclose(stream_); }
    call_recorder(const call_recorder&) = delete;
    call_recorder& operator=(const call_recorder&) = delete;

    std::FILE* stream() const { return stream_; }
    const std::vector<std::string>& calls() const { return calls_; }

private:
    std::vector<std::string> calls_;
    std::FILE* stream_;
};

/// The text between a prefix and a suffix that must be there.
std::string between(const std::string& prefix, const std::string& text, const std::string& suffix) {
    if (text.size() < prefix.size() + suffix.size() ||
        text.compare(0, prefix.size(), prefix) != 0 ||
        text.compare(text.size() - suffix.size(), suffix.size(), suffix) != 0) {
        throw std::runtime_error("not enclosed as expected: " + text);
    }
    return text.substr(prefix.size(), text.size() - prefix.size() - suffix.size());
}

/// One statement of each level, as `statements` of a capture show what was written of them.
void log_at_every_level() {
    ORVIX_LOG(NONE, "test", "0");
    ORVIX_LOG(PLAIN, "test", "1");
    ORVIX_LOG(ERROR, "test", "2");
    ORVIX_LOG(WARNING, "test", "3");
    ORVIX_LOG(INFO, "test", "4");
    ORVIX_LOG(DEBUG, "test", "5");
    ORVIX_LOG(DEBUG1, "test", "6");
    ORVIX_LOG(DEBUG2, "test", "7");
    ORVIX_LOG(DEBUG3, "test", "8");
    ORVIX_LOG(DEBUG4, "test", "9");
}

// --- The line ---

TEST(LogLine, ShowsTimeThreadCategoryLevelSourceAndMessage) {
    log_capture log;
    ORVIX_LOG(ERROR, "si_parser", "Short buffer, aborting parse");
    const int line = __LINE__ - 1;

    const std::regex form(R"(\d\d:\d\d:\d\d\.\d\d\d \[)" + std::to_string(kernel_thread_id()) +
                          R"(\] <si_parser> ERROR: tests/log/orvix_log_test\.cpp:)" +
                          std::to_string(line) + R"( - Short buffer, aborting parse\n)");
    EXPECT_TRUE(std::regex_match(log.text(), form)) << log.text();
}

TEST(LogLine, OfPlainHasNoLevelWordAndNoColon) {
    log_capture log;
    ORVIX_LOG(PLAIN, "test", "message");
    EXPECT_THAT(log.text(), HasSubstr("] <test> tests/log/orvix_log_test.cpp:"));
}

TEST(LogLine, NamesEachLevel) {
    log_capture log;
    log_at_every_level();
    EXPECT_THAT(log.statements(),
                ElementsAre("<test> NONE: 0", "<test> : 1", "<test> ERROR: 2", "<test> WARNING: 3",
                            "<test> INFO: 4", "<test> DEBUG: 5", "<test> DEBUG1: 6",
                            "<test> DEBUG2: 7", "<test> DEBUG3: 8", "<test> DEBUG4: 9"));
}

TEST(LogLine, PrintsItemsInOrderAndNumbersInDecimalUntilAnItemSwitches) {
    log_capture log;
    ORVIX_LOG(INFO, "test",
              "a " << 26 << ' ' << -1 << " 0x" << std::hex << 26u << " " << std::dec << 26);
    ORVIX_LOG(INFO, "test", 26);  // the switch ended with its statement
    EXPECT_THAT(log.messages(), ElementsAre("a 26 -1 0x1a 26", "26"));
}

TEST(LogLine, PrintsTheTimeInTheLocalZone) {
    const time_zone brasilia("BRT+3");
    const stopped_clock clock(12 * 3600 + 5 * 60 + 7, 4000);  // 12:05:07 UTC
    log_capture log;
    ORVIX_LOG(INFO, "test", "message");
    EXPECT_EQ(log.lines().at(0).time, "09:05:07.004");
}

TEST(LogLine, TruncatesMilliseconds) {
    const time_zone utc("UTC0");
    const stopped_clock clock(86400 + 23 * 3600 + 59 * 60 + 59, 999999);
    log_capture log;
    ORVIX_LOG(INFO, "test", "message");
    EXPECT_EQ(log.lines().at(0).time, "23:59:59.999");
}

TEST(LogLine, NamesTheThreadThatLogs) {
    log_capture log;
    ORVIX_LOG(INFO, "test", "here");
    long other_thread = 0;
    std::thread([&other_thread] {
        other_thread = kernel_thread_id();
        ORVIX_LOG(INFO, "test", "there");
    }).join();

    const std::vector<log_line> lines = log.lines();
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_EQ(lines[0].thread, kernel_thread_id());
    EXPECT_EQ(lines[1].thread, other_thread);
    EXPECT_NE(lines[0].thread, lines[1].thread);
}

TEST(LogLine, StillTakesItsMessageAfterAFailedInsertion) {
    log_capture log;
    {
        OrvixLog statement;
        statement.get(OrvixLog::INFO, "test").setstate(std::ios::failbit);
        statement.get(OrvixLog::INFO, "test") << "file:1 - message\n";
    }
    EXPECT_THAT(log.messages(), ElementsAre("message"));
}

TEST(LogLine, MayLogFromItsItems) {
    log_capture log;
    const auto logging_item = [] {
        ORVIX_LOG(INFO, "test", "inner");
        return "outer";
    };
    ORVIX_LOG(INFO, "test", logging_item());
    EXPECT_THAT(log.messages(), ElementsAre("inner", "outer"));
}

/// Groups digits by two and writes a comma for the point.
class grouping : public std::numpunct<char> {
    std::string do_grouping() const override { return "\2"; }
    char do_thousands_sep() const override { return '.'; }
    char do_decimal_point() const override { return ','; }
};

TEST(LogLine, IsTheSameUnderAnyGlobalLocale) {
    log_capture log;
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new grouping));
    ORVIX_LOG(INFO, "test", 1234567 << ' ' << 0.5 << ' ' << std::hex << 0xABCDEF);
    const int line = __LINE__ - 1;
    std::locale::global(before);

    EXPECT_THAT(log.messages(), ElementsAre("1234567 0.5 abcdef"));
    EXPECT_EQ(log.lines().at(0).line, line);
    EXPECT_EQ(log.lines().at(0).thread, kernel_thread_id());
}

TEST(LogLine, WithAnItemThatThrowsIsLostWholeAndTheExceptionPasses) {
    log_capture log;
    const auto broken = []() -> const char* { throw std::out_of_range("an item's own"); };
    EXPECT_THROW(ORVIX_LOG(INFO, "test", "a " << broken()), std::out_of_range);
    ORVIX_LOG(INFO, "test", "next");
    EXPECT_THAT(log.messages(), ElementsAre("next"));
}

std::ostream& break_stream(std::ostream& stream) {
    stream.setstate(std::ios::badbit);
    return stream;
}

TEST(LogLine, WithAnItemThatBreaksTheStreamIsLostWhole) {
    log_capture log;
    ORVIX_LOG(INFO, "test", "a " << break_stream << " b");
    ORVIX_LOG(INFO, "test", "next");
    EXPECT_THAT(log.messages(), ElementsAre("next"));
}

TEST(LogLine, TakesACategoryOfAnyLengthAndEvaluatesItOnce) {
    log_capture log;
    int times = 0;
    const auto category = [&times] {
        ++times;
        return std::string(500, 'c');
    };
    ORVIX_LOG(INFO, category(), "message");
    EXPECT_EQ(times, 1);
    EXPECT_EQ(log.lines().at(0).category, std::string(500, 'c'));
}

TEST(LogLine, IsOneStatementOfTheLanguage) {
    log_capture log;
    const bool heads = false;
    if (heads)
        ORVIX_LOG(INFO, "test", "heads");
    else
        ORVIX_LOG(INFO, "test", "tails");
    EXPECT_THAT(log.messages(), ElementsAre("tails"));
}

TEST(LogLine, LeavesErrnoAlone) {
    file disk;
    log_capture log;  // a memory stream has no descriptor: EBADF
    errno = ENOENT;
    ORVIX_LOG(INFO, "test", "to memory");
    EXPECT_EQ(errno, ENOENT);

    OrvixLog::output_stream() = disk.stream();  // a file is no terminal: ENOTTY
    errno = ENOENT;
    ORVIX_LOG(INFO, "test", "to a file");
    EXPECT_EQ(errno, ENOENT);
}

TEST(LogLine, ThatCannotBeWrittenIsLostInSilence) {
    std::FILE* const full = std::fopen("/dev/full", "w");
    ASSERT_NE(full, nullptr);
    log_capture log;
    OrvixLog::output_stream() = full;
    errno = ENOENT;
    EXPECT_NO_THROW(ORVIX_LOG(ERROR, "test", "no room"));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_NE(std::ferror(full), 0);
    std::fclose(full);
}

TEST(LogLine, IsFlushedAtOnce) {
    std::array<int, 2> pipe_ends;
    ASSERT_EQ(pipe2(pipe_ends.data(), O_NONBLOCK), 0);
    std::FILE* const stream = fdopen(pipe_ends[1], "w");
    std::setvbuf(stream, nullptr, _IOFBF, 1 << 16);

    log_capture log;
    OrvixLog::output_stream() = stream;
    ORVIX_LOG(INFO, "test", "message");
    std::array<char, 4096> part;
    const ssize_t size = read(pipe_ends[0], part.data(), part.size());
    ASSERT_GT(size, 0);
    const std::string arrived(part.data(), static_cast<std::size_t>(size));
    EXPECT_THAT(split_lines(arrived), SizeIs(1));
    EXPECT_THAT(arrived, Not(HasSubstr("\x1B")));

    std::fclose(stream);
    close(pipe_ends[0]);
}

TEST(LogLine, GoesOutInOneCall) {
    call_recorder recorder;
    log_capture log;
    OrvixLog::output_stream() = recorder.stream();
    ORVIX_LOG(ERROR, "test", "message " << 26);
    ASSERT_THAT(recorder.calls(), SizeIs(1));
    EXPECT_EQ(parse_log_line(between("", recorder.calls()[0], "\n")).message, "message 26");
}

// --- Levels ---

TEST(LogLevel, NamesComeFromTheTable) {
    EXPECT_EQ(OrvixLog::to_string(OrvixLog::NONE), "NONE");
    EXPECT_EQ(OrvixLog::to_string(OrvixLog::PLAIN), "");
    EXPECT_EQ(OrvixLog::to_string(OrvixLog::ERROR), "ERROR");
    EXPECT_EQ(OrvixLog::to_string(OrvixLog::DEBUG4), "DEBUG4");
}

TEST(LogLevel, ValuesRunFromNoneToTheMostVerbose) {
    EXPECT_EQ(OrvixLog::NONE, 0);
    EXPECT_EQ(OrvixLog::PLAIN, 1);
    EXPECT_EQ(OrvixLog::ERROR, 2);
    EXPECT_EQ(OrvixLog::WARNING, 3);
    EXPECT_EQ(OrvixLog::INFO, 4);
    EXPECT_EQ(OrvixLog::DEBUG, 5);
    EXPECT_EQ(OrvixLog::DEBUG1, 6);
    EXPECT_EQ(OrvixLog::DEBUG2, 7);
    EXPECT_EQ(OrvixLog::DEBUG3, 8);
    EXPECT_EQ(OrvixLog::DEBUG4, 9);
}

TEST(LogLevel, LetsThroughUpToItself) {
    for (int level = OrvixLog::NONE; level <= OrvixLog::DEBUG4; ++level) {
        log_capture log(static_cast<OrvixLog::Level>(level));
        log_at_every_level();
        ASSERT_THAT(log.messages(), SizeIs(static_cast<std::size_t>(level) + 1));
        EXPECT_EQ(log.messages().back(), std::to_string(level));
    }
}

TEST(LogLevel, AtFirstLetsEverythingThroughToStandardOutput) {
    EXPECT_EQ(at_start.reporting_level, OrvixLog::DEBUG4);
    EXPECT_TRUE(at_start.writes_to_stdout);
}

// --- What a suppressed statement does not do ---

TEST(SuppressedLog, AboveTheLevelBuildsNothing) {
    log_capture log(OrvixLog::INFO);
    counted category;
    counted item;
    const int clock_reads = clock_in_test.reads;
    ORVIX_LOG(DEBUG, category(), item());
    EXPECT_EQ(category.times(), 0);
    EXPECT_EQ(item.times(), 0);
    EXPECT_EQ(clock_in_test.reads, clock_reads);
    EXPECT_EQ(log.text(), "");
}

TEST(SuppressedLog, WithoutAStreamBuildsNothing) {
    log_capture log;
    counted category;
    counted item;
    const int clock_reads = clock_in_test.reads;
    OrvixLog::output_stream() = nullptr;
    ORVIX_LOG(ERROR, category(), item());
    EXPECT_EQ(category.times(), 0);
    EXPECT_EQ(item.times(), 0);
    EXPECT_EQ(clock_in_test.reads, clock_reads);
    EXPECT_EQ(log.text(), "");
}

TEST(SuppressedLog, ByAFilterBuildsItsCategoryOnly) {
    log_capture log;
    OrvixLog::add_disabled_category("test");
    counted category;
    counted item;
    const int clock_reads = clock_in_test.reads;
    ORVIX_LOG(ERROR, category(), item());
    EXPECT_EQ(category.times(), 1);
    EXPECT_EQ(item.times(), 0);
    EXPECT_EQ(clock_in_test.reads, clock_reads);
    EXPECT_EQ(log.text(), "");
}

TEST(SuppressedLog, DoesNotReachTheFiltersUnlessLevelAndStreamLetItThrough) {
    EXPECT_TRUE(at_start.no_data);
    EXPECT_TRUE(at_start.no_data_after_suppressed_statements);
}

TEST(SuppressedLog, IsBuiltOnceWhenItIsNotSuppressed) {
    log_capture log;
    counted item;
    ORVIX_LOG(ERROR, "test", item());
    EXPECT_EQ(item.times(), 1);
    EXPECT_THAT(log.messages(), ElementsAre("test"));
}

// --- Terminals ---

struct coloured {
    OrvixLog::Level level;
    const char* colour;
};

class LogTerminal : public testing::TestWithParam<coloured> {};

TEST_P(LogTerminal, ColoursTheLineAndResetsBehindItsNewline) {
    terminal tty;
    log_capture log;
    OrvixLog::output_stream() = tty.stream();
    {
        OrvixLog statement;
        statement.get(GetParam().level, "test") << "file:1 - message" << std::endl;
    }
    const std::string line =
        between(GetParam().colour, tty.shown(), std::string("\n") + default_colour);
    EXPECT_EQ(parse_log_line(line).level, OrvixLog::to_string(GetParam().level));
    EXPECT_EQ(parse_log_line(line).message, "message");
}

std::string level_of(const testing::TestParamInfo<coloured>& test) {
    return test.param.level == OrvixLog::PLAIN ? "PLAIN" : OrvixLog::to_string(test.param.level);
}

INSTANTIATE_TEST_SUITE_P(OfEachLevel, LogTerminal,
                         testing::Values(coloured{OrvixLog::NONE, default_colour},
                                         coloured{OrvixLog::PLAIN, default_colour},
                                         coloured{OrvixLog::ERROR, bold_red},
                                         coloured{OrvixLog::WARNING, bold_yellow},
                                         coloured{OrvixLog::INFO, default_colour},
                                         coloured{OrvixLog::DEBUG, default_colour},
                                         coloured{OrvixLog::DEBUG1, default_colour},
                                         coloured{OrvixLog::DEBUG2, default_colour},
                                         coloured{OrvixLog::DEBUG3, default_colour},
                                         coloured{OrvixLog::DEBUG4, default_colour}),
                         level_of);

TEST(LogFile, GetsNoEscapeSequences) {
    file disk;
    log_capture log;
    OrvixLog::output_stream() = disk.stream();
    log_at_every_level();
    const std::string content = disk.content();
    EXPECT_THAT(split_lines(content), SizeIs(10));
    EXPECT_THAT(content, Not(HasSubstr("\x1B")));
}

// --- Redirection in the middle of a statement ---

TEST(LogRedirection, SendsTheLineToTheNewStreamColouredAsForTheOldTerminal) {
    terminal old_stream;
    file new_stream;
    log_capture log;
    OrvixLog::output_stream() = old_stream.stream();
    {
        OrvixLog statement;
        OrvixLog::output_stream() = new_stream.stream();
        statement.get(OrvixLog::ERROR, "test") << "file:1 - message\n";
    }
    const std::string line =
        between(bold_red, new_stream.content(), std::string("\n") + default_colour);
    EXPECT_EQ(parse_log_line(line).message, "message");
    EXPECT_EQ(old_stream.shown(), "");
}

TEST(LogRedirection, SendsTheLineToTheNewTerminalPlainAsForTheOldFile) {
    file old_stream;
    terminal new_stream;
    log_capture log;
    OrvixLog::output_stream() = old_stream.stream();
    {
        OrvixLog statement;
        OrvixLog::output_stream() = new_stream.stream();
        statement.get(OrvixLog::ERROR, "test") << "file:1 - message\n";
    }
    EXPECT_EQ(parse_log_line(between("", new_stream.shown(), "\n")).message, "message");
    EXPECT_EQ(old_stream.content(), "");
}

TEST(LogRedirection, OfAColouredLineTakesTheResetInACallOfItsOwn) {
    terminal old_stream;
    call_recorder new_stream;
    log_capture log;
    OrvixLog::output_stream() = old_stream.stream();
    {
        OrvixLog statement;
        OrvixLog::output_stream() = new_stream.stream();
        statement.get(OrvixLog::ERROR, "test") << "file:1 - message\n";
    }
    EXPECT_THAT(new_stream.calls(), ElementsAre(testing::EndsWith(" - message\n"), default_colour));
}

TEST(LogRedirection, OfAColouredLineFlushesNewlineAndResetTogether) {
    terminal old_stream;
    call_recorder new_stream(_IOFBF);
    log_capture log;
    OrvixLog::output_stream() = old_stream.stream();
    {
        OrvixLog statement;
        OrvixLog::output_stream() = new_stream.stream();
        statement.get(OrvixLog::ERROR, "test") << "file:1 - message\n";
    }
    EXPECT_THAT(new_stream.calls(),
                ElementsAre(testing::EndsWith(std::string(" - message\n") + default_colour)));
}

TEST(LogRedirection, ToNowhereDropsTheLine) {
    log_capture log;
    {
        OrvixLog statement;
        statement.get(OrvixLog::ERROR, "test") << "file:1 - message\n";
        OrvixLog::output_stream() = nullptr;
    }
    EXPECT_EQ(log.text(), "");
}

TEST(LogRedirection, HoldsForLaterStatements) {
    file first;
    file second;
    log_capture log;
    OrvixLog::output_stream() = first.stream();
    ORVIX_LOG(INFO, "test", "one");
    OrvixLog::output_stream() = second.stream();
    ORVIX_LOG(INFO, "test", "two");
    EXPECT_THAT(first.content(), HasSubstr(" - one\n"));
    EXPECT_THAT(first.content(), Not(HasSubstr("two")));
    EXPECT_THAT(second.content(), HasSubstr(" - two\n"));
}

// --- Filters ---

class LogFilters : public testing::Test {
protected:
    /// Which of the two categories are let through.
    std::vector<std::string> written() {
        std::vector<std::string> categories;
        for (const std::string category : {"eit", "sdt"}) {
            if (OrvixLog::can_log(category)) categories.push_back(category);
        }
        return categories;
    }

    log_capture log_;  // gives the filters back
};

TEST_F(LogFilters, ExistFromTheFirstQuestionOnAndAreEmpty) {
    EXPECT_TRUE(at_start.no_data);
    EXPECT_TRUE(at_start.data_after_can_log);
    EXPECT_THAT(at_start.filters.enabled_categories, IsEmpty());
    EXPECT_THAT(at_start.filters.disabled_categories, IsEmpty());
    EXPECT_THAT(at_start.filters.muted_threads, IsEmpty());
    EXPECT_FALSE(at_start.filters.only_enabled);

    OrvixLog::filter_data* const data = OrvixLog::data();
    OrvixLog::can_log("test");
    EXPECT_EQ(OrvixLog::data(), data);
}

TEST_F(LogFilters, HoldTheirDataInOrder) {
    const OrvixLog::filter_data data;
    const auto place = [&data](const auto& member) {
        return reinterpret_cast<const char*>(&member) - reinterpret_cast<const char*>(&data);
    };
    EXPECT_EQ(place(data.enabled_categories), 0);
    EXPECT_LT(place(data.enabled_categories), place(data.disabled_categories));
    EXPECT_LT(place(data.disabled_categories), place(data.muted_threads));
    EXPECT_LT(place(data.muted_threads), place(data.only_enabled));
    static_assert(std::is_same_v<decltype(data.muted_threads), std::set<std::uint32_t>>);
}

TEST_F(LogFilters, WithoutEntriesLetEverythingThrough) {
    EXPECT_THAT(written(), ElementsAre("eit", "sdt"));
}

TEST_F(LogFilters, DropDisabledCategories) {
    OrvixLog::add_disabled_category("eit");
    EXPECT_THAT(written(), ElementsAre("sdt"));
    ORVIX_LOG(ERROR, "eit", "dropped");
    ORVIX_LOG(ERROR, "sdt", "written");
    EXPECT_THAT(log_.statements(), ElementsAre("<sdt> ERROR: written"));

    OrvixLog::add_disabled_category("sdt");
    EXPECT_THAT(written(), IsEmpty());
    OrvixLog::remove_disabled_category("eit");
    EXPECT_THAT(written(), ElementsAre("eit"));
    OrvixLog::remove_disabled_category("sdt");
    EXPECT_THAT(written(), ElementsAre("eit", "sdt"));
}

TEST_F(LogFilters, OnlyEnabledDropAllButEnabledCategories) {
    OrvixLog::set_only_enabled(true);
    EXPECT_THAT(written(), IsEmpty());
    OrvixLog::add_enabled_category("sdt");
    EXPECT_THAT(written(), ElementsAre("sdt"));
    OrvixLog::remove_enabled_category("sdt");
    EXPECT_THAT(written(), IsEmpty());
    OrvixLog::set_only_enabled(false);
    EXPECT_THAT(written(), ElementsAre("eit", "sdt"));
}

TEST_F(LogFilters, OnlyEnabledIgnoreDisabledCategories) {
    OrvixLog::add_disabled_category("sdt");
    OrvixLog::add_enabled_category("sdt");
    OrvixLog::set_only_enabled(true);
    EXPECT_THAT(written(), ElementsAre("sdt"));
}

TEST_F(LogFilters, IgnoreEnabledCategoriesUnlessOnlyEnabled) {
    OrvixLog::add_enabled_category("sdt");
    EXPECT_THAT(written(), ElementsAre("eit", "sdt"));
    OrvixLog::add_disabled_category("sdt");
    EXPECT_THAT(written(), ElementsAre("eit"));
}

TEST_F(LogFilters, CompareCategoriesExactly) {
    for (const std::string other : {"EIT", "ei", "eit ", "eits", ""}) {
        OrvixLog::add_disabled_category(other);
    }
    EXPECT_THAT(written(), ElementsAre("eit", "sdt"));
    EXPECT_FALSE(OrvixLog::can_log("EIT"));
    EXPECT_FALSE(OrvixLog::can_log(""));
}

TEST_F(LogFilters, TakeRepeatsOnce) {
    OrvixLog::add_disabled_category("eit");
    OrvixLog::add_disabled_category("eit");
    OrvixLog::remove_disabled_category("eit");
    OrvixLog::remove_disabled_category("eit");
    EXPECT_THAT(written(), ElementsAre("eit", "sdt"));
}

TEST_F(LogFilters, SilenceAMutedThreadInEveryMode) {
    const auto here = static_cast<std::uint32_t>(kernel_thread_id());
    OrvixLog::add_enabled_category("sdt");
    OrvixLog::mute_thread(here);
    EXPECT_THAT(written(), IsEmpty());
    OrvixLog::set_only_enabled(true);
    EXPECT_THAT(written(), IsEmpty());

    OrvixLog::unmute_thread(here);
    EXPECT_THAT(written(), ElementsAre("sdt"));
}

TEST_F(LogFilters, SilenceOnlyTheMutedThread) {
    OrvixLog::mute_thread(static_cast<std::uint32_t>(kernel_thread_id()));
    ORVIX_LOG(ERROR, "test", "here");
    std::thread([] { ORVIX_LOG(ERROR, "test", "there"); }).join();
    EXPECT_THAT(log_.messages(), ElementsAre("there"));
}

TEST_F(LogFilters, AreGuardedByOneMutex) {
    pthread_mutex_t& mutex = OrvixLog::data_locker::get_mutex();
    EXPECT_EQ(&mutex, &OrvixLog::data_locker::get_mutex());
    {
        const OrvixLog::data_locker lock;
        EXPECT_EQ(pthread_mutex_trylock(&mutex), EBUSY);
    }
    ASSERT_EQ(pthread_mutex_trylock(&mutex), 0);
    pthread_mutex_unlock(&mutex);

    OrvixLog::can_log("test");  // leaves it unlocked, whatever the answer
    OrvixLog::add_disabled_category("test");
    OrvixLog::can_log("test");
    ASSERT_EQ(pthread_mutex_trylock(&mutex), 0);
    pthread_mutex_unlock(&mutex);
}

// --- Several threads ---

TEST(LogThreads, WriteWholeLines) {
    constexpr int threads = 4;
    constexpr int lines_per_thread = 500;
    file disk;
    log_capture log;
    OrvixLog::output_stream() = disk.stream();

    const auto message_of = [](int thread, int number) {
        return std::to_string(thread) + "/" + std::to_string(number) +
               std::string(200, static_cast<char>('a' + thread));
    };
    std::vector<std::thread> running;
    std::multiset<std::string> expected;
    for (int thread = 0; thread < threads; ++thread) {
        for (int i = 0; i < lines_per_thread; ++i) expected.insert(message_of(thread, i));
        running.emplace_back([message_of, thread] {
            for (int i = 0; i < lines_per_thread; ++i) {
                ORVIX_LOG(INFO, "test", message_of(thread, i));
            }
        });
    }
    for (std::thread& thread : running) thread.join();

    std::multiset<std::string> messages;
    for (const std::string& line : split_lines(disk.content())) {
        messages.insert(parse_log_line(line).message);
    }
    EXPECT_EQ(messages, expected);
}

TEST(LogThreads, ChangeFiltersAndAskThemAtTheSameTime) {
    const log_capture log;  // gives the filters back
    // Each thread does one thing only: no other call of its own comes between it and the others.
    const std::vector<std::function<void()>> doings = {
        [] { OrvixLog::add_enabled_category("eit"); },
        [] { OrvixLog::remove_enabled_category("eit"); },
        [] { OrvixLog::add_disabled_category("sdt"); },
        [] { OrvixLog::remove_disabled_category("sdt"); },
        [] { OrvixLog::mute_thread(1); },
        [] { OrvixLog::unmute_thread(1); },
        [] { OrvixLog::set_only_enabled(true); },
        [] { OrvixLog::can_log("eit"); },
    };
    std::vector<std::thread> running;
    for (const std::function<void()>& doing : doings) {
        running.emplace_back([&doing] {
            for (int i = 0; i < 100; ++i) doing();
        });
    }
    for (std::thread& thread : running) thread.join();

    const OrvixLog::data_locker lock;
    EXPECT_THAT(OrvixLog::data()->enabled_categories, IsSubsetOf({"eit"}));
    EXPECT_THAT(OrvixLog::data()->disabled_categories, IsSubsetOf({"sdt"}));
    EXPECT_THAT(OrvixLog::data()->muted_threads, IsSubsetOf({1}));
    EXPECT_TRUE(OrvixLog::data()->only_enabled);
}

}  // namespace
}  // namespace orvix::test
