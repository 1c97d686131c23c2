// What --show guide writes, on the program itself.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <small_broadcast.h>

#include <cstdlib>
#include <nlohmann/json.hpp>

#include "display.h"
#include "lines.h"
#include "tool.h"

namespace orvix::test {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

bytes schedule(const bytes& events, std::uint16_t service_id = hd_service) {
    return eit_section({0x50, service_id, multiplex_id, multiplex_id, 0, 0x50}, events);
}

bytes event_at(std::uint16_t event_id, std::uint32_t hhmmss, const std::string& name,
               const bytes& more = {}) {
    return event(event_id, utc_time(day, hhmmss), 0x003000, 0, 0,
                 describe_short_event("por", name, "") + more);
}

outcome shown(const bytes& sections, std::vector<std::string> arguments = {}) {
    const temporary_folder folder;
    arguments.insert(arguments.end(),
                     {"--show", "guide", "--sections", folder.file("sections.bin", sections)});
    return si_inspect(arguments);
}
std::vector<std::string> text_of(const bytes& sections) {
    return lines_of(shown(sections, {"--quiet"}).out);
}
std::vector<json> json_of(const bytes& sections) {
    return objects_of(shown(sections, {"--quiet", "--format", "json"}).out);
}

TEST(GuideAsText, OfTheSampleIsThis) {
    EXPECT_EQ(si_inspect({"--show", "guide", "--quiet", SAMPLE}).out,
              read_file(EXPECTED_GUIDE ".txt"));
}

TEST(GuideAsText, HasABlockForEachDayAndALineForEachProgramme) {
    const bytes tomorrow = event(3, utc_time(day + 1, 0x001500), 0x010000, 0, 0,
                                 describe_short_event("por", "Filme", ""));
    EXPECT_THAT(text_of(schedule(tomorrow + event_at(2, 0x234500, "Debate") +
                                 event_at(1, 0x200000, "Jornal"))),
                ElementsAre("Saturday 2026-11-21",              //
                            "20:00-20:30  0x5C20  Jornal",      //
                            "23:45-00:15  0x5C20  Debate", "",  //
                            "Sunday 2026-11-22",                //
                            "00:15-01:15  0x5C20  Filme"));
}

TEST(GuideAsText, PutsTheServicesOfOneTimeBelowEachOther) {
    EXPECT_THAT(text_of(nit() + sdt() + schedule(event_at(1, 0x200000, "Jornal")) +
                        schedule(event_at(9, 0x200000, "Desenho"), mobile_service)),
                ElementsAre("Saturday 2026-11-21",                      //
                            "20:00-20:30  3.1 Manac\u00E1 HD  Jornal",  //
                            "20:00-20:30  3.31           Desenho"));
}

TEST(GuideAsText, HasNoEndWhereTheBroadcastSaysNone) {
    const bytes open =
        event(1, utc_time(day, 0x200000), 0xFFFFFF, 0, 0, describe_short_event("por", "Jogo", ""));
    EXPECT_EQ(text_of(schedule(open)).at(1), "20:00        0x5C20  Jogo");
}

TEST(GuideAsText, SaysRatingAndFirstGenre) {
    const auto line_with = [](std::uint8_t rating) {
        return text_of(schedule(event_at(1, 0x200000, "Jogo",
                                         describe_parental_ratings(parental_rating("BRA", rating)) +
                                             describe_content({0x62, 0xFF, 0x10, 0xFF}))))
            .at(1);
    };
    EXPECT_THAT(line_with(0x63), EndsWith("Jogo  12  variety, musical"));
    EXPECT_THAT(line_with(0x07), EndsWith("Jogo  0x07  variety, musical")) << "reserved";
}

TEST(GuideAsText, StaysWithinAHundredColumns) {
    const bytes events = event_at(1, 0x200000, std::string(120, 'W'),
                                  describe_content({0xD7, 0xFF}) +
                                      describe_parental_ratings(parental_rating("BRA", 0x07))) +
                         event_at(2, 0x203000, "Fim", describe_content({0xD7, 0xFF}));
    const std::vector<std::string> lines = text_of(
        sdt_section(multiplex_id, multiplex_id,
                    service(hd_service, 4, 0, describe_service(0x01, "", std::string(100, 'N')))) +
        schedule(events));
    ASSERT_THAT(lines, SizeIs(3));
    for (const std::string& line : lines) {
        EXPECT_LE(orvix::si_inspect::display_width(line).value_or(1000), 100u) << line;
    }
    EXPECT_THAT(lines[1], HasSubstr("WWW\u2026  0x07  raffle, television\u2026"));
    EXPECT_THAT(lines[2], HasSubstr("  Fim  "));
}

TEST(GuideAsText, HasColoursWhenAsked) {
    EXPECT_THAT(
        shown(schedule(event_at(1, 0x200000, "Jornal")), {"--quiet", "--color", "always"}).out,
        StartsWith("\033[1mSaturday 2026-11-21\033[0m\n20:00-20:30  "));
}

TEST(GuideAsJson, OfTheSampleIsThis) {
    EXPECT_EQ(si_inspect({"--show", "guide", "--quiet", "--format", "json", SAMPLE}).out,
              read_file(EXPECTED_GUIDE ".jsonl"));
}

TEST(GuideAsJson, IsNullWhereTheBroadcastDoesNotSay) {
    const bytes open =
        event(1, utc_time(day, 0x200000), 0xFFFFFF, 0, 0, describe_short_event("por", "Jogo", ""));
    EXPECT_EQ(json_of(schedule(open)), (std::vector<json>{json::parse(R"({
                  "original_network_id":737,"service_id":23584,"number":null,"name":null,
                  "event_id":1,"start_time":1795291200,
                  "start_time_iso":"2026-11-21T20:00:00-03:00","start_time_unix":1795302000,
                  "duration":null,"language":"por","event_name":"Jogo","text":null,
                  "extended_text":null,"rating":null,"rating_name":null,"genres":null})")}));
}

TEST(GuideAsJson, FollowsTheSchema) {
    const temporary_folder folder;
    const std::string sections = folder.file("sections.bin", schedule(event_at(1, 0, "Jogo")));
    const outcome bare =
        si_inspect({"--show", "guide", "--format", "json", "--sections", "--totals", sections});
    const outcome sample = si_inspect({"--show", "guide", "--format", "json", SAMPLE});
    const std::string file = folder.file("lines", raw(bare.out + sample.out));
    const std::string command =
        std::string("'") + VALIDATE_LINES + "' '" + SCHEMA + "' <'" + file + "' >/dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0);
}

TEST(GuideView, ShowsOnlyTheServicesThatAreWanted) {
    const bytes both = schedule(event_at(1, 0x200000, "Jornal")) +
                       schedule(event_at(9, 0x200000, "Desenho"), mobile_service);
    const outcome one = shown(both, {"--service", "0x5C38"});
    EXPECT_THAT(one.out, HasSubstr("Desenho"));
    EXPECT_THAT(one.out, Not(HasSubstr("Jornal")));
}

TEST(GuideView, IsOneOfAllInputs) {
    const temporary_folder folder;
    const std::string monday = folder.file("a.bin", schedule(event_at(1, 0x203000, "Filme")));
    const std::string tuesday =
        folder.file("b.bin", schedule(event_at(9, 0x200000, "Desenho"), mobile_service));
    EXPECT_THAT(
        lines_of(si_inspect({"--show", "guide", "--quiet", "--sections", monday, tuesday}).out),
        ElementsAre("Saturday 2026-11-21", "20:00-20:30  0x5C38  Desenho",
                    "20:30-21:00  0x5C20  Filme"));
}

TEST(GuideView, SaysWhatItLeavesOutUnlessItIsToKeepQuiet) {
    const outcome none = shown(pat());
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.out, "");
    EXPECT_THAT(none.err, StartsWith("si_inspect: guide: no programmes\n"));
    EXPECT_EQ(shown(pat(), {"--quiet"}).err, "");
}

TEST(GuideView, PutsTheTotalsBehindTheGuide) {
    const outcome with_totals = shown(schedule(event_at(1, 0x200000, "Jornal")), {"--totals"});
    EXPECT_THAT(with_totals.out,
                HasSubstr("Jornal\n\neit      1 section, 1 shown\nmissing  PAT\n"));
    EXPECT_EQ(with_totals.err, "");
}

TEST(GuideView, IsWhatXmltvShowsWithOrWithoutSayingSo) {
    const bytes sections = schedule(event_at(1, 0x200000, "Jornal"));
    const outcome said = shown(sections, {"--format", "xmltv"});
    EXPECT_EQ(said.status, 0);
    EXPECT_THAT(said.out, HasSubstr("<title lang=\"pt\">Jornal</title>"));
    EXPECT_EQ(shown(sections, {"--format", "sections"}).status, 2);
}

}  // namespace
}  // namespace orvix::test
