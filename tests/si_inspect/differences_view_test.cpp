// What --show differences writes, on the program itself.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <small_broadcast.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tool.h"

namespace orvix::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

bytes renamed_sdt() {
    return sdt_section(multiplex_id, multiplex_id,
                       service(hd_service, 4, 0, describe_service(0x01, "", "TV Nova")) +
                           service(mobile_service, 1, 1),
                       {1});
}
bytes other_sdt() {
    stream_writer stream = all_tables();
    return stream.section(0x0011, renamed_sdt()).stream();
}

class DifferencesView : public testing::Test {
protected:
    outcome shown(const std::string& before, const std::string& after,
                  std::vector<std::string> arguments = {}) {
        arguments.insert(arguments.end(), {"--show", "differences", before, after});
        return si_inspect(arguments);
    }

    temporary_folder folder;
    std::string yesterday = folder.file("yesterday.ts", all_tables().stream());
    std::string today = folder.file("today.ts", other_sdt());
};

TEST_F(DifferencesView, OfTheSameCaptureAreNoneAndExitStatusZero) {
    const outcome same = shown(yesterday, yesterday, {"--quiet"});
    EXPECT_EQ(same.status, 0);
    EXPECT_EQ(same.out, "");
    EXPECT_EQ(same.err, "");
}

TEST_F(DifferencesView, AreALineEachAndExitStatusOne) {
    const outcome different = shown(yesterday, today, {"--quiet"});
    EXPECT_EQ(different.status, 1);
    EXPECT_EQ(different.out,
              "service 3.1 \"TV Nova\" (0x5C20): \"Manac\u00E1 HD\" is now \"TV Nova\"\n");
    EXPECT_EQ(different.err, "");
}

TEST_F(DifferencesView, AreObjectsInJsonThatFollowTheSchema) {
    const outcome different = shown(yesterday, today, {"--quiet", "--format", "json"});
    EXPECT_EQ(different.status, 1);
    EXPECT_EQ(json::parse(different.out), json::parse(R"({
        "change":"service_renamed","service_id":23584,"event_id":null,
        "old":"Manac\u00E1 HD","new":"TV Nova",
        "sentence":"service 3.1 \"TV Nova\" (0x5C20): \"Manac\u00E1 HD\" is now \"TV Nova\""})"));

    const outcome many = shown(SAMPLE, today, {"--format", "json", "--totals"});
    EXPECT_THAT(many.out, HasSubstr("\"change\":\"stream_removed\""));
    EXPECT_THAT(many.out, HasSubstr("\"change\":\"application_"));
    const std::string file = folder.file("lines", raw(different.out + many.out));
    const std::string command =
        std::string("'") + VALIDATE_LINES + "' '" + SCHEMA + "' <'" + file + "' >/dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0);
}

TEST_F(DifferencesView, OfThePartsOfACaptureAreNone) {
    const std::string sample = read_file(SAMPLE);
    const std::size_t packets = sample.size() / packet_bytes;
    for (const std::size_t count : {packets / 7, packets / 3, packets / 2}) {
        const std::size_t size = count * packet_bytes;
        const std::string begin = folder.file("begin.ts", raw(sample.substr(0, size)));
        const std::string end = folder.file("end.ts", raw(sample.substr(sample.size() - size)));
        EXPECT_EQ(shown(SAMPLE, begin, {"--quiet"}).out, "");
        EXPECT_EQ(shown(end, SAMPLE, {"--quiet"}).out, "");
        EXPECT_EQ(shown(begin, end, {"--quiet"}).out, "");
    }
}

TEST_F(DifferencesView, SteerNoTerminal) {
    const bytes ait = ait_section(
        0x0009, {},
        application(0x0A, 1, 1,
                    describe_application_names(application_name("por", "Jo\x1B[31mgo"))),
        {1});
    stream_writer stream = all_tables();
    const std::string hostile = folder.file("hostile.ts", stream.section(ait_pid, ait).stream());
    const outcome different = shown(yesterday, hostile, {"--quiet"});
    EXPECT_THAT(different.out, HasSubstr(": an application \"Jogo\" is now \"Jo\\u001B[31mgo\"\n"));
    for (const char c : different.out) EXPECT_TRUE(c == '\n' || (c & 0xE0) != 0);
}

TEST_F(DifferencesView, AreThoseOfTheWantedServices) {
    EXPECT_EQ(shown(yesterday, today, {"--quiet", "--service", "0x5C38"}).status, 0);
    EXPECT_EQ(shown(yesterday, today, {"--quiet", "--service", "0x5C20"}).status, 1);
}

TEST_F(DifferencesView, SayWhatWasNotThereToBeCompared) {
    EXPECT_THAT(shown(yesterday, today).err,
                HasSubstr("missing  " + yesterday + ": EIT schedule of service 0x5C20"));
}

TEST_F(DifferencesView, TakeOneFromTheStandardInput) {
    EXPECT_EQ(si_inspect({"--show", "differences", "-", today}, {all_tables().stream()}).status, 1);
    EXPECT_EQ(si_inspect({"--show", "differences", "-", yesterday}, {all_tables().stream()}).status,
              0);
}

TEST_F(DifferencesView, WantTwoInputsAndNothingForTables) {
    const auto usage = [](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"--show", "differences"});
        const outcome wrong = si_inspect(arguments);
        EXPECT_EQ(wrong.status, 2);
        EXPECT_THAT(wrong.out, IsEmpty());
        return wrong.err;
    };
    const std::string two =
        "si_inspect: --show: differences are those of two files, the older one first ";
    EXPECT_THAT(usage({}), StartsWith(two));
    EXPECT_THAT(usage({yesterday}), StartsWith(two));
    EXPECT_THAT(usage({yesterday, today, today}), StartsWith(two));
    EXPECT_THAT(usage({"-", "-"}), StartsWith("si_inspect: --show: the standard input is no two"));
    EXPECT_THAT(usage({"--limit", "1", yesterday, today}),
                StartsWith("si_inspect: --limit: is for tables, not for --show differences"));
    EXPECT_THAT(usage({"--format", "xmltv", yesterday, today}), StartsWith("si_inspect: --show: "));
}

TEST_F(DifferencesView, OfAnInputThatCannotBeReadAreExitStatusThree) {
    const outcome missing = shown(yesterday, folder.path("missing.ts"), {"--quiet"});
    EXPECT_EQ(missing.status, 3);
    EXPECT_EQ(missing.out, "");
    const std::string none = folder.file("none.ts", bytes(1000, 7));
    const outcome no_stream = shown(yesterday, none, {"--quiet"});
    EXPECT_EQ(no_stream.status, 3);
    EXPECT_EQ(no_stream.out, "");
}

}  // namespace
}  // namespace orvix::test
