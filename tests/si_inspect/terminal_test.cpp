// On a terminal, in pipes, and under signals.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <small_broadcast.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>

#include "tool.h"

namespace orvix::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// Reads until nothing more can come, or until `enough` is there.
std::string read_all(int descriptor, const std::string& enough = std::string(1, '\0')) {
    std::string all;
    std::array<char, 4096> piece;
    while (all.find(enough) == std::string::npos) {
        const ssize_t count = read(descriptor, piece.data(), piece.size());
        if (count <= 0) break;
        all.append(piece.data(), static_cast<std::size_t>(count));
    }
    return all;
}

enum stream_on_terminal : unsigned int { out_on_terminal = 1, err_on_terminal = 2 };

/// What a terminal receives; whatever is not on it goes to /dev/null.
std::string on_terminal(const std::vector<std::string>& arguments, unsigned int streams,
                        const how_to_run& how = {}) {
    int master = -1;
    int slave = -1;
    if (openpty(&master, &slave, nullptr, nullptr, nullptr) != 0) return "no terminal";
    const int nowhere = open("/dev/null", O_RDWR);
    running_tool tool(arguments, nowhere, (streams & out_on_terminal) != 0 ? slave : nowhere,
                      (streams & err_on_terminal) != 0 ? slave : nowhere, how);
    close(slave);
    close(nowhere);
    const std::string received = read_all(master);
    tool.wait();
    close(master);
    return received;
}

class Terminal : public testing::Test {
protected:
    const std::string escape = "\x1B[";
    temporary_folder folder;
    std::string capture = folder.file("capture.ts", all_tables().stream());
};

TEST_F(Terminal, TextIsColouredOnATerminalOnly) {
    EXPECT_THAT(on_terminal({capture}, out_on_terminal), StartsWith("\x1B[1mPAT "));
    EXPECT_THAT(si_inspect({capture}).out, Not(HasSubstr(escape)));
}

TEST_F(Terminal, NoColorAndDumbTerminalsKeepColoursAway) {
    how_to_run how;
    how.environment = {"NO_COLOR=1"};
    EXPECT_THAT(on_terminal({capture}, out_on_terminal, how), Not(HasSubstr(escape)));
    how.environment = {"NO_COLOR="};
    EXPECT_THAT(on_terminal({capture}, out_on_terminal, how), HasSubstr(escape))
        << "an empty NO_COLOR is none";
}

TEST_F(Terminal, TheColorOptionHasTheLastWord) {
    how_to_run how;
    how.environment = {"NO_COLOR=1"};
    EXPECT_THAT(si_inspect({"--color", "always", capture}, how).out, StartsWith("\x1B[1mPAT "));
    EXPECT_THAT(on_terminal({"--color", "never", capture}, out_on_terminal),
                Not(HasSubstr(escape)));
}

TEST_F(Terminal, JsonIsNeverColoured) {
    EXPECT_THAT(on_terminal({"--format", "json", capture}, out_on_terminal),
                Not(HasSubstr(escape)));
}

TEST_F(Terminal, AFileShowsABarThatIsGoneInTheEnd) {
    const std::string seen = on_terminal({capture}, err_on_terminal);
    EXPECT_THAT(seen, StartsWith("\r["));
    EXPECT_THAT(seen, HasSubstr("%  "));
    EXPECT_THAT(seen, HasSubstr(" MiB/s  "));
    EXPECT_THAT(seen, HasSubstr(" left"));
    const std::size_t erased = seen.find("\r\x1B[K");
    ASSERT_NE(erased, std::string::npos);
    EXPECT_EQ(seen.find("MiB/s", erased), std::string::npos);
}

TEST_F(Terminal, ThereIsNoBarWhenQuietOrOnAPipe) {
    EXPECT_EQ(on_terminal({"--quiet", capture}, err_on_terminal), "");
    how_to_run how;
    const std::string path = capture;
    how.in_child = [&path] {
        const std::string command = "cat '" + path + "'";
        FILE* const pipe = popen(command.c_str(), "r");
        dup2(fileno(pipe), STDIN_FILENO);
    };
    const std::string seen = on_terminal({}, err_on_terminal, how);
    EXPECT_THAT(seen, StartsWith("packets  10 on 8 PIDs"));
    EXPECT_THAT(si_inspect({capture}).err, Not(HasSubstr("MiB/s")));
}

TEST_F(Terminal, ThereIsNoBarOnATerminalThatCannotEraseIt) {
    how_to_run how;
    how.environment = {"TERM=dumb"};
    EXPECT_THAT(on_terminal({capture}, err_on_terminal, how), StartsWith("packets  10 on 8 PIDs"));
}

