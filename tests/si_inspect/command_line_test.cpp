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
#include <sstream>

#include "tool.h"

namespace orvix::test {
namespace {

using testing::AllOf;
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

TEST_F(CommandLine, LeavesOutTheTablesBehindAnExclamationMark) {
    const std::string shown =
        si_inspect({"--table", "!eit,!SDT", "--table", "!pmt", capture()}).out;
    EXPECT_THAT(shown, AllOf(HasSubstr("PAT "), HasSubstr("NIT "), Not(HasSubstr("EIT ")),
                             Not(HasSubstr("SDT ")), Not(HasSubstr("PMT "))));
    const std::string few = si_inspect({"--table", "PAT,nit,!NIT", capture()}).out;
    EXPECT_THAT(few, AllOf(HasSubstr("PAT "), Not(HasSubstr("NIT "))));
}

TEST_F(CommandLine, WritesSectionsThatItCanReadAgain) {
    const std::string sections = si_inspect({"--quiet", "--format", "sections", capture()}).out;
    const std::string file = folder.file("sections", bytes(sections.begin(), sections.end()));
    const auto tables = [](const std::string& text) {
        // Behind the place, which differs.
        std::vector<std::string> lines;
        std::istringstream from(text);
        for (std::string line; std::getline(from, line);) {
            lines.push_back(line.substr(line.find("\"table\"")));
        }
        return lines;
    };
    const std::string again = si_inspect({"--quiet", "--format", "json", "--sections", file}).out;
    EXPECT_EQ(tables(again), tables(si_inspect({"--quiet", "--format", "json", capture()}).out));
    EXPECT_EQ(si_inspect({"--quiet", "--format", "sections", "--sections", file}).out, sections);
}

TEST_F(CommandLine, WritesSectionsWithAWrongCrcOnlyWhenAsked) {
    bytes damaged = sdt();
    damaged.back() ^= 1;
    const auto as_text = [](const bytes& b) { return std::string(b.begin(), b.end()); };
    const std::string file = folder.file("damaged", sdt() + damaged);
    EXPECT_EQ(si_inspect({"--format", "sections", "--sections", file}).out, as_text(sdt()));
    EXPECT_EQ(si_inspect({"--format", "sections", "--sections", "--no-crc", file}).out,
              as_text(sdt() + damaged));
}

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
    EXPECT_THAT(si_inspect({"--sections"}, {damaged}).out, HasSubstr("\n  refused: SDT: CRC_32 "));
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
              "si_inspect: \\u001B[31m: No such file or directory\n");
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

TEST_F(Output, HoldsWhatCouldBeReadWhereAnInputCouldNot) {
    const std::string good = capture();
    const std::string letter = folder.file("letter.txt", raw(std::string(1000, 'a')));
    const std::string missing = folder.path("missing.ts");
    const std::string path = folder.path("out");
    for (const std::string format : {"text", "json", "xmltv"}) {
        for (const std::string& bad : {letter, missing}) {
            folder.file("out", raw("before"));
            const std::vector<std::string> options = {"--quiet", "--format", format};
            const auto with = [&](const std::vector<std::string>& more) {
                std::vector<std::string> all = options;
                all.insert(all.end(), more.begin(), more.end());
                return si_inspect(all);
            };
            const outcome shown = with({"--output", path, good, bad});
            EXPECT_EQ(shown.status, 3);
            EXPECT_THAT(shown.err, StartsWith("si_inspect: " + bad + ": "));
            EXPECT_EQ(count(shown.err, "\n"), 1u) << shown.err;
            EXPECT_EQ(read_file(path), with({good, bad}).out);
            const outcome the_other_way_round = with({"--output", path, bad, good});
            EXPECT_EQ(the_other_way_round.status, 3);
            EXPECT_EQ(read_file(path), with({bad, good}).out);
            EXPECT_THAT(read_file(path), HasSubstr("Jornal"));
        }
    }
}

TEST_F(Output, StaysAsItWasWhereNoInputCanBeRead) {
    const std::string path = folder.file("out", raw("before"));
    const std::string letter = folder.file("letter.txt", raw(std::string(1000, 'a')));
    const std::string missing = folder.path("missing.ts");
    for (const std::string format : {"text", "json", "xmltv"}) {
        const outcome shown =
            si_inspect({"--quiet", "--format", format, "--output", path, letter, missing});
        EXPECT_EQ(shown.status, 3);
        EXPECT_EQ(shown.err, "si_inspect: " + letter +
                                 ": not a transport stream (1000 bytes read)\n"
                                 "si_inspect: " +
                                 missing +
                                 ": No such file or directory\n"
                                 "si_inspect: no input could be read, so " +
                                 path + " is not written\n");
        EXPECT_EQ(read_file(path), "before");
        EXPECT_THAT(folder.names(), UnorderedElementsAre("letter.txt", "out"));
    }
}

TEST_F(Output, IsNoEmptyGuideWhereNoInputCanBeRead) {
    const outcome shown = si_inspect({"--quiet", "--format", "xmltv", folder.path("missing.ts")});
    EXPECT_EQ(shown.status, 3);
    EXPECT_EQ(shown.out, "");
}

TEST_F(Output, OverAnInputIsRefusedByWhateverName) {
    const std::string in = capture();
    const std::string other = capture("other.ts");
    const std::string before = read_file(in);
    ASSERT_EQ(symlink("capture.ts", folder.path("symbolic").c_str()), 0);
    ASSERT_EQ(link(in.c_str(), folder.path("hard").c_str()), 0);
    const std::vector<std::string> names = folder.names();
    const auto expect_untouched = [&](const outcome& shown, const std::string& line) {
        EXPECT_EQ(shown.status, 3);
        EXPECT_EQ(shown.out, "");
        EXPECT_EQ(shown.err, "si_inspect: " + line + '\n');
        EXPECT_EQ(read_file(in), before);
        EXPECT_EQ(folder.names(), names);
    };

    const std::string damage = ": writing it would damage the input ";
    for (const std::string& name :
         {in, folder.path("./capture.ts"), folder.path("symbolic"), folder.path("hard"),
          folder.path("../") + folder.path().substr(folder.path().rfind('/') + 1) +
              "/capture.ts"}) {
        expect_untouched(si_inspect({"--output", name, in}), name + damage + in);
        expect_untouched(si_inspect({"--output", in, other, name}), in + damage + name);
    }

    how_to_run from_file;
    from_file.in_child = [&] { dup2(open(in.c_str(), O_RDONLY), STDIN_FILENO); };
    expect_untouched(si_inspect({"--output", in}, from_file), in + damage + "(standard input)");
    expect_untouched(si_inspect({"--output", in, other, "-"}, from_file),
                     in + damage + "(standard input)");

    how_to_run onto_file;
    onto_file.in_child = [&] { dup2(open(in.c_str(), O_WRONLY | O_APPEND), STDOUT_FILENO); };
    expect_untouched(si_inspect({in}, onto_file), "standard output" + damage + in);
    expect_untouched(si_inspect({"--output", "/dev/stdout", in}, onto_file),
                     "/dev/stdout" + damage + in);
}

TEST_F(Output, OverADeviceThatIsReadIsNotRefused) {
    const outcome shown = si_inspect({"--quiet", "--output", "/dev/null", "/dev/null"});
    EXPECT_EQ(shown.err, "si_inspect: /dev/null: empty\n");
}

TEST_F(Output, IsMadeWhereALinkLeadsToNothingYet) {
    ASSERT_EQ(mkdir(folder.path("sub").c_str(), 0755), 0);
    ASSERT_EQ(symlink("second", folder.path("sub/first").c_str()), 0);
    ASSERT_EQ(symlink(folder.path("target").c_str(), folder.path("sub/second").c_str()), 0);
    EXPECT_EQ(si_inspect({"--output", folder.path("sub/first"), capture()}).status, 0);
    EXPECT_THAT(read_file(folder.path("target")), StartsWith("PAT "));
    for (const std::string name : {"sub/first", "sub/second"}) {
        struct stat found = {};
        ASSERT_EQ(lstat(folder.path(name).c_str(), &found), 0);
        EXPECT_TRUE(S_ISLNK(found.st_mode)) << name;
    }
    EXPECT_THAT(folder.names(), UnorderedElementsAre("sub", "target", "capture.ts"));
}

TEST_F(Output, OfLinksThatLeadInCirclesIsOneLine) {
    const std::string path = folder.path("first");
    ASSERT_EQ(symlink("second", path.c_str()), 0);
    ASSERT_EQ(symlink("first", folder.path("second").c_str()), 0);
    const outcome shown = si_inspect({"--quiet", "--output", path, capture()});
    EXPECT_EQ(shown.status, 3);
    EXPECT_EQ(shown.err, "si_inspect: " + path + ": Too many levels of symbolic links\n");
}

TEST_F(Output, MayHaveTheLongestName) {
    const std::string path = folder.path(std::string(255, 'x'));
    EXPECT_EQ(si_inspect({"--output", path, capture()}).status, 0);
    EXPECT_THAT(read_file(path), StartsWith("PAT "));
}

TEST_F(Output, OfANewFileHasThePermissionsOfAnyOther) {
    how_to_run how;
    how.in_child = [] { umask(0027); };
    const std::string path = folder.path("out.txt");
    si_inspect({"--output", path, capture()}, how);
    struct stat found = {};
    ASSERT_EQ(stat(path.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777, 0640u);
}

TEST_F(Output, NeverTakesOnTheUserOrTheGroupOfWhoeverRunsIt) {
    const std::string path = folder.file("out.txt", raw("before"));
    ASSERT_EQ(chmod(path.c_str(), 07777), 0);
    si_inspect({"--output", path, capture()});
    struct stat found = {};
    ASSERT_EQ(stat(path.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777, 0777u);
}

TEST_F(Output, KeepsOwnerAndGroupOfTheFileThatItReplaces) {
    const std::string path = folder.file("out.txt", raw("before"));
    constexpr uid_t owner = 12345;
    constexpr gid_t group = 12346;
    if (chown(path.c_str(), owner, group) != 0) GTEST_SKIP() << "only the superuser may";
    ASSERT_EQ(chmod(path.c_str(), 04664), 0);
    ASSERT_EQ(si_inspect({"--output", path, capture()}).status, 0);
    struct stat found = {};
    ASSERT_EQ(stat(path.c_str(), &found), 0);
    EXPECT_EQ(found.st_uid, owner);
    EXPECT_EQ(found.st_gid, group);
    EXPECT_EQ(found.st_mode & 07777, 0664u);
}

TEST_F(Output, OfADescriptorGoesOnWhereItStands) {
    const std::string in = capture();
    const std::string expected = "before" + si_inspect({in}).out;
    ASSERT_EQ(symlink("/dev/stdout", folder.path("link").c_str()), 0);
    for (const std::string& path : {std::string("/dev/stdout"), std::string("/dev/fd/1"),
                                    std::string("/proc/self/fd/1"), folder.path("link")}) {
        const std::string log = folder.file("log", raw("before"));
        how_to_run how;
        how.in_child = [&] { dup2(open(log.c_str(), O_WRONLY | O_APPEND), STDOUT_FILENO); };
        EXPECT_EQ(si_inspect({"--output", path, in}, how).status, 0);
        EXPECT_EQ(read_file(log), expected) << path;
    }
    const std::string log = folder.file("log", raw("before"));
    how_to_run how;
    how.in_child = [&] { dup2(open(log.c_str(), O_WRONLY | O_APPEND), 7); };
    EXPECT_EQ(si_inspect({"--output", "/dev/fd/7", in}, how).status, 0);
    EXPECT_EQ(read_file(log), expected);
    EXPECT_THAT(folder.names(), UnorderedElementsAre("capture.ts", "link", "log"));
}

TEST_F(Output, OfADescriptorThatNobodyHasOpenedIsOneLine) {
    how_to_run how;
    how.in_child = [] {
        for (int inherited = STDERR_FILENO + 1; inherited < 100; ++inherited) close(inherited);
    };
    for (const std::string number : {"3", "4", "5", "99"}) {
        const std::string path = "/dev/fd/" + number;
        const outcome shown = si_inspect({"--quiet", "--output", path, capture()}, how);
        EXPECT_EQ(shown.status, 3);
        EXPECT_EQ(shown.err, "si_inspect: " + path + ": Bad file descriptor\n");
    }
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
