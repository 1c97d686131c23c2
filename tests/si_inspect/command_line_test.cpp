// Options, exit status, and what goes wrong: one clear line each.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <small_broadcast.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "tool.h"

namespace orvix::test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAre;

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++found;
    }
    return found;
}

class CommandLine : public testing::Test {
protected:
    std::string capture(const std::string& name = "capture.ts") const {
        return folder.file(name, all_tables().stream());
    }

    temporary_folder folder;
};

// --- Inputs ---

TEST_F(CommandLine, ReadsAFileTheStandardInputAndADashAlike) {
    const std::string file = si_inspect({capture()}).out;
    EXPECT_EQ(count(file, "\n\n"), 9u) << file;
    EXPECT_EQ(si_inspect({}, {all_tables().stream()}).out, file);
    EXPECT_EQ(si_inspect({"-"}, {all_tables().stream()}).out, file);
}

TEST_F(CommandLine, ReadsPacketsOfEverySize) {
    const std::string expected = si_inspect({}, {all_tables().stream(188)}).out;
    EXPECT_EQ(si_inspect({}, {all_tables().stream(192)}).out, expected);
    EXPECT_EQ(si_inspect({}, {all_tables().stream(204)}).out, expected);
}

TEST_F(CommandLine, NamesEachOfSeveralFiles) {
    const std::string first = capture("first.ts");
    const std::string second = capture("second.ts");
    const std::string text = si_inspect({"--table", "pat", first, second}).out;
    EXPECT_THAT(text, HasSubstr("PAT  " + first + "  PID 0x0000 (0)  packet 0  "));
    EXPECT_THAT(text, HasSubstr("PAT  " + second + "  PID 0x0000 (0)  packet 0  "));
    EXPECT_THAT(si_inspect({"--table", "pat", "--format", "json", first, second}).out,
                StartsWith("{\"file\":\"" + first + "\",\"packet\":0,"));
    EXPECT_THAT(si_inspect({"--table", "pat", "--format", "json", first}).out,
                StartsWith("{\"packet\":0,"));
}

TEST_F(CommandLine, ReadsBareSections) {
    const outcome shown = si_inspect({"--sections", "--format", "json"}, {all_sections()});
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(count(shown.out, "\n"), 8u);
    EXPECT_THAT(shown.out, StartsWith(R"({"section":0,"table":"pat",)"));
    EXPECT_THAT(shown.out, Not(HasSubstr("\"pid\"")));
}

TEST_F(CommandLine, CountsWhatABrokenFileOfSectionsLeavesOver) {
    const outcome shown = si_inspect({"--sections", "--strict"}, {sdt() + bytes{0x42, 0xF0}});
    EXPECT_EQ(shown.status, 1);
    EXPECT_THAT(shown.err, HasSubstr("dropped  1 unfinished\n"));
}

// --- Filters and switches ---

TEST_F(CommandLine, ShowsOnlyTheTablesThatAreNamed) {
    const std::string shown = si_inspect({"--table", "sdt,tdt", "--table", "pat", capture()}).out;
    EXPECT_EQ(count(shown, "\n\n"), 2u);
    EXPECT_THAT(shown, StartsWith("PAT "));
    EXPECT_THAT(shown, HasSubstr("\nSDT "));
    EXPECT_THAT(shown, HasSubstr("\nTDT "));
}

TEST_F(CommandLine, TakesPidsAndServicesDecimalOrHexadecimal) {
    const std::string file = capture();
    const std::string decimal = si_inspect({"--pid", "20", file}).out;
    EXPECT_EQ(count(decimal, "PID 0x0014"), 2u);
    EXPECT_EQ(si_inspect({"--pid", "0x14", file}).out, decimal);

    const std::string service = si_inspect({"--service", "23584", "--table", "eit", file}).out;
    EXPECT_EQ(count(service, "EIT  "), 1u);
    EXPECT_THAT(service, HasSubstr("0x5C20 (23584)"));
    EXPECT_EQ(si_inspect({"--service", "0x5c20", "--table", "eit", file}).out, service);
}

TEST_F(CommandLine, ShowsRepeatsWithAll) {
    const bytes twice = pat() + pat();
    EXPECT_EQ(count(si_inspect({"--sections"}, {twice}).out, "PAT "), 1u);
    EXPECT_EQ(count(si_inspect({"--sections", "--all"}, {twice}).out, "PAT "), 2u);
}

TEST_F(CommandLine, StopsAtTheLimitAcrossFiles) {
    const std::string first = capture("first.ts");
    const std::string second = capture("second.ts");
    const outcome shown =
        si_inspect({"--limit", "11", "--strict", "--format", "json", first, second});
    EXPECT_EQ(count(shown.out, "\n"), 11u);
    EXPECT_EQ(shown.status, 0) << "what the user cuts short is not lost";
}

