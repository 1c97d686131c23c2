// What --show services writes, on the program itself.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <small_broadcast.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "lines.h"
#include "tool.h"

namespace orvix::test {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

outcome shown(const stream_writer& stream, std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.begin(), {"--show", "services"});
    return si_inspect(arguments, {stream.stream()});
}
std::string text_of(const stream_writer& stream) { return shown(stream, {"--quiet"}).out; }
std::vector<json> json_of(const stream_writer& stream) {
    return objects_of(shown(stream, {"--quiet", "--format", "json"}).out);
}

/// What comes until there is `sought`, or all.
std::string read_until(int descriptor, const std::string& sought) {
    std::string text;
    std::array<char, 4096> some;
    while (sought.empty() || text.find(sought) == std::string::npos) {
        const ssize_t count = read(descriptor, some.data(), some.size());
        if (count <= 0) break;
        text.append(some.data(), static_cast<std::size_t>(count));
    }
    return text;
}

bytes describe_network_name(const std::string& name) { return descriptor(0x40, raw(name)); }

bytes pat_of_hd_only() { return pat_section(multiplex_id, program(hd_service, hd_pmt_pid)); }

/// A service with one application of this name.
stream_writer with_application(const std::string& name) {
    stream_writer stream;
    stream.section(0x0000, pat_of_hd_only())
        .section(hd_pmt_pid, hd_pmt())
        .section(
            ait_pid,
            ait_section(0x0009, {},
                        application(0x0A, 1, 2,
                                    describe_application_names(application_name("por", name)))));
    return stream;
}

TEST(ServicesAsText, OfTheSampleAreThese) {
    EXPECT_EQ(si_inspect({"--show", "services", "--quiet", SAMPLE}).out,
              read_file(EXPECTED_SERVICES ".txt"));
}

TEST(ServicesAsText, SayWhatTheBroadcastHasNotTold) {
    stream_writer stream;
    stream.section(0x0000, pat_of_hd_only());
    EXPECT_EQ(text_of(stream),
              "network           not told\n"
              "transport stream  0x02E1 (737)\n"
              "\n"
              "0x5C20 (23584)  without a name\n"
              "  service_id    0x5C20 (23584)\n"
              "  service_type  not told\n"
              "  PMT PID       0x0110 (272)\n"
              "  PCR PID       not told\n"
              "  streams       not told\n"
              "  now           not told\n"
              "  next          not told\n");
}

TEST(ServicesAsText, SayWhatIsNotThere) {
    stream_writer stream;
    stream.section(0x0000, pat_of_hd_only())
        .section(hd_pmt_pid, pmt_section(hd_service, 0x1FFF, {}, {}))
        .section(0x0012, eit());
    const std::string text = text_of(stream);
    EXPECT_THAT(text, HasSubstr("  PCR PID       none\n  streams       none\n"));

    stream_writer undefined;
    undefined.section(0x0000, pat_of_hd_only())
        .section(0x0012, eit_section({0x4E, hd_service},
                                     event(1, utc_time(0xFFFF, 0xFFFFFF), 0xFFFFFF, 0, 0)));
    EXPECT_THAT(text_of(undefined), HasSubstr("  now           no start time, no duration\n"));
}

TEST(ServicesAsText, FitOnAScreenEach) {
    bytes streams;
    for (std::uint16_t pid = 0x0120; pid < 0x0120 + 40; ++pid) {
        streams = std::move(streams) + elementary_stream(0x05, pid);
    }
    bytes applications;
    for (std::uint16_t id = 1; id <= 20; ++id) {
        applications = std::move(applications) + application(1, id, 1);
    }
    const bytes told = describe_short_event("por", "Jornal", "") + describe_content({0x01, 0xFF});
    const auto on_air = [&](std::uint8_t number) {
        return eit_section({0x4E, hd_service}, event(number, utc_time(day, 0), 0, 4, 0, told),
                           {0, 1, number, 1});
    };
    stream_writer stream;
    stream.section(0x0000, pat_of_hd_only())
        .section(hd_pmt_pid, pmt_section(hd_service, 0x0100, {}, streams))
        .section(0x0121, ait_section(0x0009, {}, applications))
        .section(0x0012, on_air(0))
        .section(0x0012, on_air(1));
    const std::string text = text_of(stream);
    EXPECT_THAT(text, HasSubstr("and 32 more\n"));
    EXPECT_THAT(text, HasSubstr("and 15 more\n")) << "of the 19 that the receiver sees";
    const std::size_t blank = text.find("\n\n");
    EXPECT_LT(lines_of(text.substr(blank + 2)).size(), 24u) << text;
}