TEST_F(Terminal, TheBarIsOutOfTheWayWhereverOutputAppears) {
    const std::string seen =
        on_terminal({"--color", "never", capture}, out_on_terminal | err_on_terminal);
    for (std::size_t bar = seen.find("MiB/s"); bar != std::string::npos;
         bar = seen.find("MiB/s", bar + 1)) {
        const std::size_t next_line = seen.find('\n', bar);
        const std::size_t erased = seen.find("\r\x1B[K", bar);
        EXPECT_LT(erased, next_line);
    }
    EXPECT_THAT(seen, HasSubstr("PAT  PID 0x0000"));
}

TEST_F(Terminal, WithoutAnInputSaysWhatIsMissing) {
    int master = -1;
    int slave = -1;
    ASSERT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
    running_tool tool({}, slave, slave, slave);
    close(slave);
    EXPECT_THAT(read_all(master), StartsWith("si_inspect: name a file, or pipe a stream in"));
    EXPECT_EQ(tool.wait(), 2);
    close(master);
}

// --- Pipes and signals ---

class Pipes : public testing::Test {
protected:
    void SetUp() override {
        ::signal(SIGPIPE, SIG_IGN);
        ASSERT_EQ(pipe2(in, O_CLOEXEC), 0);
        ASSERT_EQ(pipe2(out, O_CLOEXEC), 0);
        ASSERT_EQ(pipe2(err, O_CLOEXEC), 0);
    }
    void TearDown() override {
        for (const int descriptor : {in[0], in[1], out[0], out[1], err[0], err[1]}) {
            close(descriptor);
        }
    }
    void send(const bytes& stream) const {
        ASSERT_EQ(write(in[1], stream.data(), stream.size()), static_cast<ssize_t>(stream.size()));
    }
    static void close_end(int& descriptor) {
        close(descriptor);
        descriptor = -1;
    }

    int in[2] = {-1, -1};
    int out[2] = {-1, -1};
    int err[2] = {-1, -1};
};

TEST_F(Pipes, ATableAppearsAsSoonAsItIsComplete) {
    running_tool tool({"--format", "json"}, in[0], out[1], err[1]);
    stream_writer stream;
    stream.section(0x0011, sdt()).null_packets(8);
    send(stream.stream());
    EXPECT_THAT(read_all(out[0], "\n"), EndsWith("[]}]}\n")) << "the input is still open";
}

TEST_F(Pipes, AClosedOutputEndsTheToolQuietly) {
    running_tool tool({}, in[0], out[1], err[1]);
    close_end(out[0]);
    close_end(out[1]);
    close_end(err[1]);
    stream_writer stream;
    stream.section(0x0011, sdt()).null_packets(8);
    send(stream.stream());
    EXPECT_EQ(tool.wait(), 0) << "although the input is still open";
    EXPECT_EQ(read_all(err[0]), "");
}

class Interrupted : public Pipes, public testing::WithParamInterface<int> {};

TEST_P(Interrupted, EndsWithWholeLinesAndTheTotals) {
    running_tool tool({"--format", "json", "--strict"}, in[0], out[1], err[1]);
    close_end(out[1]);
    close_end(err[1]);
    bytes stream = all_tables().stream();
    stream.resize(stream.size() - 100);
    send(stream);
    std::string lines = read_all(out[0], R"("table":"tot")");
    tool.signal(GetParam());
    EXPECT_EQ(tool.wait(), 0);
    lines += read_all(out[0]);
    EXPECT_THAT(lines, EndsWith("}\n"));
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 9);
    EXPECT_THAT(read_all(err[0]), StartsWith("packets  9 on "));
}