TEST_F(CommandLine, CountsAPidOfSeveralFilesOnce) {
    const std::string file = capture("capture.ts");
    const auto pids = [](const outcome& shown) {
        return shown.err.substr(shown.err.find(" on "),
                                shown.err.find('\n') - shown.err.find(" on "));
    };
    EXPECT_THAT(pids(si_inspect({file})), EndsWith(" PIDs"));
    EXPECT_EQ(pids(si_inspect({file, file})), pids(si_inspect({file})));
}

TEST_F(CommandLine, AStandardStreamThatIsClosedIsALineAndExitStatusThree) {
    how_to_run without_input;
    without_input.in_child = [] { close(STDIN_FILENO); };
    const outcome unread = si_inspect({}, without_input);
    EXPECT_EQ(unread.err, "si_inspect: standard input: Bad file descriptor\n");
    EXPECT_EQ(unread.status, 3);

    how_to_run without_output;
    without_output.in_child = [] { close(STDOUT_FILENO); };
    const outcome unwritten = si_inspect({capture("capture.ts")}, without_output);
    EXPECT_THAT(unwritten.err, StartsWith("si_inspect: standard output: Bad file descriptor\n"));
    EXPECT_EQ(unwritten.status, 3);
}

TEST_F(CommandLine, TakesSectionsWithAWrongCrcWhenAsked) {
    bytes damaged = sdt();
    damaged.back() ^= 1;
    EXPECT_THAT(si_inspect({"--sections"}, {damaged}).out, IsEmpty());
    EXPECT_THAT(si_inspect({"--sections", "--no-crc"}, {damaged}).out, StartsWith("SDT "));
}

TEST_F(CommandLine, ShiftsNoTimeButNamesItsOffset) {
    EXPECT_THAT(si_inspect({"--sections", "--utc-offset", "-04:00"}, {tdt()}).out,
                HasSubstr("2026-11-21T20:30:00-04:00"));
    EXPECT_THAT(si_inspect({"--sections"}, {tdt()}).out, HasSubstr("2026-11-21T20:30:00-03:00"))
        << "whatever the machine's zone is";
}

TEST_F(CommandLine, WritesTotalsToTheStandardErrorUnlessQuietOrAskedForInTheOutput) {
    const std::string totals =
        "packets  10 on 8 PIDs\n"
        "ait      1 section, 1 shown\n"
        "eit      2 sections, 2 shown\n"
        "nit      1 section, 1 shown\n"
        "pat      1 section, 1 shown\n"
        "pmt      2 sections, 2 shown\n"
        "sdt      1 section, 1 shown\n"
        "tdt      1 section, 1 shown\n"
        "tot      1 section, 1 shown\n";
    const std::string file = capture();
    EXPECT_EQ(si_inspect({file}).err, totals);
    EXPECT_EQ(si_inspect({"--quiet", file}).err, "");
    const outcome inside = si_inspect({"--totals", file});
    EXPECT_EQ(inside.err, "");
    EXPECT_THAT(inside.out, testing::EndsWith("\n\n" + totals));
}

TEST_F(CommandLine, SaysEachDifferentRefusalOnce) {
    bytes damaged = sdt();
    damaged.back() ^= 1;
    stream_writer stream;
    stream.section(0x0011, damaged).section(0x0011, damaged).section(0x0011, sdt());
    const outcome shown = si_inspect({}, {stream.stream()});
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(count(shown.err, "PID 0x0011 (17), packet 0: refused: SDT: CRC_32 0x"), 1u);
    EXPECT_EQ(count(shown.err, "refused: SDT"), 1u);
    EXPECT_THAT(shown.err, HasSubstr("\nrefused  PID 0x0011 (17): 2 crc_mismatch\n"));
    EXPECT_THAT(si_inspect({"--quiet"}, {stream.stream()}).err, IsEmpty());
}

TEST_F(CommandLine, WithStrictAnythingLostIsExitStatusOne) {
    EXPECT_EQ(si_inspect({"--strict", capture()}).status, 0);
    stream_writer lost = all_tables();
    lost.skip_counter(0x0011).section(0x0011, sdt());
    EXPECT_EQ(si_inspect({"--strict"}, {lost.stream()}).status, 1);
    EXPECT_EQ(si_inspect({}, {lost.stream()}).status, 0);
    EXPECT_EQ(si_inspect({"--strict"}, {bytes(3) + all_tables().stream()}).status, 1);
    bytes damaged = sdt();
    damaged.back() ^= 1;
    EXPECT_EQ(si_inspect({"--strict", "--sections"}, {sdt() + damaged}).status, 1);
    EXPECT_EQ(si_inspect({"--strict", "--sections"}, {sdt() + long_section(0x4A, 1, {})}).status, 0)
        << "a table that is not decoded is no loss";
}

