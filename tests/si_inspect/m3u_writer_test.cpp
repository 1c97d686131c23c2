// What --format m3u writes, on the program itself.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <small_broadcast.h>

#include <regex>
#include <set>

#include "lines.h"
#include "tool.h"

namespace orvix::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

outcome shown(const bytes& sections, std::vector<std::string> arguments = {},
              const std::string& address = "http://tv.local/{service_id}") {
    const temporary_folder folder;
    arguments.insert(arguments.end(), {"--format", "m3u", "--address", address, "--sections",
                                       folder.file("sections.bin", sections)});
    return si_inspect(arguments);
}
std::vector<std::string> list_of(const bytes& sections,
                                 const std::string& address = "http://tv.local/{service_id}") {
    return lines_of(shown(sections, {"--quiet"}, address).out);
}

bytes sdt_with(const bytes& descriptors) {
    return sdt_section(multiplex_id, multiplex_id, service(hd_service, 4, 0, descriptors));
}
bytes nit_named(const std::string& ts_name) {
    return nit_section(
        multiplex_id, {},
        transport_stream(multiplex_id, multiplex_id, describe_ts_information(3, ts_name)));
}

TEST(M3u, OfTheSampleIsThis) {
    EXPECT_THAT(lines_of(si_inspect({"--quiet", "--format", "m3u", "--address",
                                     "udp://@239.255.0.1:5004", SAMPLE})
                             .out),
                ElementsAre("#EXTM3U",
                            "#EXTINF:-1 tvg-id=\"s23584.n737.isdb-tb.br\" tvg-chno=\"3.1\" "
                            "tvg-name=\"TV Manacá HD\" group-title=\"TV Manacá\",TV Manacá HD",
                            "udp://@239.255.0.1:5004",
                            "#EXTINF:-1 tvg-id=\"s23608.n737.isdb-tb.br\" tvg-chno=\"3.31\" "
                            "tvg-name=\"Manacá Móvel\" group-title=\"TV Manacá\",Manacá Móvel",
                            "udp://@239.255.0.1:5004"));
}

std::set<std::string> ids_in(const std::string& text, const std::string& pattern) {
    const std::regex id(pattern);
    std::set<std::string> ids;
    for (const std::string& line : lines_of(text)) {
        std::smatch found;
        if (std::regex_search(line, found, id)) ids.insert(found[1]);
    }
    return ids;
}

TEST(M3u, KnowsChannelsByTheIdsOfTheGuide) {
    const bytes without_sdt = pat() + eit(hd_service) + eit(mobile_service);
    for (const bytes& sections : {all_sections() + eit(mobile_service), without_sdt}) {
        const temporary_folder folder;
        const std::string file = folder.file("sections.bin", sections);
        const std::string guide =
            si_inspect({"--quiet", "--format", "xmltv", "--sections", file}).out;
        const auto ids = ids_in(shown(sections).out, "tvg-id=\"([^\"]*)\"");
        EXPECT_THAT(ids, SizeIs(2));
        EXPECT_EQ(ids, ids_in(guide, "<channel id=\"([^\"]*)\""));
    }
}

TEST(M3u, PutsServiceIdAndNumberIntoTheAddress) {
    EXPECT_EQ(
        list_of(sdt_with({}) + nit_named("TV"), "http://tv.local/{number}/{service_id}/{number}.ts")
            .at(2),
        "http://tv.local/3.1/23584/3.1.ts");
}

TEST(M3u, LeavesOutWhatTheBroadcastDoesNotSay) {
    EXPECT_THAT(
        list_of(pat_section(multiplex_id, program(hd_service, hd_pmt_pid))),
        ElementsAre("#EXTM3U", "#EXTINF:-1 tvg-name=\"23584\",23584", "http://tv.local/23584"));
    EXPECT_EQ(list_of(sdt_with(describe_service(0x01, "", "  ")) + nit_named("")).at(1),
              "#EXTINF:-1 tvg-id=\"s23584.n737.isdb-tb.br\" tvg-chno=\"3.1\" tvg-name=\"3.1\",3.1");
}