TEST(ServicesAsText, SteerNoTerminal) {
    stream_writer stream = with_application("Jogo\x1B[31m\n");
    stream
        .section(0x0010, nit_section(1, describe_network_name("Rede\x1B[2J\x07"),
                                     transport_stream(multiplex_id, 1)))
        .section(0x0011,
                 sdt_section(multiplex_id, 1,
                             service(hd_service, 4, 0, describe_service(1, "", "TV\x1B[31m\x9B"))));
    const std::string text = text_of(stream);
    for (const char c : text) EXPECT_TRUE(c == '\n' || (c & 0xE0) != 0) << text;
    EXPECT_THAT(text, HasSubstr("Rede\\u001B[2J\\u0007"));
    EXPECT_THAT(text, HasSubstr("Jogo\\u001B[31m\\u000A, Ginga-NCL, PRESENT"));
}

TEST(ServicesAsText, HaveColoursWhenAsked) {
    const std::string text =
        si_inspect({"--show", "services", "--quiet", "--color", "always", SAMPLE}).out;
    EXPECT_THAT(text, HasSubstr("\033[1m3.1  TV Manacá HD\033[0m\n"));
    EXPECT_THAT(text, HasSubstr("  \033[36mPMT PID\033[0m       0x0110 (272)\n"));
}

TEST(ServicesAsJson, OfTheSampleAreThese) {
    EXPECT_EQ(si_inspect({"--show", "services", "--quiet", "--format", "json", SAMPLE}).out,
              read_file(EXPECTED_SERVICES ".jsonl"));
}

TEST(ServicesAsJson, AreNullWhereTheBroadcastDoesNotSay) {
    stream_writer stream;
    stream.section(0x0000, pat_of_hd_only());
    EXPECT_EQ(shown(stream, {"--quiet", "--format", "json"}).out,
              R"({"network_id":null,"network_name":null,"transport_stream_id":737,)"
              R"("original_network_id":null,"ts_name":null,)"
              R"("service_id":23584,"number":null,"name":null,"service_type":null,)"
              R"("service_type_name":null,"program_map_PID":272,"PCR_PID":null,"streams":null,)"
              R"("applications":null,"present":null,"following":null})"
              "\n");

    stream.section(0x0012, eit_section({0x4E, hd_service},
                                       event(1, utc_time(0xFFFF, 0xFFFFFF), 0xFFFFFF, 0, 0)));
    EXPECT_EQ(json_of(stream).at(0).at("present"),
              json::parse(R"({"event_id":1,"start_time":null,"start_time_iso":null,
                              "start_time_unix":null,"duration":null,
                              "event_name":null,"rating":null,"rating_name":null,"genres":null})"));
}

TEST(ServicesAsJson, HaveNullForTagsAndLanguagesThatNothingGives) {
    stream_writer stream;
    stream.section(0x0000, pat_of_hd_only())
        .section(
            hd_pmt_pid,
            pmt_section(hd_service, 0x0100, {},
                        elementary_stream(0x1B, 0x0111) +
                            elementary_stream(0x11, 0x0112, descriptor(0x0A, {'p', 'o', 'r', 0}))));
    const json streams = json_of(stream).at(0).at("streams");
    EXPECT_EQ(streams.at(0).at("component_tag"), nullptr);
    EXPECT_EQ(streams.at(0).at("language"), nullptr);
    EXPECT_EQ(streams.at(1).at("language"), "por");
}

TEST(ServicesAsJson, KeepControlCharactersByEscapes) {
    const json service = json_of(with_application("Jogo\x1B\"")).at(0);
    EXPECT_EQ(service.at("applications").at(0).at("name"), "Jogo\x1B\"");
}

TEST(ServicesAsJson, FollowTheSchema) {
    stream_writer bare;
    bare.section(0x0000, pat_of_hd_only());
    const temporary_folder folder;
    const std::string first = folder.file("a.ts", bare.stream());
    const std::string second = folder.file("b.ts", all_tables().stream());
    const outcome lines =
        si_inspect({"--show", "services", "--format", "json", "--totals", first, second, SAMPLE});
    ASSERT_EQ(lines_of(lines.out).size(), 6u);
    EXPECT_THAT(lines.out, StartsWith("{\"file\":\"" + first +
                                      "\",\"network_id\":null,\"network_name\":null,"));
    const std::string file = folder.file("lines", raw(lines.out));
    const std::string command =
        std::string("'") + VALIDATE_LINES + "' '" + SCHEMA + "' <'" + file + "' >/dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0);
}

TEST(ServicesView, ShowsOnlyTheServicesThatAreWanted) {
    EXPECT_THAT(text_of(all_tables()), HasSubstr("3.31  "));
    const outcome few = shown(all_tables(), {"--service", "0x5C20"});
    EXPECT_THAT(few.out, HasSubstr("3.1  Manacá HD\n"));
    EXPECT_THAT(few.out, Not(HasSubstr("3.31  ")));
}