TEST_F(CommandLine, WritesTheLibrarysLogWhenAsked) {
    EXPECT_EQ(si_inspect({"--sections", "--quiet"}, {sdt() + eit()}).err, "");
    const std::string all =
        si_inspect({"--sections", "--quiet", "--log-level", "debug2"}, {sdt() + eit()}).err;
    EXPECT_THAT(all, HasSubstr("<sdt> DEBUG: si_parser/src/sdt.cpp:"));
    EXPECT_THAT(all, HasSubstr("<eit> DEBUG2: "));
    const std::string some =
        si_inspect({"--sections", "--quiet", "--log-level", "debug2", "--log-category", "eit"},
                   {sdt() + eit()})
            .err;
    EXPECT_THAT(some, HasSubstr("<eit> DEBUG2: "));
    EXPECT_THAT(some, Not(HasSubstr("<sdt>")));
    EXPECT_THAT(si_inspect({"--sections", "--quiet", "--log-level", "debug"}, {eit()}).err,
                Not(HasSubstr("DEBUG2")));
}

TEST_F(CommandLine, TellsItsVersionAndItsOptions) {
    const outcome version = si_inspect({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_THAT(version.out, StartsWith("si_inspect "));
    const outcome help = si_inspect({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.out, HasSubstr("Exit status:"));
}

TEST_F(CommandLine, WrongUsageIsOneLineAndExitStatusTwo) {
    const std::vector<std::vector<std::string>> wrong = {
        {"--bogus"},
        {"--table", "cat"},
        {"--pid", "8192"},
        {"--pid", "0x"},
        {"--pid", "-1"},
        {"--service", "65536"},
        {"--service", "one"},
        {"--limit", "0"},
        {"--limit", "-1"},
        {"--limit", "99999999999999999999999"},
        {"--format", "yaml"},
        {"--color", "sometimes"},
        {"--utc-offset", "3"},
        {"--utc-offset", "-03:60"},
        {"--log-level", "loud"},
        {"--log-category", "eit"},
        {"--format", "xmltv", "--totals"},
        {"--output"},
    };
    for (const auto& arguments : wrong) {
        const outcome refused = si_inspect(arguments, {all_tables().stream()});
        EXPECT_EQ(refused.status, 2) << arguments.back();
        EXPECT_EQ(refused.out, "");
        EXPECT_THAT(refused.err, StartsWith("si_inspect: "));
        EXPECT_EQ(count(refused.err, "\n"), 1u) << refused.err;
    }
}

// --- Inputs that cannot be read ---

class BadInput : public CommandLine {
protected:
    /// One line on the standard error names the file and the reason.
    static void expect_refused(const outcome& shown, const std::string& line) {
        EXPECT_EQ(shown.status, 3);
        EXPECT_EQ(shown.out, "");
        EXPECT_EQ(shown.err, "si_inspect: " + line + '\n');
    }
};

TEST_F(BadInput, MissingFile) {
    const std::string path = folder.path("missing.ts");
    expect_refused(si_inspect({"--quiet", path}), path + ": No such file or directory");
}

TEST_F(BadInput, Directory) {
    expect_refused(si_inspect({"--quiet", folder.path()}), folder.path() + ": Is a directory");
}

TEST_F(BadInput, EmptyFileAndEmptyStandardInput) {
    const std::string path = folder.file("empty.ts", {});
    expect_refused(si_inspect({"--quiet", path}), path + ": empty");
    expect_refused(si_inspect({"--quiet"}), "standard input: empty");
}

TEST_F(BadInput, NoTransportStream) {
    const std::string path = folder.file("letter.txt", raw(std::string(1000, 'a')));
    expect_refused(si_inspect({"--quiet", path}),
                   path + ": not a transport stream (1000 bytes read)");
}

TEST_F(BadInput, NoSections) {
    const std::string path = folder.file("letter.txt", raw(std::string(10, 'a')));
    expect_refused(si_inspect({"--quiet", "--sections", path}),
                   path + ": no section that can be decoded (10 bytes read)");
}

TEST_F(BadInput, WithoutPermission) {
    const std::string path = capture();
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    how_to_run how;
    // The superuser reads everything, unless he may not.
    constexpr int override_permissions = 1, read_anything = 2;
    how.in_child = [] {
        prctl(PR_CAPBSET_DROP, override_permissions, 0, 0, 0);
        prctl(PR_CAPBSET_DROP, read_anything, 0, 0, 0);
    };
    expect_refused(si_inspect({"--quiet", path}, how), path + ": Permission denied");
}

TEST_F(BadInput, TruncatedInMidPacketIsReadUpToThere) {
    bytes cut = all_tables().stream();
    cut.resize(cut.size() - 100);
    const outcome shown = si_inspect({}, {cut});
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(count(shown.out, "\n\n"), 8u) << "all but the last";
    EXPECT_THAT(shown.err, HasSubstr("skipped  88 bytes"));
    EXPECT_EQ(si_inspect({"--strict"}, {cut}).status, 1);
}

TEST_F(BadInput, OneOfSeveralDoesNotKeepTheOthersFromBeingRead) {
    const std::string missing = folder.path("missing.ts");
    const outcome shown = si_inspect({"--quiet", "--table", "pat", missing, capture()});
    EXPECT_EQ(shown.status, 3);
    EXPECT_THAT(shown.out, StartsWith("PAT "));
    EXPECT_EQ(shown.err, "si_inspect: " + missing + ": No such file or directory\n");
}

TEST_F(BadInput, NamesOfFilesCannotSteerTheTerminal) {
    EXPECT_EQ(si_inspect({"--quiet", "\x1B[31m"}).err,
              "si_inspect: ?[31m: No such file or directory\n");
}

// --- Outputs ---

class Output : public CommandLine {};

TEST_F(Output, AppearsAtItsPathWhenItIsWhole) {
    const std::string path = folder.path("out.json");
    const std::string in = capture();
    const outcome shown = si_inspect({"--format", "json", "--output", path, in});
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(shown.out, "");
    EXPECT_EQ(read_file(path), si_inspect({"--format", "json", in}).out);
    EXPECT_THAT(folder.names(), UnorderedElementsAre("capture.ts", "out.json"));
}

TEST_F(Output, KeepsThePermissionsOfTheFileThatItReplaces) {
    const std::string path = folder.file("out.txt", raw("before"));
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    si_inspect({"--output", path, capture()});
    struct stat found = {};
    ASSERT_EQ(stat(path.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777, 0640u);
    EXPECT_THAT(read_file(path), StartsWith("PAT "));
}

TEST_F(Output, ReplacesTheFileBehindALinkNotTheLink) {
    const std::string file = folder.file("file", raw("before"));
    const std::string link = folder.path("link");
    ASSERT_EQ(symlink(file.c_str(), link.c_str()), 0);
    si_inspect({"--output", link, capture()});
    EXPECT_THAT(read_file(file), StartsWith("PAT "));
    struct stat found = {};
    ASSERT_EQ(lstat(link.c_str(), &found), 0);
    EXPECT_TRUE(S_ISLNK(found.st_mode));
}

TEST_F(Output, OfADashIsTheStandardOutput) {
    EXPECT_THAT(si_inspect({"--output", "-", capture()}).out, StartsWith("PAT "));
}

TEST_F(Output, StaysAsItWasWhereTheDiskIsFull) {
    const std::string path = folder.file("out.txt", raw("before"));
    how_to_run how;
    how.in_child = [] {
        const rlimit limit = {1000, 1000};
        setrlimit(RLIMIT_FSIZE, &limit);
    };
    const outcome shown = si_inspect({"--quiet", "--output", path, capture()}, how);
    EXPECT_EQ(shown.status, 3);
    EXPECT_EQ(shown.err, "si_inspect: " + path + ": File too large\n");
    EXPECT_EQ(read_file(path), "before");
    EXPECT_THAT(folder.names(), UnorderedElementsAre("capture.ts", "out.txt"));
}

TEST_F(Output, StaysAsItWasWhereAnInputCannotBeRead) {
    const std::string path = folder.file("out.txt", raw("before"));
    EXPECT_EQ(si_inspect({"--output", path, capture(), folder.path("missing.ts")}).status, 3);
    EXPECT_EQ(read_file(path), "before");
    EXPECT_THAT(folder.names(), UnorderedElementsAre("capture.ts", "out.txt"));
}

TEST_F(Output, ThatCannotBeMadeIsOneLine) {
    const std::string path = folder.path("missing/out.txt");
    const outcome shown = si_inspect({"--quiet", "--output", path, capture()});
    EXPECT_EQ(shown.status, 3);
    EXPECT_EQ(shown.err, "si_inspect: " + path + ": No such file or directory\n");
}

TEST_F(Output, OntoAFullDeviceIsOneLine) {
    how_to_run how;
    how.in_child = [] { dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO); };
    const outcome shown = si_inspect({"--quiet", capture()}, how);
    EXPECT_EQ(shown.status, 3);
    EXPECT_EQ(shown.err, "si_inspect: standard output: No space left on device\n");
    const outcome named = si_inspect({"--quiet", "--output", "/dev/full", capture()});
    EXPECT_EQ(named.status, 3);
    EXPECT_EQ(named.err, "si_inspect: /dev/full: No space left on device\n");
}

}  // namespace
}  // namespace orvix::test
