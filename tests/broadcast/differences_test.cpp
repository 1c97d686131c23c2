#include <broadcast/differences/differences.h>
#include <gmock/gmock.h>
#include <small_broadcast.h>

#include <algorithm>
#include <random>

#include "table_reader.h"

namespace orvix::broadcast {
namespace {

using namespace orvix::test;
using orvix::test::operator+;  // beside the one for captures
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

struct sent {
    bytes section;
    std::optional<std::uint16_t> pid = {};
};
using capture = std::vector<sent>;

snapshot snapshot_of(const capture& sections) {
    snapshot taken;
    table_reader reader;
    for (const sent& s : sections) {
        const table_ref table = reader.read(s.section);
        sighting seen;
        seen.where.pid = s.pid;
        seen.bytes = reader.section().begin();
        seen.size = reader.section().size();
        seen.is_new = true;
        seen.table = &table;
        taken.take(seen);
    }
    return taken;
}

changes between(const capture& before, const capture& after,
                const std::set<std::uint16_t>& wanted = {}) {
    return find_differences(snapshot_of(before), snapshot_of(after), wanted);
}
std::vector<std::string> sentences(const capture& before, const capture& after,
                                   const std::set<std::uint16_t>& wanted = {}) {
    std::vector<std::string> all;
    for (const change& c : between(before, after, wanted)) all.push_back(c.sentence);
    return all;
}

capture operator+(capture left, const capture& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// --- Parts of a broadcast; what changes has another version ---

bytes pat_of(const bytes& programmes, std::uint8_t version = 0) {
    return pat_section(multiplex_id, programmes, {version});
}
const bytes hd_programme = program(hd_service, hd_pmt_pid);
const bytes mobile_programme = program(mobile_service, mobile_pmt_pid);

bytes sdt_of(const bytes& services, std::uint8_t version = 0) {
    return sdt_section(multiplex_id, multiplex_id, services, {version});
}
bytes named(std::uint16_t service_id, const std::string& name, std::uint8_t service_type = 1) {
    return service(service_id, 4, 0, describe_service(service_type, "", name));
}

bytes nit_of(std::uint8_t remote_control_key_id, const std::string& ts_name,
             std::uint8_t version = 0, const std::string& network_name = "Rede",
             std::uint16_t network_id = 7) {
    return nit_section(network_id, descriptor(0x40, raw(network_name)),
                       transport_stream(multiplex_id, multiplex_id,
                                        describe_ts_information(remote_control_key_id, ts_name)),
                       {version});
}

bytes pmt_of(const bytes& streams, std::uint8_t version = 0, std::uint16_t pcr_pid = 0x0100) {
    return pmt_section(hd_service, pcr_pid, {}, streams, {version});
}
const bytes video = elementary_stream(0x1B, 0x0111, describe_stream_identifier(0x00));
const bytes audio = elementary_stream(0x11, 0x0112, describe_stream_identifier(0x10));

bytes ait_of(const bytes& applications, std::uint8_t version = 0) {
    return ait_section(0x0009, {}, applications, {version});
}
bytes application_named(const std::string& name, std::uint8_t control_code = 1) {
    return application(10, 1, control_code,
                       describe_application_names(application_name("por", name)));
}

bytes event_at(std::uint16_t event_id, std::uint32_t hhmmss, const std::string& name,
               const bytes& more = {}, const std::string& text = "",
               std::uint32_t duration = 0x003000, std::uint16_t date = day) {
    return event(event_id, utc_time(date, hhmmss), duration, 0, 0,
                 describe_short_event("por", name, text) + more);
}
bytes schedule_of(const bytes& events, std::uint8_t version = 0) {
    return eit_section({0x50, hd_service, multiplex_id, multiplex_id, 0, 0x50}, events, {version});
}
bytes present_following_of(std::uint8_t number, const bytes& event, std::uint8_t version = 0) {
    return eit_section({0x4E, hd_service, multiplex_id, multiplex_id, 1, 0x4E}, event,
                       {version, 1, number, 1});
}

/// All tables of one service, without events.
capture broadcast_of(const bytes& pmt, const bytes& sdt = sdt_of(named(hd_service, "TV"))) {
    return {{pat_of(hd_programme), 0}, {pmt, hd_pmt_pid}, {nit_of(3, "TV"), 0x10}, {sdt, 0x11}};
}

// --- Network and services ---

TEST(Differences, AreNoneOfTheSame) {
    const capture one = broadcast_of(pmt_of(video + audio));
    EXPECT_THAT(sentences(one, one), IsEmpty());
}

TEST(Differences, OfTheNetwork) {
    const capture before = {{pat_of(hd_programme), 0}, {nit_of(3, "TV"), 0x10}};
    const capture after = {
        {pat_section(9, hd_programme, {1}), 0},
        {nit_section(8, descriptor(0x40, raw("Rede Sul")),
                     transport_stream(9, 9, describe_ts_information(3, "TW")), {1}),
         0x10}};
    EXPECT_THAT(sentences(before, after),
                ElementsAre("the network_id was 0x0007 (7) and is now 0x0008 (8)",
                            "the network \"Rede\" is now \"Rede Sul\"",
                            "the transport stream \"TV\" is now \"TW\"",
                            "the transport_stream_id was 0x02E1 (737) and is now 0x0009 (9)"));
    EXPECT_THAT(sentences({{nit_of(3, "TV"), 0x10}}, {{nit_of(3, "TV", 1, ""), 0x10}}),
                ElementsAre("the network has lost the name \"Rede\""));
    EXPECT_THAT(sentences({{sdt_section(9, 1, {}), 0x11}}, {{sdt_section(9, 2, {}, {1}), 0x11}}),
                ElementsAre("the original_network_id was 0x0001 (1) and is now 0x0002 (2)"));
}

TEST(Differences, OfWhichServicesThereAre) {
    const capture one = {{pat_of(hd_programme), 0},
                         {sdt_of(named(hd_service, "TV") + named(mobile_service, "1seg")), 0x11}};
    const capture two = {{pat_of(hd_programme + mobile_programme, 1), 0},
                         {sdt_of(named(hd_service, "TV") + named(mobile_service, "1seg")), 0x11}};
    EXPECT_THAT(sentences(one, two), ElementsAre("service \"1seg\" (0x5C38) is new"));
    EXPECT_THAT(sentences(two, one), ElementsAre("service \"1seg\" (0x5C38) is gone"));
    EXPECT_THAT(sentences(two, one, {hd_service}), IsEmpty());
}

TEST(Differences, OfServicesByTheSdtWhereThereIsNoPat) {
    const capture one = {{sdt_of(named(hd_service, "TV")), 0x11}};
    const capture two = {
        {sdt_of(named(hd_service, "TV") + named(mobile_service, "1seg"), 1), 0x11}};
    EXPECT_THAT(sentences(one, two), ElementsAre("service \"1seg\" (0x5C38) is new"));
    EXPECT_THAT(sentences({{pat_of(hd_programme), 0}}, two), IsEmpty()) << "each by another table";
}

TEST(Differences, OfNamesTypesAndNumbers) {
    const bytes pmt = pmt_of(video);
    EXPECT_THAT(sentences(broadcast_of(pmt),
                          broadcast_of(pmt, sdt_of(named(hd_service, "TV Dois", 0xA1), 1))),
                ElementsAre("service 3.1 \"TV Dois\" (0x5C20): \"TV\" is now \"TV Dois\"",
                            "service 3.1 \"TV Dois\" (0x5C20): was digital television and is now "
                            "special video"));
    EXPECT_THAT(
        sentences(broadcast_of(pmt), broadcast_of(pmt, sdt_of(service(hd_service, 4, 0), 1))),
        ElementsAre("service 3.1 (0x5C20): has lost the name \"TV\"",
                    "service 3.1 (0x5C20): was digital television and is now of no type"));

    capture renumbered = broadcast_of(pmt);
    renumbered[2].section = nit_of(4, "TV", 1);
    const changes found = between(broadcast_of(pmt), renumbered);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].kind, "number_changed");
    EXPECT_EQ(found[0].service_id, hd_service);
    EXPECT_EQ(std::get<std::string>(found[0].before.is), "3.1");
    EXPECT_EQ(std::get<std::string>(found[0].after.is), "4.1");
    EXPECT_EQ(found[0].sentence, "service 4.1 \"TV\" (0x5C20): had the number 3.1 and has now 4.1");
}

TEST(Differences, OfPids) {
    capture moved = broadcast_of(pmt_of(video, 1, 0x0111));
    moved[0].section = pat_of(program(hd_service, 0x0120), 1);
    moved[1].pid = 0x0120;
    EXPECT_THAT(sentences(broadcast_of(pmt_of(video)), moved),
                ElementsAre("service 3.1 \"TV\" (0x5C20): its PMT was on PID 0x0110 (272) and is "
                            "now on PID 0x0120 (288)",
                            "service 3.1 \"TV\" (0x5C20): its clock was on PID 0x0100 (256) and is "
                            "now on PID 0x0111 (273)"));
}

TEST(Differences, OfStreams) {
    const bytes moved_audio = elementary_stream(0x11, 0x0122, describe_stream_identifier(0x10));
    const bytes hevc = elementary_stream(0x24, 0x0111, describe_stream_identifier(0x00));
    const auto of_streams = [](const bytes& before, const bytes& after) {
        std::vector<std::string> all =
            sentences(broadcast_of(pmt_of(before)), broadcast_of(pmt_of(after, 1)));
        for (std::string& s : all) s.erase(0, s.find(": ") + 2);
        return all;
    };
    EXPECT_THAT(of_streams(video, video + audio),
                ElementsAre("has got AAC audio on PID 0x0112 (274)"));
    EXPECT_THAT(of_streams(video + audio, video),
                ElementsAre("has lost AAC audio on PID 0x0112 (274)"));
    EXPECT_THAT(of_streams(video + audio, video + moved_audio),
                ElementsAre("AAC audio on PID 0x0112 (274) is now on PID 0x0122 (290)"));
    EXPECT_THAT(of_streams(video, hevc),
                ElementsAre("PID 0x0111 (273) was H.264 video with component_tag 0 and is now HEVC "
                            "video with component_tag 0"));
    EXPECT_THAT(of_streams(video + audio, audio + video), IsEmpty()) << "order does not count";
}

TEST(Differences, OfApplications) {
    const bytes streams = video + elementary_stream(0x05, ait_pid);
    const auto with = [&](const bytes& ait) {
        return broadcast_of(pmt_of(streams)) + capture{{ait, ait_pid}};
    };
    const auto of_applications = [&](const bytes& before, const bytes& after) {
        std::vector<std::string> all = sentences(with(ait_of(before)), with(ait_of(after, 1)));
        for (std::string& s : all) s.erase(0, s.find(": ") + 2);
        return all;
    };
    const bytes game = application_named("Jogo");
    EXPECT_THAT(of_applications({}, game), ElementsAre("has got the application \"Jogo\""));
    EXPECT_THAT(of_applications(game, {}), ElementsAre("has lost the application \"Jogo\""));
    EXPECT_THAT(of_applications(game, application_named("Quiz")),
                ElementsAre("an application \"Jogo\" is now \"Quiz\""));
    EXPECT_THAT(of_applications(game, application_named("Jogo", 2)),
                ElementsAre("application \"Jogo\" was AUTOSTART and is now PRESENT"));
    EXPECT_THAT(sentences(with(ait_of(game)), broadcast_of(pmt_of(streams))), IsEmpty())
        << "the AIT has not come";
}

// --- Versions ---

TEST(Differences, OfVersionsWithoutContents) {
    EXPECT_THAT(sentences({{nit_of(3, "TV", 4), 0x10}}, {{nit_of(3, "TV", 5), 0x10}}),
                ElementsAre("NIT: the version was 4 and is now 5, and the contents are the same"));
    EXPECT_THAT(sentences({{nit_of(3, "TV", 4), 0x10}}, {{nit_of(4, "TV", 5), 0x10}}), IsEmpty());
}

TEST(Differences, OfContentsWithoutTheirVersion) {
    const changes found =
        between({{pmt_of(video, 6), hd_pmt_pid}, {pat_of(hd_programme), 0}},
                {{pmt_of(video + audio, 6), hd_pmt_pid}, {pat_of(hd_programme), 0}});
    ASSERT_FALSE(found.empty());
    EXPECT_EQ(found.back().kind, "content_without_version");
    EXPECT_EQ(found.back().service_id, hd_service);
    EXPECT_EQ(found.back().sentence,
              "PMT of service 0x5C20 (23584): the contents have changed, and the version is still "
              "6: receivers miss it");
}

TEST(Differences, TakeTheVersionOfAnEitForComeRoundAfterHours) {
    const auto at = [](std::uint32_t clock, const std::string& name) {
        return capture{{tdt_section(utc_time(day, clock)), 0x14},
                       {present_following_of(0, event_at(1, clock, name)), 0x12},
                       {present_following_of(1, {}), 0x12}};
    };
    const std::string missed =
        "EIT of service 0x5C20 (23584), present and following events, actual transport stream: the "
        "contents have changed, and the version is still 0: receivers miss it";
    EXPECT_THAT(sentences(at(0x100000, "A"), at(0x120000, "B")), Contains(missed));
    EXPECT_THAT(sentences(at(0x100000, "A"), at(0x140000, "B")), Not(Contains(missed)));
}

// --- Events ---

capture with_events(const bytes& events, std::uint8_t version = 0) {
    return broadcast_of(pmt_of(video)) + capture{{schedule_of(events, version), 0x12},
                                                 {present_following_of(0, {}), 0x12},
                                                 {present_following_of(1, {}), 0x12}};
}
std::vector<std::string> of_events(const bytes& before, const bytes& after) {
    std::vector<std::string> all = sentences(with_events(before), with_events(after, 1));
    for (std::string& s : all) s.erase(0, s.find(": ") + 2);
    return all;
}

TEST(Differences, OfWhichEventsThereAre) {
    const bytes news = event_at(1, 0x200000, "Jornal");
    const bytes film = event_at(2, 0x203000, "Filme");
    EXPECT_THAT(of_events(news, news + film),
                ElementsAre("\"Filme\" of 2026-11-21 20:30:00 (event 0x0002) is new"));
    EXPECT_THAT(of_events(news + film, news),
                ElementsAre("\"Filme\" of 2026-11-21 20:30:00 (event 0x0002) is gone"));
    EXPECT_THAT(of_events(news, {}), ElementsAre("\"Jornal\" of 2026-11-21 20:00:00 (event 0x0001) "
                                                 "is gone"));
    EXPECT_THAT(of_events(news + film, film + news), IsEmpty()) << "order does not count";
}

TEST(Differences, OfAnEvent) {
    const bytes news = event_at(1, 0x200000, "Jornal", {},
                                "As not\xED"
                                "cias");
    EXPECT_THAT(of_events(news, event_at(1, 0x200000, "Telejornal")),
                ElementsAre("\"Jornal\" of 2026-11-21 20:00:00 (event 0x0001) is now "
                            "\"Telejornal\""));
    EXPECT_THAT(of_events(news, event_at(1, 0x201500, "Jornal")),
                ElementsAre("\"Jornal\" of 2026-11-21 20:00:00 (event 0x0001) begins now at "
                            "2026-11-21 20:15:00"));
    EXPECT_THAT(of_events(news, event_at(1, 0x200000, "Jornal", {}, "", 0x004500)),
                ElementsAre("\"Jornal\" of 2026-11-21 20:00:00 (event 0x0001) lasted 0:30:00 and "
                            "lasts now 0:45:00"));
    EXPECT_THAT(of_events(news, event_at(1, 0x200000, "Jornal", {}, "Mais")),
                ElementsAre("\"Jornal\" of 2026-11-21 20:00:00 (event 0x0001): its text has "
                            "changed"));
    const auto kind = [](std::uint8_t rating, std::uint8_t content_nibble) {
        return event_at(1, 0x200000, "Jornal",
                        describe_parental_ratings(parental_rating("BRA", rating)) +
                            describe_content({content_nibble, 0}));
    };
    EXPECT_THAT(of_events(kind(1, 0x00), kind(0x24, 0x10)),
                ElementsAre("\"Jornal\" of 2026-11-21 20:00:00 (event 0x0001) was rated L and is "
                            "now rated 14, violence",
                            "\"Jornal\" of 2026-11-21 20:00:00 (event 0x0001) has another genre"));
}

TEST(Differences, TakeAnEventIdThatHasPassedOnForAnotherEvent) {
    EXPECT_THAT(of_events(event_at(1, 0x200000, "Jornal"), event_at(1, 0x220000, "Filme")),
                ElementsAre("\"Jornal\" of 2026-11-21 20:00:00 (event 0x0001) is gone",
                            "\"Filme\" of 2026-11-21 22:00:00 (event 0x0001) is new"));
}

TEST(Differences, AreNoneWhereTimePasses) {
    const auto at = [](std::uint32_t clock, std::uint16_t date, const bytes& events,
                       std::uint8_t version) {
        return capture{{tdt_section(utc_time(date, clock)), 0x14}} + with_events(events, version);
    };
    const bytes news = event_at(1, 0x200000, "Jornal");
    const bytes film = event_at(2, 0x210000, "Filme");
    EXPECT_THAT(sentences(at(0x195500, day, news + film, 0), at(0x204500, day, film, 1)), IsEmpty())
        << "the first is over";
    EXPECT_THAT(sentences(at(0x195500, day, news + film, 0), at(0x201500, day, film, 1)),
                Not(IsEmpty()))
        << "it is not";
    const bytes later = event_at(3, 0x080000, "Desenho", {}, "", 0x003000, day + 1);
    EXPECT_THAT(sentences(at(0x195500, day, news + film, 0), at(0x010000, day + 1, later, 1)),
                IsEmpty())
        << "the schedule of the next day";
}

TEST(Differences, OfPresentFollowingAreNoneAsItPasses) {
    const auto on_air = [](const bytes& present, const bytes& following, std::uint8_t version) {
        return broadcast_of(pmt_of(video), sdt_section(multiplex_id, multiplex_id, {})) +
               capture{{present_following_of(0, present, version), 0x12},
                       {present_following_of(1, following, version), 0x12},
                       {tdt_section(utc_time(day, version == 0 ? 0x201000 : 0x204000)), 0x14}};
    };
    const bytes a = event_at(1, 0x200000, "A");
    const bytes b = event_at(2, 0x203000, "B");
    const bytes c = event_at(3, 0x210000, "C");
    EXPECT_THAT(sentences(on_air(a, b, 0), on_air(b, c, 1)), IsEmpty());
    EXPECT_THAT(sentences(on_air(a, b, 0), on_air(event_at(9, 0x203000, "X"), c, 1)),
                ElementsAre("service 3.1 (0x5C20): \"B\" of 2026-11-21 20:30:00 (event 0x0002) is "
                            "gone",
                            "service 3.1 (0x5C20): \"X\" of 2026-11-21 20:30:00 (event 0x0009) is "
                            "new"));
}

// --- What has not come is not gone ---

capture rich() {
    const bytes events = event_at(1, 0x200000, "Jornal", {}, "Texto") +
                         event_at(2, 0x203000, "Filme") + event_at(3, 0x230000, "Debate");
    return {{pat_of(hd_programme + mobile_programme), 0},
            {pmt_of(video + audio + elementary_stream(0x05, ait_pid)), hd_pmt_pid},
            {mobile_pmt(), mobile_pmt_pid},
            {nit_of(3, "TV"), 0x10},
            {sdt_of(named(hd_service, "TV") + named(mobile_service, "1seg")), 0x11},
            {schedule_of(events), 0x12},
            {present_following_of(0, event_at(1, 0x200000, "Jornal")), 0x12},
            {present_following_of(1, event_at(2, 0x203000, "Filme")), 0x12},
            {ait_of(application_named("Jogo")), ait_pid},
            {tdt_section(utc_time(day, 0x201000)), 0x14}};
}

class SameBroadcast : public testing::TestWithParam<unsigned> {};

TEST_P(SameBroadcast, HasNoDifferencesToItselfCutAndShuffled) {
    std::mt19937 random(GetParam());
    capture other = rich();
    for (std::size_t cuts = random() % other.size(); cuts > 0; --cuts) {
        other.erase(other.begin() + static_cast<std::ptrdiff_t>(random() % other.size()));
    }
    for (std::size_t repeats = random() % 5; repeats > 0 && !other.empty(); --repeats) {
        other.push_back(other[random() % other.size()]);
    }
    std::shuffle(other.begin(), other.end(), random);
    EXPECT_THAT(sentences(rich(), other), IsEmpty());
    EXPECT_THAT(sentences(other, rich()), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Seeds, SameBroadcast, testing::Range(0u, 200u));

}  // namespace
}  // namespace orvix::broadcast
