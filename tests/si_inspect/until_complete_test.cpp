// --until-complete, --timeout, and what is said to be missing, on the program itself.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <small_broadcast.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "tool.h"

namespace orvix::test {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

bytes schedule(std::uint8_t section_number, std::uint8_t last_section_number,
               const bytes& events = {}) {
    return eit_section({0x50, hd_service, multiplex_id, multiplex_id, section_number, 0x50}, events,
                       {0, 1, section_number, last_section_number});
}

/// One service that announces present/following and schedule, but for the last part of the latter.
stream_writer almost_whole() {
    const bytes jornal = event(1, utc_time(day, 0x210000), 0x003000, 0, 0,
                               describe_short_event("por", "Jornal", ""));
    stream_writer stream;
    stream.section(0x0000, pat_section(multiplex_id, program(hd_service, hd_pmt_pid)))
        .section(hd_pmt_pid, hd_pmt())
        .section(0x0010, nit())
        .section(0x0011, sdt_section(multiplex_id, multiplex_id, service(hd_service, 4, 0)))
        .section(0x0012, eit())
        .section(0x0014, tdt())
        .section(0x0012, schedule(48, 72))
        .section(0x0012, schedule(56, 72, jornal))
        .section(0x0012, schedule(64, 72));
    return stream;
}
stream_writer whole() {
    stream_writer stream = almost_whole();
    stream.section(0x0012, schedule(72, 72));
    return stream;
}

constexpr const char* missing_part =
    "missing  EIT schedule of service 0x5C20 (23584), 2026-11-22: segment 9 of table 0x50\n";

/// What goes on behind the tables; the reader of packets looks ahead a little.
bytes live(stream_writer stream) { return stream.null_packets(100).stream(); }

/// A tool whose standard input stays open as long as this lives.
class live_tool {
public:
    explicit live_tool(const std::vector<std::string>& arguments, const bytes& input = {}) {
        if (pipe2(in_.data(), O_CLOEXEC) + pipe2(out_.data(), O_CLOEXEC) +
                pipe2(err_.data(), O_CLOEXEC) !=
            0) {
            throw std::runtime_error("pipe2");
        }
        tool_ = std::make_unique<running_tool>(arguments, in_[0], out_[1], err_[1]);
        for (const int descriptor : {in_[0], out_[1], err_[1]}) close(descriptor);
        if (write(in_[1], input.data(), input.size()) != static_cast<ssize_t>(input.size())) {
            throw std::runtime_error("write");
        }
    }
    ~live_tool() {
        for (const int descriptor : {in_[1], out_[0], err_[0]}) close(descriptor);
    }
    live_tool(const live_tool&) = delete;
    live_tool& operator=(const live_tool&) = delete;

    outcome end() {
        outcome ended;
        ended.out = all_of(out_[0]);
        ended.err = all_of(err_[0]);
        ended.status = tool_->wait();
        return ended;
    }

private:
    static std::string all_of(int descriptor) {
        std::string text;
        std::array<char, 4096> some;
        for (ssize_t count; (count = read(descriptor, some.data(), some.size())) > 0;) {
            text.append(some.data(), static_cast<std::size_t>(count));
        }
        return text;
    }