TEST(ServicesView, TellsOfEachInputByItself) {
    const temporary_folder folder;
    stream_writer mobile;
    mobile.section(mobile_pmt_pid, mobile_pmt());
    const std::string first = folder.file("a.ts", all_tables().stream());
    const std::string second = folder.file("b.ts", mobile.stream());
    const std::string text = si_inspect({"--show", "services", "--quiet", first, second}).out;
    EXPECT_THAT(text, StartsWith("file              " + first + "\nnetwork "));
    EXPECT_THAT(text, HasSubstr("\n\nfile              " + second +
                                "\nnetwork           not told\n"
                                "transport stream  not told\n"
                                "\n0x5C38 (23608)  without a name\n"));
}

TEST(ServicesView, SaysWhereThereAreNone) {
    stream_writer stream;
    stream.null_packets(10);
    const outcome none = shown(stream);
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.out, "");
    EXPECT_THAT(none.err, StartsWith("si_inspect: no services\n"));
    EXPECT_EQ(shown(stream, {"--quiet"}).err, "");
}

TEST(ServicesView, CountsAndReportsWhatWasRefused) {
    stream_writer stream = all_tables();
    bytes damaged = sdt({1});
    damaged.back() ^= 1;
    stream.section(0x0011, damaged).section(0x0011, damaged);
    for (const std::string format : {"text", "json"}) {
        const outcome with_refusal = shown(stream, {"--strict", "--format", format});
        EXPECT_EQ(with_refusal.status, 1);
        EXPECT_THAT(with_refusal.err,
                    StartsWith("si_inspect: PID 0x0011 (17), packet 10: refused: "));
        EXPECT_THAT(with_refusal.err, HasSubstr("refused  PID 0x0011 (17): 2 "));
    }
    EXPECT_EQ(shown(all_tables(), {"--strict"}).status, 0);
}

TEST(ServicesView, PutsTheTotalsBehindTheServices) {
    const outcome with_totals = shown(all_tables(), {"--totals"});
    EXPECT_THAT(with_totals.out, HasSubstr("\n\npackets  10 on 8 PIDs\n"));
    EXPECT_EQ(with_totals.err, "");
    EXPECT_THAT(lines_of(shown(all_tables(), {"--totals", "--format", "json"}).out).back(),
                StartsWith("{\"totals\":"));
}

TEST(ServicesView, RefusesOptionsThatAreForTables) {
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--table", "sdt"},
                                                      {"--pid", "17"},
                                                      {"--all"},
                                                      {"--limit", "1"}}) {
        const outcome wrong = shown(all_tables(), arguments);
        EXPECT_EQ(wrong.status, 2) << arguments[0];
        EXPECT_EQ(wrong.out, "");
        EXPECT_EQ(wrong.err, "si_inspect: " + arguments[0] +
                                 ": is for tables, not for --show services "
                                 "(si_inspect --help says more)\n");
    }
    for (const std::string format : {"xmltv", "sections"}) {
        const outcome wrong = shown(all_tables(), {"--format", format});
        EXPECT_EQ(wrong.status, 2);
        EXPECT_THAT(wrong.err, StartsWith("si_inspect: --show: "));
    }
}

TEST(ServicesView, OfTablesIsWhatThereIsWithoutIt) {
    EXPECT_EQ(si_inspect({"--show", "tables"}, {all_tables().stream()}).out,
              si_inspect({}, {all_tables().stream()}).out);
}

TEST(ServicesView, WritesAFile) {
    const temporary_folder folder;
    const std::string file = folder.path("services");
    EXPECT_EQ(shown(all_tables(), {"--output", file}).status, 0);
    EXPECT_EQ(read_file(file), text_of(all_tables()));
}

TEST(ServicesView, TellsOfALiveInputWhenItIsInterrupted) {
    int in[2], out[2], err[2];
    ASSERT_EQ(pipe2(in, O_CLOEXEC) + pipe2(out, O_CLOEXEC) + pipe2(err, O_CLOEXEC), 0);
    running_tool tool(
        {"--show", "services", "--quiet", "--log-level", "debug", "--log-category", "sdt"}, in[0],
        out[1], err[1]);
    for (const int descriptor : {in[0], out[1], err[1]}) close(descriptor);
    stream_writer stream;
    stream.section(0x0000, pat()).section(0x0010, nit()).section(0x0011, sdt()).null_packets(8);
    const bytes packets = stream.stream();
    ASSERT_EQ(write(in[1], packets.data(), packets.size()), static_cast<ssize_t>(packets.size()));
    EXPECT_THAT(read_until(err[0], "done parsing SDT"), HasSubstr("done parsing SDT"));
    tool.signal(SIGINT);
    EXPECT_EQ(read_until(out[0], {}), text_of(stream));
    EXPECT_EQ(tool.wait(), 0);
    for (const int descriptor : {in[1], out[0], err[0]}) close(descriptor);
}

}  // namespace
}  // namespace orvix::test