INSTANTIATE_TEST_SUITE_P(BySignal, Interrupted, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_F(Pipes, AnInterruptedToolPutsItsOutputInPlace) {
    const temporary_folder folder;
    const std::string path = folder.path("out.txt");
    running_tool tool({"--output", path, "--log-level", "debug", "--log-category", "sdt"}, in[0],
                      out[1], err[1]);
    stream_writer stream;
    stream.section(0x0011, sdt()).section(0x0010, nit()).null_packets(8);
    send(stream.stream());
    read_all(err[0], "done parsing SDT");
    EXPECT_EQ(read_file(path), "") << "not before it is whole";
    EXPECT_THAT(folder.names(),
                testing::ElementsAre(testing::MatchesRegex("\\.out\\.txt\\.si_inspect-......")));
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_THAT(read_file(path), StartsWith("SDT "));
}

TEST_F(Pipes, AnInterruptedReadingOfAFileLeavesTheOldOutput) {
    const temporary_folder folder;
    const std::string path = folder.file("out.txt", {'o', 'l', 'd'});
    // The log of a whole file does not fit into the pipe: the tool waits in the middle.
    running_tool tool({"--all", "--output", path, "--log-level", "debug4", SAMPLE}, in[0], out[1],
                      err[1]);
    close_end(err[1]);
    std::string said = read_all(err[0], "done parsing SDT");
    tool.signal(SIGINT);
    said += read_all(err[0]);
    EXPECT_EQ(tool.wait(), 3);
    EXPECT_THAT(said,
                HasSubstr("si_inspect: " SAMPLE ": interrupted, so " + path + " is not written\n"));
    EXPECT_EQ(read_file(path), "old");
    EXPECT_EQ(folder.names(), std::vector<std::string>{"out.txt"});
}

TEST_F(Pipes, AnInterruptionBetweenInputsLeavesTheOldOutput) {
    const temporary_folder folder;
    const std::string path = folder.file("out.txt", {'o', 'l', 'd'});
    const std::string capture = folder.file("capture.ts", all_tables().stream());
    running_tool tool({"--output", path, "--log-level", "debug", "-", capture}, in[0], out[1],
                      err[1]);
    close_end(err[1]);
    stream_writer stream;
    send(stream.section(0x0011, sdt()).null_packets(8).stream());
    read_all(err[0], "done parsing SDT");
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 3);
    EXPECT_THAT(read_all(err[0]), HasSubstr("si_inspect: " + capture + ": interrupted, so " + path +
                                            " is not written\n"));
    EXPECT_EQ(read_file(path), "old");
}

TEST_F(Pipes, AnInterruptionBeforeTheFirstPacketLeavesTheOldOutput) {
    const temporary_folder folder;
    const std::string path = folder.file("out.xml", {'o', 'l', 'd'});
    running_tool tool({"--quiet", "--format", "xmltv", "--output", path}, in[0], out[1], err[1]);
    close_end(err[1]);
    tool.wait_until_it_handles(SIGINT);
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 3);
    EXPECT_THAT(read_all(err[0]), EndsWith(", so " + path + " is not written\n"));
    EXPECT_EQ(read_file(path), "old");
}

// --- Signals that whoever starts it keeps away ---

class Ignored : public Pipes, public testing::WithParamInterface<int> {};

TEST_P(Ignored, StaysIgnored) {
    const int ignored = GetParam();
    how_to_run how;
    how.in_child = [ignored] { ::signal(ignored, SIG_IGN); };
    running_tool tool({"--strict"}, in[0], out[1], err[1], how);
    close_end(out[1]);
    close_end(err[1]);
    tool.wait_until_it_handles(ignored == SIGTERM ? SIGINT : SIGTERM);
    tool.signal(ignored);
    send(all_tables().stream());
    close_end(in[1]);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_THAT(read_all(err[0]), StartsWith("packets  10 on 8 PIDs"));
}

INSTANTIATE_TEST_SUITE_P(BySignal, Ignored, testing::Values(SIGINT, SIGTERM, SIGHUP));

// --- Named pipes ---

class NamedPipe : public Pipes {
protected:
    void SetUp() override {
        Pipes::SetUp();
        ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    }

    temporary_folder folder;
    std::string path = folder.path("pipe");
};

TEST_F(NamedPipe, IsReadWhenItsWriterComes) {
    running_tool tool({"--format", "json", path}, in[0], out[1], err[1]);
    close_end(out[1]);
    tool.wait_until_it_handles(SIGINT);
    const int writer = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    const bytes stream = all_tables().stream();
    EXPECT_EQ(write(writer, stream.data(), stream.size()), static_cast<ssize_t>(stream.size()));
    close(writer);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_THAT(read_all(out[0]), HasSubstr(R"("table":"ait")"));
}

TEST_F(NamedPipe, WithoutAWriterIsInterruptedAsAnyInput) {
    running_tool tool({"--totals", path}, in[0], out[1], err[1]);
    close_end(err[1]);
    tool.wait_until_it_handles(SIGINT);
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_EQ(read_all(err[0]), "");
}

TEST_F(NamedPipe, IsWrittenWhenItsReaderComes) {
    running_tool tool({"--output", path}, in[0], out[1], err[1]);
    tool.wait_until_it_handles(SIGINT);
    const int reader = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    send(all_tables().stream());
    close_end(in[1]);
    EXPECT_THAT(read_all(reader), StartsWith("PAT "));
    close(reader);
    EXPECT_EQ(tool.wait(), 0);
}

TEST_F(NamedPipe, WithoutAReaderIsInterruptedAsOneThatItsReaderCloses) {
    running_tool tool({"--output", path}, in[0], out[1], err[1]);
    close_end(err[1]);
    tool.wait_until_it_handles(SIGINT);
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_EQ(read_all(err[0]), "");
}

// --- Ends that do not wait ---

void do_not_wait(int descriptor) { fcntl(descriptor, F_SETFL, O_NONBLOCK); }