TEST(M3u, LeavesOutServicesWithoutTheNumberThatTheirAddressNeeds) {
    const outcome none = shown(sdt_with({}), {}, "http://tv.local/{number}");
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.out, "#EXTM3U\n");
    EXPECT_THAT(none.err, StartsWith("si_inspect: m3u: left out services without a number: 1\n"));
}

TEST(M3u, KeepsNamesWithinTheirPlace) {
    const std::string line =
        list_of(sdt_with(describe_service(0x01, "", "TV \"Um\", dois\r\n#EXTINF:3")) +
                nit_named("A\", tvg-id=\"x"))
            .at(1);
    EXPECT_EQ(line,
              "#EXTINF:-1 tvg-id=\"s23584.n737.isdb-tb.br\" tvg-chno=\"3.1\" "
              "tvg-name=\"TV 'Um'; dois#EXTINF:3\" group-title=\"A'; tvg-id='x\","
              "TV 'Um'; dois#EXTINF:3");
}

TEST(M3u, TakesTheNetworksNameForAGroupWhereTheStreamHasNone) {
    const bytes network = nit_section(multiplex_id, descriptor(0x40, raw("Rede\r\n\"Sul\"")),
                                      transport_stream(multiplex_id, multiplex_id));
    EXPECT_THAT(list_of(sdt_with({}) + network).at(1), HasSubstr(" group-title=\"Rede'Sul'\","));
}

TEST(M3u, TellsRadioFromTelevision) {
    EXPECT_THAT(list_of(sdt_with(describe_service(0x02, "", "FM"))).at(1),
                HasSubstr(" radio=\"true\",FM"));
    EXPECT_THAT(list_of(sdt_with(describe_service(0x01, "", "TV"))).at(1), Not(HasSubstr("radio")));
}

TEST(M3u, HasTheServicesOfAllInputsAndOnlyTheWantedOnes) {
    const temporary_folder folder;
    const std::string hd = folder.file("a.bin", sdt_with({}));
    const std::string mobile =
        folder.file("b.bin", sdt_section(2, multiplex_id, service(mobile_service, 4, 0)));
    const std::vector<std::string> arguments = {"--quiet",      "--format",   "m3u", "--address",
                                                "{service_id}", "--sections", hd,    mobile};
    const std::vector<std::string> all = lines_of(si_inspect(arguments).out);
    ASSERT_THAT(all, SizeIs(5));
    EXPECT_EQ(all[0], "#EXTM3U");
    EXPECT_EQ(all[2], "23584");
    EXPECT_EQ(all[4], "23608");

    std::vector<std::string> few = arguments;
    few.insert(few.begin(), {"--service", "0x5C38"});
    EXPECT_THAT(lines_of(si_inspect(few).out), SizeIs(3));
}

TEST(M3u, WantsAnAddressThatIsOne) {
    const auto usage = [](const std::vector<std::string>& arguments) {
        const outcome wrong = si_inspect(arguments);
        EXPECT_EQ(wrong.status, 2);
        EXPECT_THAT(wrong.out, IsEmpty());
        return wrong.err.substr(0, wrong.err.find(" (si_inspect"));
    };
    EXPECT_EQ(usage({"--format", "m3u", SAMPLE}),
              "si_inspect: --format: m3u needs the --address of a service");
    EXPECT_EQ(usage({"--address", "udp://@", SAMPLE}),
              "si_inspect: --address: is for --format m3u");
    const auto refused = [&](const std::string& address) {
        return usage({"--format", "m3u", "--address", address, SAMPLE});
    };
    EXPECT_EQ(refused("#1"), "si_inspect: --address: '#1' begins as a comment does");
    EXPECT_EQ(refused("a\nb"), "si_inspect: --address: 'a\\u000Ab' has a space or a line break");
    EXPECT_EQ(refused("http://tv/{id}"),
              "si_inspect: --address: 'http://tv/{id}' has a '{' without service_id} or number} "
              "behind it");
    EXPECT_EQ(refused(""), "si_inspect: --address: '' is empty");
    EXPECT_THAT(usage({"--format", "m3u", "--address", "a", "--show", "tables", SAMPLE}),
                HasSubstr("--show: "));
    EXPECT_THAT(usage({"--format", "m3u", "--address", "a", "--limit", "1", SAMPLE}),
                HasSubstr("--limit: "));
}

}  // namespace
}  // namespace orvix::test