    std::array<int, 2> in_, out_, err_;
    std::unique_ptr<running_tool> tool_;
};

TEST(UntilComplete, ALiveInputIsReadNoFurtherThanNeeded) {
    const outcome guide = live_tool({"--show", "guide", "--until-complete"}, live(whole())).end();
    EXPECT_EQ(guide.status, 0);
    EXPECT_THAT(guide.out, HasSubstr("21:00-21:30  3.1  Jornal"));
    EXPECT_THAT(guide.err, Not(HasSubstr("missing")));
}

TEST(UntilComplete, EveryViewAndFormatEnds) {
    for (const std::vector<std::string>& how :
         {std::vector<std::string>{"--show", "tables"},
          {"--show", "services"},
          {"--format", "json"},
          {"--format", "xmltv"},
          {"--format", "m3u", "--address", "udp://@239.255.0.1:5004"}}) {
        std::vector<std::string> arguments = how;
        arguments.insert(arguments.end(), {"--until-complete", "--strict", "--quiet"});
        const outcome ended = live_tool(arguments, live(whole())).end();
        EXPECT_EQ(ended.status, 0) << how.back();
        EXPECT_EQ(ended.err, "");
        EXPECT_THAT(ended.out, Not(IsEmpty()));
    }
}

TEST(UntilComplete, ViewsSeeTheSameAsWithoutWhereSomethingIsMissing) {
    const temporary_folder folder;
    const std::string capture = folder.file("capture.ts", live(almost_whole()));
    for (const std::string view : {"tables", "services", "guide", "findings"}) {
        const std::vector<std::string> arguments = {"--quiet", "--show", view, capture};
        std::vector<std::string> waiting = arguments;
        waiting.emplace_back("--until-complete");
        EXPECT_EQ(si_inspect(waiting).out, si_inspect(arguments).out) << view;
    }
}

TEST(UntilComplete, AFileIsReadNoFurtherThanNeeded) {
    stream_writer stream = whole();
    stream.null_packets(10'000);
    const temporary_folder folder;
    const std::string capture = folder.file("capture.ts", stream.stream());
    const auto packets_of = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), {"--quiet", "--totals", "--format", "json", capture});
        std::istringstream lines(si_inspect(arguments).out);
        std::string last;
        for (std::string line; std::getline(lines, line);) last = line;
        return json::parse(last).at("totals").at("packets").get<std::uint64_t>();
    };
    EXPECT_EQ(packets_of({}), 10'010u);
    EXPECT_LT(packets_of({"--until-complete"}), 1'000u);
    // What is not wanted any more was not skipped.
    EXPECT_THAT(si_inspect({"--until-complete", SAMPLE}).err, Not(HasSubstr("skipped")));
    EXPECT_EQ(si_inspect({"--until-complete", "--strict", SAMPLE}).status, 0);
}

TEST(UntilComplete, WaitsForTheWantedServicesOnly) {
    stream_writer stream = whole();
    stream.section(0x0000, pat({1}));
    EXPECT_THAT(si_inspect({"--until-complete"}, {live(stream)}).err,
                HasSubstr("missing  PMT of service 0x5C38 (23608)\n"));
    const outcome one = live_tool({"--until-complete", "--service", "0x5C20"}, live(stream)).end();
    EXPECT_EQ(one.status, 0);
    EXPECT_THAT(one.err, Not(HasSubstr("missing")));
}

TEST(Timeout, EndsTheReadingOfAnInputThatStalls) {
    const outcome guide =
        live_tool({"--show", "guide", "--until-complete", "--timeout", "1"}, live(almost_whole()))
            .end();
    EXPECT_EQ(guide.status, 0);
    EXPECT_THAT(guide.out, HasSubstr("21:00-21:30  3.1  Jornal"));
    EXPECT_THAT(guide.err, HasSubstr(missing_part));
}

TEST(Timeout, NeedsNoUntilComplete) {
    const outcome tables = live_tool({"--timeout", "1", "--quiet"}, live(all_tables())).end();
    EXPECT_EQ(tables.status, 0);
    EXPECT_EQ(tables.out, si_inspect({"--quiet"}, {all_tables().stream()}).out);
}

TEST(Timeout, OfAnInputThatGivesNothingIsALineAndExitStatusThree) {
    const outcome nothing = live_tool({"--timeout", "1"}).end();
    EXPECT_EQ(nothing.status, 3);
    EXPECT_EQ(nothing.out, "");
    EXPECT_THAT(nothing.err, StartsWith("si_inspect: standard input: nothing came within 1 s\n"));
}

TEST(Timeout, WritesTheOutputThatTheUserAskedFor) {
    const temporary_folder folder;
    const std::string file = folder.path("guide.xml");
    const outcome guide = live_tool({"--format", "xmltv", "--timeout", "1", "--output", file},
                                    almost_whole().stream())
                              .end();
    EXPECT_EQ(guide.status, 0);
    EXPECT_THAT(read_file(file), HasSubstr("Jornal</title>"));
}

TEST(Timeout, IsANumberOfSeconds) {
    for (const std::string wrong : {"0", "86401", "1.5", "soon"}) {
        const outcome usage = si_inspect({"--timeout", wrong});
        EXPECT_EQ(usage.status, 2);
        EXPECT_THAT(usage.err, HasSubstr("--timeout: '" + wrong + "' is not a number from 1 to "));
    }
}

TEST(MissingParts, AreSaidOfEveryGuideAndOtherwiseWhenAskedFor) {
    const bytes stream = almost_whole().stream();
    EXPECT_THAT(si_inspect({"--show", "guide"}, {stream}).err, HasSubstr(missing_part));
    EXPECT_THAT(si_inspect({"--format", "xmltv"}, {stream}).err, HasSubstr(missing_part));
    EXPECT_THAT(si_inspect({"--until-complete"}, {stream}).err, HasSubstr(missing_part));
    EXPECT_THAT(si_inspect({}, {stream}).err, Not(HasSubstr("missing")));
    EXPECT_EQ(si_inspect({"--show", "guide", "--quiet"}, {stream}).err, "");
    EXPECT_THAT(si_inspect({"--show", "guide", "--totals"}, {stream}).out, HasSubstr(missing_part));
}

TEST(MissingParts, AreExitStatusOneWithStrictWhereTheyWereWaitedFor) {
    const bytes stream = almost_whole().stream();
    EXPECT_EQ(si_inspect({"--until-complete", "--strict"}, {stream}).status, 1);
    EXPECT_EQ(si_inspect({"--until-complete", "--strict"}, {whole().stream()}).status, 0);
    EXPECT_EQ(si_inspect({"--until-complete"}, {stream}).status, 0);
    EXPECT_EQ(si_inspect({"--show", "guide", "--strict"}, {stream}).status, 0);
}

TEST(MissingParts, AreNamedInWords) {
    const bytes sections =
        pat() + sdt_section(multiplex_id, multiplex_id, service(hd_service, 4, 0), {0, 1, 1, 4}) +
        eit_section({0x4E, hd_service, 1, 1, 1, 0x4E}, {}, {0, 1, 0, 1}) + schedule(0, 17) +
        schedule(64, 80);
    const temporary_folder folder;
    const std::string file = folder.file("sections.bin", sections);
    const std::string err = si_inspect({"--sections", "--until-complete", file}).err;
    EXPECT_THAT(
        err.substr(err.find("missing")),
        "missing  NIT\n"
        "missing  SDT: sections 0, 2-4\n"
        "missing  PMT of service 0x5C20 (23584)\n"
        "missing  PMT of service 0x5C38 (23608)\n"
        "missing  EIT present/following of service 0x5C20 (23584): section 1\n"
        "missing  EIT schedule of service 0x5C20 (23584), day 1: segments 1-7 of table 0x50\n"
        "missing  EIT schedule of service 0x5C20 (23584), day 2: segments 9-10 of table "
        "0x50\n");
}

TEST(MissingParts, AreNoMoreLinesThanPeopleRead) {
    bytes programmes;
    for (std::uint16_t number = 1; number <= 150; ++number) {
        programmes = std::move(programmes) + program(number, 0x0100);
    }
    stream_writer stream;
    stream.section(0x0000, pat_section(multiplex_id, programmes));
    EXPECT_THAT(si_inspect({"--until-complete"}, {stream.stream()}).err,
                HasSubstr("missing  PMT of service 0x0062 (98)\nmissing  and 52 more\n"));
}

TEST(MissingParts, SayOfWhichInputTheyAre) {
    const temporary_folder folder;
    const std::string first = folder.file("a.ts", whole().stream());
    const std::string second = folder.file("b.ts", almost_whole().stream());
    const outcome both = si_inspect({"--until-complete", first, second});
    EXPECT_THAT(both.err, HasSubstr("missing  " + second + ": EIT schedule of service "));
    EXPECT_THAT(both.err, Not(HasSubstr("missing  " + first)));
}

TEST(MissingParts, StandInTheTotalsOfJson) {
    const temporary_folder folder;
    stream_writer with_second_programme = almost_whole();
    with_second_programme.section(0x0000, pat({1}));
    const std::string first = folder.file("a.ts", with_second_programme.stream());
    const std::string second = folder.file("b.ts", whole().stream());
    const std::string out =
        si_inspect({"--format", "json", "--show", "guide", "--totals", first, second}).out;
    const std::string last = out.substr(out.rfind('\n', out.size() - 2) + 1);
    EXPECT_EQ(json::parse(last).at("totals").at("missing"), json::parse(R"([
        {"file":")" + first + R"(","table":"pmt","table_id":2,"service_id":23608,"day":null,
         "date":null,"segments":null,"sections":null},
        {"file":")" + first + R"(","table":"eit","table_id":80,"service_id":23584,"day":1,
         "date":"2026-11-22","segments":[9],"sections":[]}])"));

    const std::string file = folder.file("lines", raw(out));
    const std::string command =
        std::string("'") + VALIDATE_LINES + "' '" + SCHEMA + "' <'" + file + "' >/dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0);
}

}  // namespace
}  // namespace orvix::test