constexpr int smallest_pipe = 4096;

TEST_F(Pipes, AnOutputThatDoesNotWaitLosesNothing) {
    do_not_wait(out[1]);
    fcntl(out[1], F_SETPIPE_SZ, smallest_pipe);
    running_tool tool({"--all", "--format", "json", SAMPLE}, in[0], out[1], err[1]);
    close_end(out[1]);
    EXPECT_EQ(read_all(out[0]), si_inspect({"--all", "--format", "json", SAMPLE}).out);
    EXPECT_EQ(tool.wait(), 0);
}

TEST_F(Pipes, AStandardErrorThatDoesNotWaitLosesNothing) {
    do_not_wait(err[1]);
    fcntl(err[1], F_SETPIPE_SZ, smallest_pipe);
    // What the pipe is filled with must go before the totals can come.
    const std::string filling(smallest_pipe, 'x');
    ASSERT_EQ(write(err[1], filling.data(), filling.size()), smallest_pipe);
    running_tool tool({"--limit", "1"}, in[0], out[1], err[1]);
    close_end(out[1]);
    close_end(err[1]);
    send(all_tables().stream());
    read_all(out[0], "PAT ");
    EXPECT_THAT(read_all(err[0]), EndsWith("pat      1 section, 1 shown\n"));
    EXPECT_EQ(tool.wait(), 0);
}

TEST_F(Pipes, AnInputThatDoesNotWaitIsWaitedFor) {
    do_not_wait(in[0]);
    running_tool tool({}, in[0], out[1], err[1]);
    close_end(out[1]);
    tool.wait_until_it_handles(SIGINT);
    send(all_tables().stream());
    close_end(in[1]);
    EXPECT_THAT(read_all(out[0]), HasSubstr("AIT "));
    EXPECT_EQ(tool.wait(), 0);
}

class Stuck : public Pipes, public testing::WithParamInterface<bool> {};

TEST_P(Stuck, AnInterruptedToolDoesNotWaitForAReaderThatHangs) {
    if (GetParam()) do_not_wait(out[1]);
    fcntl(out[1], F_SETPIPE_SZ, smallest_pipe);
    running_tool tool({"--quiet", "--format", "json"}, in[0], out[1], err[1]);
    close_end(err[1]);
    bytes services;
    for (std::uint16_t id = 0; id < 100; ++id) services = services + service(id, 4, 0);
    stream_writer stream;
    stream.section(0x0011, sdt_section(multiplex_id, multiplex_id, services)).null_packets(8);
    send(stream.stream());
    // One line fills the pipe, and is not whole then.
    int waiting = 0;
    while (waiting < smallest_pipe) ASSERT_EQ(ioctl(out[0], FIONREAD, &waiting), 0);
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 3);
    EXPECT_EQ(read_all(err[0]), "si_inspect: standard output: interrupted, and nobody reads it\n");
}

INSTANTIATE_TEST_SUITE_P(WaitingAndNot, Stuck, testing::Bool());

// --- Streams of nothing ---

bytes noise(std::size_t mebibytes) { return bytes(mebibytes * 1024 * 1024); }

TEST_F(Pipes, AnEndlessInputWithoutAPacketIsToldAndReadOn) {
    const int zeros = open("/dev/zero", O_RDONLY | O_CLOEXEC);
    running_tool tool({}, zeros, out[1], err[1]);
    close(zeros);
    close_end(err[1]);
    const std::string first =
        "si_inspect: standard input: no packet in the last 1 MiB, reading on\n";
    const std::string second =
        "si_inspect: standard input: no packet in the last 10 MiB, reading on\n";
    EXPECT_THAT(read_all(err[0], second), StartsWith(first + second));
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 0);
}

TEST_F(Pipes, NoiseIsNotToldWhenQuietOrInAFileWhichEnds) {
    const std::string none = "not a transport stream (2097152 bytes read)\n";
    EXPECT_EQ(si_inspect({"--quiet"}, {noise(2)}).err, "si_inspect: standard input: " + none);
    const temporary_folder folder;
    const std::string path = folder.file("noise", noise(2));
    EXPECT_EQ(si_inspect({path}).err,
              "si_inspect: " + path + ": " + none + "skipped  2097152 bytes\n");
}

TEST_F(Pipes, NoiseIsToldAlsoBehindPacketsAndAmongSections) {
    EXPECT_THAT(
        si_inspect({}, {all_tables().stream() + noise(2)}).err,
        StartsWith("si_inspect: standard input: no packet in the last 1 MiB, reading on\n"));
    EXPECT_THAT(si_inspect({"--sections"}, {noise(2)}).err,
                HasSubstr("no section that can be decoded in the last 1 MiB, reading on\n"));
}

}  // namespace
}  // namespace orvix::test
