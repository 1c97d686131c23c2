// What --show findings writes, on the program itself.

#include <broadcast/findings/finding.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <small_broadcast.h>

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <sstream>

#include "lines.h"
#include "tool.h"

namespace orvix::test {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

using words = std::vector<std::string>;

words as_text(const words& more = {}) {
    words arguments = {"--quiet", "--show", "findings"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}
words as_json(words more = {}) {
    more.insert(more.begin(), {"--format", "json"});
    return as_text(more);
}

/// A packet for each hundredth of a second, with a PCR each 40 ms; the SDT comes every 2.5 s, but
/// not at the end, and a TDT after four seconds.
stream_writer with_rare_sdt() {
    stream_writer stream;
    for (unsigned int now = 0; now < 2000; ++now) {
        adaptation_field adaptation;
        adaptation.pcr = now * 270'000ull;
        if (now % 4 == 0) {
            stream.packet_without_payload(0x0100, adaptation);
        } else if (now % 250 == 1) {
            stream.section(0x0011, sdt());
        } else if (now % 50 == 2) {
            stream.section(0x0000, pat_section(multiplex_id, program(0, 0x0010)));
        } else if (now == 401) {
            stream.section(0x0014, tdt());
        } else {
            stream.null_packets();
        }
    }
    return stream;
}

stream_writer without_clock() {
    stream_writer stream;
    stream.packet(0x0111, false, {}).skip_counter(0x0111).packet(0x0111, false, {}).null_packets(5);
    return stream;
}

/// What the program makes of files that hold these streams.
outcome read(std::vector<std::string> arguments, const std::vector<bytes>& streams) {
    const temporary_folder folder;
    for (const bytes& stream : streams) {
        const std::string name = "capture" + std::to_string(arguments.size()) + ".ts";
        arguments.push_back(folder.file(name, stream));
    }
    return si_inspect(arguments);
}

json only(const std::string& name, const std::vector<json>& lines) {
    for (const json& line : lines) {
        if (line.at("finding") == name) return line;
    }
    return nullptr;
}

TEST(FindingsAsText, OfTheSampleAreNoErrors) {
    const outcome strict = si_inspect(as_text({"--strict", SAMPLE}));
    EXPECT_EQ(strict.status, 0) << strict.out;
    EXPECT_THAT(strict.out, AllOf(Not(HasSubstr("error  ")), Not(IsEmpty())));
}

TEST(FindingsAsText, SayWhatIsWrongThenWhere) {
    EXPECT_EQ(read(as_text(), {without_clock().stream()}).out,
              "1 error, 0 warnings, 0 notes\n"
              "\n"
              "error    PID 0x0111: packets were lost, doubled or out of order "
              "(continuity_counter)\n"
              "         continuity; TR 101 290 1.4; packet 1\n");
}

TEST(FindingsAsText, TellSecondsAndTheBroadcastsTime) {
    EXPECT_THAT(read(as_text(), {with_rare_sdt().stream()}).out,
                HasSubstr("error    SDT came 2.5 s after the one before (at most 2 s), 8 times\n"
                          "         sdt_rare; TR 101 290 3.5; first 2.240 s, packet 224; last "
                          "19.960 s, packet 1996, 2026-11-21 20:30:15\n"));
}

TEST(FindingsAsText, AreNothingWhereNothingIsWrong) {
    stream_writer stream;
    stream.null_packets(10);
    EXPECT_EQ(read(as_text(), {stream.stream()}).out, "nothing found\n");
}

TEST(FindingsAsText, HaveColoursWhenAsked) {
    EXPECT_THAT(read(as_text({"--color", "always"}), {without_clock().stream()}).out,
                HasSubstr("\033[1;31merror  \033[0m  PID"));
}

TEST(FindingsAsText, NameEachOfSeveralInputs) {
    EXPECT_THAT(read(as_text(), {without_clock().stream(), without_clock().stream()}).out,
                HasSubstr(": 1 error, 0 warnings, 0 notes\n"));
}

TEST(FindingsAsText, SayWhenThereIsNoClock) {
    EXPECT_THAT(read({"--show", "findings"}, {without_clock().stream()}).err,
                HasSubstr("si_inspect: no PCRs: what takes a clock to be found is left out\n"));
    EXPECT_THAT(read({"--show", "findings"}, {with_rare_sdt().stream()}).err,
                Not(HasSubstr("no PCRs")));
}

TEST(FindingsAsText, TellOfBareSectionsByTheirNumber) {
    bytes wrong = sdt();
    wrong.back() ^= 1;
    EXPECT_THAT(read(as_text({"--sections"}), {pat() + wrong}).out,
                HasSubstr("error    a section of the SDT has a wrong CRC_32: receivers drop it\n"
                          "         crc; TR 101 290 2.2; section 1\n"));
}

TEST(FindingsAsJson, AreALineForEach) {
    const json found =
        only("sdt_rare", objects_of(read(as_json(), {with_rare_sdt().stream()}).out));
    EXPECT_EQ(found, json::parse(R"({
        "finding": "sdt_rare", "severity": "error", "pid": 17, "service_id": null, "count": 8,
        "first": {"packet": 224, "seconds": 2.24, "time_iso": null},
        "last": {"packet": 1996, "seconds": 19.96, "time_iso": "2026-11-21T20:30:15-03:00"},
        "worst": 2.5, "limit": 2.0, "reference": "TR 101 290 3.5",
        "says": "SDT came 2.5 s after the one before (at most 2 s), 8 times"})"));
}

TEST(FindingsAsJson, AreTheMostSevereFirst) {
    std::vector<std::string> severities;
    for (const json& line : objects_of(read(as_json(), {with_rare_sdt().stream()}).out)) {
        severities.push_back(line.at("severity"));
    }
    std::vector<std::string> sorted = severities;
    std::sort(sorted.begin(), sorted.end(), [](const std::string& a, const std::string& b) {
        const std::string order = "error warning note";
        return order.find(a) < order.find(b);
    });
    EXPECT_EQ(severities, sorted);
    EXPECT_GT(severities.size(), 1u);
}

TEST(FindingsAsJson, FollowTheSchema) {
    const temporary_folder folder;
    std::string lines = si_inspect(as_json(), {with_rare_sdt().stream()}).out;  // live
    lines += read(as_json(), {with_rare_sdt().stream(), without_clock().stream()}).out;
    lines += read(as_json({"--sections"}), {pat({0, 0})}).out;
    ASSERT_GT(objects_of(lines).size(), 5u);
    const std::string file = folder.file("lines", bytes(lines.begin(), lines.end()));
    const std::string command =
        std::string("'") + VALIDATE_LINES + "' '" + SCHEMA + "' <'" + file + "' >/dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0);
}

TEST(LiveFindings, AreToldWhenTheyBeginAndWhenTheyHaveEnded) {
    const outcome result = si_inspect(as_json(), {with_rare_sdt().stream()});
    std::vector<std::string> states;
    for (const json& line : objects_of(result.out)) {
        if (line.at("finding") == "sdt_rare") states.push_back(line.value("state", "told"));
    }
    EXPECT_THAT(states, ElementsAre("begins", "told"));
    EXPECT_THAT(si_inspect(as_text(), {with_rare_sdt().stream()}).out,
                HasSubstr("\nerror    begins  "));
}

TEST(LiveFindings, EndWhenTheyHaveNotComeForTenSeconds) {
    stream_writer stream;
    for (unsigned int now = 0; now < 1500; ++now) {
        adaptation_field adaptation;
        adaptation.pcr = now * 270'000ull;
        if (now == 301) stream.skip_counter(0x0111);
        if (now % 4 == 0) {
            stream.packet_without_payload(0x0100, adaptation);
        } else {
            stream.packet(0x0111, false, {});
        }
    }
    std::vector<std::string> states;
    for (const json& line : objects_of(si_inspect(as_json(), {stream.stream()}).out)) {
        if (line.at("finding") == "continuity") states.push_back(line.value("state", "told"));
    }
    EXPECT_THAT(states, ElementsAre("begins", "ends", "told"));
}

TEST(FindingsStrict, FailOnAnErrorOnly) {
    EXPECT_EQ(read(as_text({"--strict"}), {without_clock().stream()}).status, 1);
    EXPECT_EQ(read(as_text(), {without_clock().stream()}).status, 0);
    stream_writer skips;
    skips.null_packets(20);
    bytes damaged = skips.stream();
    damaged.insert(damaged.begin() + 188 * 10, 188, 0x00);
    // Bytes that belong to no packet are a warning.
    const outcome warned = read(as_text({"--strict"}), {damaged});
    EXPECT_THAT(warned.out, HasSubstr("bytes_skipped"));
    EXPECT_EQ(warned.status, warned.out.find("error  ") == std::string::npos ? 0 : 1);
}

TEST(LimitOf, ChangesALimit) {
    EXPECT_THAT(read(as_text({"--limit-of", "sdt_rare=2.6"}), {with_rare_sdt().stream()}).out,
                Not(HasSubstr("sdt_rare")));
    EXPECT_THAT(
        read(as_text({"--limit-of", "sdt_rare=1,pat_rare=0.4"}), {with_rare_sdt().stream()}).out,
        AllOf(HasSubstr("(at most 1 s)"), HasSubstr("(at most 400 ms)")));
}

TEST(LimitOf, SaysWhatIsWrongWithIt) {
    const auto said = [](const std::string& word) {
        const outcome result = si_inspect({"--show", "findings", "--limit-of", word, SAMPLE});
        EXPECT_EQ(result.status, 2) << word;
        return result.err;
    };
    EXPECT_THAT(said("no_such=1"),
                StartsWith("si_inspect: --limit-of: 'no_such' is no finding that "
                           "has a limit"));
    EXPECT_THAT(said("crc=1"), HasSubstr("'crc' is no finding that has a limit"));
    for (const char* const word : {"pat_rare", "pat_rare=", "pat_rare=0", "pat_rare=-1",
                                   "pat_rare=1e9", "pat_rare=1.2.3", "pat_rare=."}) {
        EXPECT_THAT(said(word), HasSubstr("is not like pmt_rare=0.4, in seconds above 0")) << word;
    }
    EXPECT_EQ(si_inspect({"--limit-of", "pat_rare=1", SAMPLE}).status, 2);
}

TEST(FindingsManual, NamesEachWithItsSeverityAndLimit) {
    const std::string manual = read_file(MANUAL);
    for (std::size_t i = 0; i < broadcast::finding_kinds; ++i) {
        const auto& rule = broadcast::rule_of(static_cast<broadcast::finding_kind>(i));
        std::ostringstream entry;
        entry << ".BR " << rule.name << " \", " << to_string(rule.how_bad);
        if (rule.limit) entry << ", limit " << *rule.limit;
        entry << "\"\n";
        EXPECT_THAT(manual, HasSubstr(entry.str()));
    }
}

}  // namespace
}  // namespace orvix::test
