#include <broadcast/bare_sections.h>
#include <broadcast/multiplex.h>
#include <broadcast/services.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hostile_streams.h>
#include <log_capture.h>
#include <small_broadcast.h>
#include <without_log.h>

#include <algorithm>

namespace orvix::broadcast {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

class taking_observer : public observer {
public:
    void section(const sighting& seen) override { all.take(seen); }
    void refused(const place& /*where*/, const refusal& /*what*/) override {}

    services all;
};

template <typename Reader>
void push(Reader& to, const bytes& all) {
    std::copy(all.begin(), all.end(), to.room(all.size()));
    to.filled(all.size());
}

told_services services_of(const stream_writer& stream) {
    taking_observer taker;
    multiplex from("", taker, {});
    push(from, stream.stream());
    from.end();
    return taker.all.told();
}

std::vector<std::uint16_t> ids(const told_services& told) {
    std::vector<std::uint16_t> all;
    for (const told_service& service : told.services) all.push_back(service.service_id);
    return all;
}

const told_service& service_of(const told_services& told, std::uint16_t service_id) {
    for (const told_service& service : told.services) {
        if (service.service_id == service_id) return service;
    }
    throw std::out_of_range("no such service");
}

std::vector<std::string> streams_in_words(const told_service& service) {
    std::vector<std::string> words;
    for (const service_stream& stream : service.streams.value()) words.push_back(in_words(stream));
    return words;
}

std::vector<std::string> application_names(const told_service& service) {
    std::vector<std::string> all;
    for (const auto& application : service.applications.value()) all.push_back(application.name);
    return all;
}

bytes pat_of(const bytes& programs, const long_header& header = {}) {
    return pat_section(multiplex_id, programs, header);
}
bytes pat_of_hd_only(std::uint8_t version) {
    return pat_of(program(hd_service, hd_pmt_pid), {version});
}
bytes pmt_of_hd(const bytes& streams, std::uint8_t version = 0) {
    return pmt_section(hd_service, 0x0100, {}, streams, {version});
}
bytes describe_languages(const std::string& codes_and_audio_types) {
    return descriptor(0x0A, raw(codes_and_audio_types));
}
bytes describe_network_name(const std::string& name) { return descriptor(0x40, raw(name)); }
bytes describe_data_component(std::uint16_t id) {
    return descriptor(0xFD, section_writer().bits(16, id));
}

stream_writer pat_and_pmt(const bytes& streams) {
    stream_writer stream;
    stream.section(0x0000, pat()).section(hd_pmt_pid, pmt_of_hd(streams));
    return stream;
}

bytes named_application(std::uint16_t application_id, const std::string& name) {
    return application(0x0A, application_id, 1,
                       describe_application_names(application_name("por", name)));
}

bytes eit_on_air(std::uint8_t section_number, const bytes& events, std::uint8_t version = 0,
                 std::uint8_t last_section_number = 1) {
    return eit_section({0x4E, hd_service, multiplex_id, multiplex_id, last_section_number, 0x4E},
                       events, {version, 1, section_number, last_section_number});
}
bytes event_named(std::uint16_t event_id, const std::string& name) {
    return event(event_id, utc_time(day, 0x200000), 0x003000, 4, 0,
                 describe_short_event("por", name, ""));
}

class Services : public without_log {};

TEST_F(Services, TellAllThatTheTablesSay) {
    stream_writer stream = all_tables();
    stream.section(0x0010, nit_section(0x02E2, describe_network_name("Rede Manac\xE1"),
                                       transport_stream(multiplex_id, 0x02E3,
                                                        describe_ts_information(3, "TV Manac\xE1")),
                                       {1}));
    stream.section(0x0012, eit_on_air(1, event_named(0x0A02, "Novela"), 1));

    const told_services told = services_of(stream);
    EXPECT_THAT(told.network_id, Optional(0x02E2));
    EXPECT_EQ(told.network_name, "Rede Manacá");
    EXPECT_THAT(told.transport_stream_id, Optional(multiplex_id));
    EXPECT_THAT(told.original_network_id, Optional(multiplex_id)) << "the SDT's";
    EXPECT_EQ(told.ts_name, "TV Manacá");
    ASSERT_THAT(ids(told), ElementsAre(hd_service, mobile_service));

    const told_service& hd = told.services[0];
    EXPECT_EQ(hd.number, "3.1");
    EXPECT_EQ(hd.name, "Manacá HD");
    EXPECT_THAT(hd.service_type, Optional(0x01));
    EXPECT_THAT(hd.program_map_pid, Optional(hd_pmt_pid));
    EXPECT_THAT(hd.pcr_pid, Optional(0x0100));

    ASSERT_EQ(hd.streams.value().size(), 3u);
    EXPECT_EQ(hd.streams->at(0).elementary_pid, 0x0111);
    EXPECT_EQ(hd.streams->at(0).stream_type, 0x1B);
    EXPECT_THAT(hd.streams->at(1).component_tag, Optional(0x10));
    EXPECT_THAT(streams_in_words(hd), ElementsAre("H.264 video", "AAC audio", "applications"));

    ASSERT_EQ(hd.applications.value().size(), 1u);
    const service_application& game = hd.applications->front();
    EXPECT_EQ(game.organisation_id, 0x0000000Au);
    EXPECT_EQ(game.application_id, 0x0001);
    EXPECT_EQ(game.application_type, 0x0009);
    EXPECT_EQ(game.application_control_code, 1);
    EXPECT_EQ(game.name, "Jogo");

    ASSERT_TRUE(hd.present);
    EXPECT_EQ(hd.present->event_id, 0x0A01);
    EXPECT_EQ(hd.present->start_time, 1795290300) << "2026-11-21 19:45";
    EXPECT_EQ(hd.present->duration, 6330);
    EXPECT_EQ(hd.present->name, "Jornal");
    ASSERT_TRUE(hd.present->rating);
    EXPECT_EQ(hd.present->rating->country_code, "BRA");
    EXPECT_EQ(hd.present->rating->rating, 0x63);
    EXPECT_THAT(hd.present->content_nibbles, ElementsAre(0x01));
    ASSERT_TRUE(hd.following);
    EXPECT_EQ(hd.following->name, "Novela");

    const told_service& mobile = told.services[1];
    EXPECT_EQ(mobile.number, "3.31");
    EXPECT_THAT(mobile.program_map_pid, Optional(mobile_pmt_pid));
    EXPECT_FALSE(mobile.applications);
    EXPECT_FALSE(mobile.following);
}

TEST_F(Services, LeaveEmptyWhatTheBroadcastDoesNotSay) {
    stream_writer stream;
    stream.section(0x0000, pat_of_hd_only(0));
    const told_services told = services_of(stream);
    EXPECT_FALSE(told.network_id);
    EXPECT_EQ(told.network_name, "");
    EXPECT_FALSE(told.original_network_id);
    ASSERT_THAT(ids(told), ElementsAre(hd_service));
    const told_service& hd = told.services[0];
    EXPECT_EQ(hd.number, "");
    EXPECT_EQ(hd.name, "");
    EXPECT_FALSE(hd.service_type);
    EXPECT_THAT(hd.program_map_pid, Optional(hd_pmt_pid));
    EXPECT_FALSE(hd.pcr_pid);
    EXPECT_FALSE(hd.streams);
    EXPECT_FALSE(hd.applications);
    EXPECT_FALSE(hd.present);
    EXPECT_FALSE(hd.following);
}

TEST_F(Services, AreThoseOfTheSdtWhereNoPatHasCome) {
    stream_writer stream;
    stream.section(0x0011, sdt()).section(0x0010, nit());
    const told_services told = services_of(stream);
    ASSERT_THAT(ids(told), ElementsAre(hd_service, mobile_service));
    EXPECT_EQ(told.services[0].name, "Manacá HD");
    EXPECT_FALSE(told.services[0].program_map_pid);
    EXPECT_EQ(told.services[1].number, "3.31") << "as its service_id says";

    stream.section(0x0000, pat_of_hd_only(0));
    EXPECT_THAT(ids(services_of(stream)), ElementsAre(hd_service));
}

TEST_F(Services, OfOneSegAreFoundByTheirPmtsWithoutAPat) {
    stream_writer stream;
    stream.section(mobile_pmt_pid, mobile_pmt()).section(0x0010, nit());
    const told_services told = services_of(stream);
    ASSERT_THAT(ids(told), ElementsAre(mobile_service));
    EXPECT_THAT(told.services[0].program_map_pid, Optional(mobile_pmt_pid));
    EXPECT_EQ(told.services[0].number, "3.31") << "the NIT's only transport stream";
    EXPECT_THAT(streams_in_words(told.services[0]), ElementsAre("H.264 video"));
}

TEST_F(Services, OfOneSegAreThereBesideThoseOfThePat) {
    stream_writer stream;
    stream.section(0x0000, pat_of_hd_only(0)).section(mobile_pmt_pid, mobile_pmt());
    EXPECT_THAT(ids(services_of(stream)), ElementsAre(hd_service, mobile_service));

    stream.section(0x0000,
                   pat_of(program(hd_service, hd_pmt_pid) + program(mobile_service, 0x0113), {1}));
    const told_service moved = service_of(services_of(stream), mobile_service);
    EXPECT_THAT(moved.program_map_pid, Optional(0x0113)) << "the PAT is believed first";
    EXPECT_FALSE(moved.streams);
}

TEST_F(Services, TakeNoPmtFromAnotherPidThanThePatNames) {
    stream_writer stream;
    stream.section(0x0000, pat_of_hd_only(0))
        .section(0x1FC8, pmt_of_hd(elementary_stream(0x1B, 0x0111)));
    const told_service hd = services_of(stream).services.at(0);
    EXPECT_THAT(hd.program_map_pid, Optional(hd_pmt_pid));
    EXPECT_FALSE(hd.streams);
}

TEST_F(Services, OfOneSegMayShareAPid) {
    const std::uint16_t another = 0x5C39;
    stream_writer stream;
    for (int i = 0; i < 3; ++i) {
        stream.section(mobile_pmt_pid, mobile_pmt())
            .section(mobile_pmt_pid, pmt_section(another, 0x0200, {}, {}));
    }
    EXPECT_THAT(ids(services_of(stream)), ElementsAre(mobile_service, another));
}

TEST_F(Services, HaveTheChannelNumberOfTheirOwnTransportStream) {
    stream_writer stream;
    stream.section(0x0000, pat())
        .section(0x0010, nit_section(1, {},
                                     transport_stream(7, 1, describe_ts_information(9, "Outra")) +
                                         transport_stream(multiplex_id, 1,
                                                          describe_ts_information(4, "Esta"))));
    const told_services told = services_of(stream);
    EXPECT_EQ(told.ts_name, "Esta");
    EXPECT_EQ(service_of(told, hd_service).number, "4.1");
}

TEST_F(Services, TakeNothingFromTablesOfOtherStreamsAndNetworks) {
    bytes sdt_other = sdt();
    sdt_other[0] = 0x46;
    repair_crc(sdt_other);
    bytes nit_other = nit();
    nit_other[0] = 0x41;
    repair_crc(nit_other);
    bytes eit_other = eit();
    eit_other[0] = 0x4F;
    repair_crc(eit_other);
    bytes schedule = eit();
    schedule[0] = 0x50;
    repair_crc(schedule);
    stream_writer stream;
    stream.section(0x0000, pat_of_hd_only(0))
        .section(0x0011, sdt_other)
        .section(0x0010, nit_other)
        .section(0x0012, eit_other)
        .section(0x0012, schedule);
    const told_service hd = services_of(stream).services.at(0);
    EXPECT_EQ(hd.name, "");
    EXPECT_EQ(hd.number, "");
    EXPECT_FALSE(hd.present);
}

TEST_F(Services, WaitForTablesThatAreNotYetValid) {
    stream_writer stream;
    stream.section(0x0000, pat_of_hd_only(0)).section(0x0011, sdt({1, 0}));
    EXPECT_EQ(services_of(stream).services.at(0).name, "");
}

TEST_F(Services, HaveComponentTagsOnlyWhereADescriptorGivesOne) {
    const told_service hd =
        services_of(
            pat_and_pmt(elementary_stream(0x1B, 0x0111) +
                        elementary_stream(0x1B, 0x0112, describe_stream_identifier(0)) +
                        elementary_stream(0x11, 0x0113, describe_component(2, 3, 0x11, "por"))))
            .services.at(0);
    EXPECT_EQ(hd.streams->at(0).component_tag, std::nullopt);
    EXPECT_THAT(hd.streams->at(1).component_tag, Optional(0x00));
    EXPECT_THAT(hd.streams->at(2).component_tag, Optional(0x11));
}

TEST_F(Services, HaveSeveralAudioLanguages) {
    const told_service hd =
        services_of(
            pat_and_pmt(
                elementary_stream(0x11, 0x0112,
                                  describe_component(2, 3, 0x10, "por") +
                                      describe_languages({'s', 'p', 'a', 0})) +
                elementary_stream(0x11, 0x0113, describe_languages({'e', 'n', 'g', 0})) +
                elementary_stream(0x0F, 0x0114,
                                  describe_languages({'s', 'p', 'a', 0, 'f', 'r', 'a', 0})) +
                elementary_stream(0x11, 0x0115)))
            .services.at(0);
    EXPECT_THAT(streams_in_words(hd),
                ElementsAre("AAC audio por", "AAC audio eng", "AAC audio spa, fra", "AAC audio"));
    EXPECT_EQ(hd.streams->at(3).language, "");
}

TEST_F(Services, HaveStreamsWhoseComponentTagsSayWhatTheyAre) {
    const told_service hd =
        services_of(pat_and_pmt(elementary_stream(0x06, 0x0120, describe_stream_identifier(0x30)) +
                                elementary_stream(0x06, 0x0121, describe_stream_identifier(0x38)) +
                                elementary_stream(0x06, 0x0122, describe_stream_identifier(0x88)) +
                                elementary_stream(0x06, 0x0123) + elementary_stream(0x0B, 0x0124) +
                                elementary_stream(0x05, 0x0125) +
                                elementary_stream(0x05, 0x0126, describe_data_component(0x00A3)) +
                                elementary_stream(0x05, 0x0127, describe_data_component(0x00A0)) +
                                elementary_stream(0x02, 0x0128)))
            .services.at(0);
    EXPECT_THAT(streams_in_words(hd),
                ElementsAre("captions", "superimposed text", "superimposed text", "private PES",
                            "data carousel", "private sections", "applications", "private sections",
                            "MPEG-2 video"));
}

TEST_F(Services, HaveTheApplicationsOfThePidsThatTheirPmtNames) {
    const std::uint16_t second = 0x5C21;
    const std::uint16_t second_ait_pid = 0x0141;
    stream_writer stream;
    stream.section(0x0000, pat_of(program(hd_service, hd_pmt_pid) + program(second, 0x0112)))
        .section(hd_pmt_pid, pmt_of_hd(elementary_stream(0x05, ait_pid)))
        .section(0x0112, pmt_section(second, 0x0100, {}, elementary_stream(0x05, second_ait_pid)))
        .section(ait_pid, ait_section(0x0009, {}, named_application(1, "Jogo"), {0, 1, 0, 1}))
        .section(ait_pid, ait_section(0x0009, {}, named_application(2, "Milh\xE3o"), {0, 1, 1, 1}))
        .section(ait_pid, ait_section(0x0001, {}, named_application(3, "S\xC3\xA3o"), {5}))
        .section(second_ait_pid, ait_section(0x0009, {}, named_application(4, "Enquete")));
    const told_services told = services_of(stream);
    EXPECT_THAT(application_names(service_of(told, hd_service)),
                ElementsAre("São", "Jogo", "Milhão"));
    EXPECT_THAT(application_names(service_of(told, second)), ElementsAre("Enquete"));

    stream.section(ait_pid, ait_section(0x0009, {}, named_application(5, "Novo"), {1}))
        .section(second_ait_pid, ait_section(0x0009, {}, {}, {1}));
    const told_services later = services_of(stream);
    EXPECT_THAT(application_names(service_of(later, hd_service)), ElementsAre("São", "Novo"));
    EXPECT_FALSE(service_of(later, second).applications);
}

TEST_F(Services, HaveApplicationsAgainWhenTheirPmtNamesThePidAgain) {
    stream_writer stream = pat_and_pmt(elementary_stream(0x05, ait_pid));
    stream.section(ait_pid, ait())
        .section(hd_pmt_pid, pmt_of_hd({}, 1))
        .section(hd_pmt_pid, pmt_of_hd(elementary_stream(0x05, ait_pid), 2))
        .section(ait_pid, ait());
    EXPECT_THAT(application_names(services_of(stream).services.at(0)), ElementsAre("Jogo"));
}

TEST_F(Services, HaveTheApplicationsOfAPidOnceHoweverOftenTheirPmtNamesIt) {
    const bytes twice = elementary_stream(0x05, ait_pid) + elementary_stream(0x05, ait_pid);
    stream_writer stream = pat_and_pmt(twice);
    stream.section(ait_pid, ait());
    EXPECT_THAT(application_names(services_of(stream).services.at(0)), ElementsAre("Jogo"));
}

TEST_F(Services, HaveTheRatingOfBrazilElseOfTheFirstCountry) {
    const auto rating_of = [](const bytes& ratings) {
        stream_writer stream;
        stream.section(0x0000, pat_of_hd_only(0))
            .section(0x0012, eit_on_air(0, event(1, utc_time(day, 0), 0, 0, 0,
                                                 describe_parental_ratings(ratings))));
        return services_of(stream).services.at(0).present->rating;
    };
    EXPECT_EQ(rating_of(parental_rating("ARG", 9) + parental_rating("BRA", 2))->rating, 2);
    EXPECT_EQ(rating_of(parental_rating("URY", 9) + parental_rating("ARG", 8))->country_code,
              "ARG");
    EXPECT_FALSE(rating_of({}));
}

TEST_F(Services, HaveUndefinedTimesAsTheyAre) {
    stream_writer stream;
    stream.section(0x0000, pat_of_hd_only(0))
        .section(0x0012, eit_on_air(0, event(1, utc_time(0xFFFF, 0xFFFFFF), 0xFFFFFF, 0, 0)));
    const told_service hd = services_of(stream).services.at(0);
    EXPECT_EQ(hd.present->start_time, undefined_time);
    EXPECT_EQ(hd.present->duration, undefined_duration);
    EXPECT_EQ(hd.present->name, "");
}

TEST_F(Services, HaveWhatIsOnNowAndNextAsItChanges) {
    stream_writer stream;
    stream.section(0x0012, eit_on_air(0, event_named(1, "Jornal")))
        .section(0x0012, eit_on_air(1, event_named(2, "Novela")))
        .section(0x0000, pat_of_hd_only(0));
    const told_service before = services_of(stream).services.at(0);
    EXPECT_EQ(before.present->name, "Jornal") << "it came before the PAT";
    EXPECT_EQ(before.following->name, "Novela");

    stream.section(0x0012, eit_on_air(0, event_named(2, "Novela"), 1))
        .section(0x0012, eit_on_air(1, {}, 1));
    const told_service after = services_of(stream).services.at(0);
    EXPECT_EQ(after.present->name, "Novela");
    EXPECT_FALSE(after.following);

    stream.section(0x0012, eit_on_air(1, event_named(3, "Filme"), 2))
        .section(0x0012, eit_on_air(0, event_named(2, "Novela"), 3, 0));
    EXPECT_FALSE(services_of(stream).services.at(0).following) << "its table has one section only";
}

TEST_F(Services, GoWithThePatThatListsThemNoMore) {
    stream_writer stream = all_tables();
    const std::uint16_t second = 0x5C21;
    stream.section(0x0000, pat_of(program(second, 0x0112), {1, 1, 0, 1}));
    EXPECT_THAT(ids(services_of(stream)), ElementsAre(hd_service, second, mobile_service))
        << "another section may still list it";
    stream.section(0x0000, pat_of({}, {1, 1, 1, 1}));
    EXPECT_THAT(ids(services_of(stream)), ElementsAre(second, mobile_service))
        << "but for those of 1-seg, whose receivers do not need it";

    stream.section(0x0000, pat_of_hd_only(2)).section(hd_pmt_pid, hd_pmt());
    const told_service hd = service_of(services_of(stream), hd_service);
    EXPECT_EQ(hd.name, "Manacá HD");
    EXPECT_THAT(streams_in_words(hd), ElementsAre("H.264 video", "AAC audio", "applications"));
}

TEST_F(Services, LoseTheirStreamsWhenTheirPmtMoves) {
    stream_writer stream = all_tables();
    const std::uint16_t moved = 0x0115;
    stream.section(0x0000, pat_of(program(hd_service, moved), {1}));
    const told_service between = service_of(services_of(stream), hd_service);
    EXPECT_THAT(between.program_map_pid, Optional(moved));
    EXPECT_FALSE(between.streams);

    stream.section(moved, pmt_of_hd(elementary_stream(0x1B, 0x0111)));
    EXPECT_THAT(streams_in_words(service_of(services_of(stream), hd_service)),
                ElementsAre("H.264 video"));
}

TEST_F(Services, AreRenamedAndLoseTheirNameWithTheSdt) {
    const auto sdt_of = [](const bytes& services, std::uint8_t version) {
        return sdt_section(multiplex_id, multiplex_id, services, {version});
    };
    stream_writer stream = all_tables();
    stream.section(0x0011,
                   sdt_of(service(hd_service, 4, 0, describe_service(0x02, "", "Outro")), 1));
    const told_service renamed = service_of(services_of(stream), hd_service);
    EXPECT_EQ(renamed.name, "Outro");
    EXPECT_THAT(renamed.service_type, Optional(0x02));

    stream.section(0x0011, sdt_of({}, 2));
    const told_service unnamed = service_of(services_of(stream), hd_service);
    EXPECT_EQ(unnamed.name, "");
    EXPECT_FALSE(unnamed.service_type);
}

TEST_F(Services, OfBareSectionsAreJoinedByTheirIds) {
    taking_observer taker;
    bare_sections from("", taker, {});
    push(from, all_sections());
    from.end();
    const told_services told = taker.all.told();
    ASSERT_THAT(ids(told), ElementsAre(hd_service, mobile_service));
    EXPECT_THAT(told.services[0].program_map_pid, Optional(hd_pmt_pid)) << "as the PAT says";
    EXPECT_EQ(told.services[0].streams.value().size(), 3u);
    EXPECT_EQ(told.services[0].number, "3.1");
    EXPECT_FALSE(told.services[0].applications) << "nothing says whose the AIT is";
}

TEST_F(Services, BeyondTheBoundAreLeftOutAndCounted) {
    bytes programs;
    for (std::uint16_t number = 1; number <= 1000; ++number) {
        programs = std::move(programs) + program(number, 0x0100);
    }
    stream_writer stream;
    stream.section(0x0000, pat_of(programs)).section(0x0011, sdt());  // two more
    taking_observer taker;
    multiplex from("", taker, {});
    push(from, stream.stream());
    from.end();
    EXPECT_EQ(taker.all.told().services.size(), 1000u);
    EXPECT_EQ(taker.all.bounds().at(0).left_out, 2u);

    stream_writer next;
    next.skip_counter(0, 1).section(0x0000, pat_of_hd_only(1)).section(0x0011, sdt({1}));
    push(from, next.stream());
    from.end();
    EXPECT_THAT(ids(taker.all.told()), ElementsAre(hd_service));
    EXPECT_EQ(taker.all.told().services[0].name, "Manacá HD") << "there is room again";
}

TEST_F(Services, HaveNoMoreApplicationsThanTheBound) {
    bytes applications;
    for (std::uint16_t id = 1; id <= 5; ++id) {
        applications = std::move(applications) + named_application(id, "Jogo");
    }
    stream_writer stream = pat_and_pmt(elementary_stream(0x05, ait_pid));
    for (int number = 0; number < 256; ++number) {
        const auto section_number = static_cast<std::uint8_t>(number);
        stream.section(ait_pid, ait_section(0x0009, {}, applications, {0, 1, section_number, 255}));
    }
    taking_observer taker;
    multiplex from("", taker, {});
    push(from, stream.stream());
    from.end();
    const told_services told = taker.all.told();
    EXPECT_EQ(told.services.at(0).applications.value().size(), 1000u);
    EXPECT_EQ(taker.all.bounds().at(3).what, "applications");
    EXPECT_EQ(taker.all.bounds().at(3).left_out, 256u * 4 + 256u - 1000u)
        << "the receiver sees each of the five";
}

/// Everything that an answer holds.
std::size_t size_of(const told_services& told) {
    std::size_t size = told.services.size();
    for (const told_service& service : told.services) {
        if (service.streams) size += service.streams->size();
        if (service.applications) size += service.applications->size();
        for (const auto* event : {&service.present, &service.following}) {
            if (*event) size += (*event)->name.size() + (*event)->content_nibbles.size();
        }
    }
    return size;
}

class ServicesOfHostileStreams : public testing::TestWithParam<hostile_stream> {};

TEST_P(ServicesOfHostileStreams, StayWithinTheirBounds) {
    const log_capture silence(OrvixLog::NONE);
    taking_observer taker;
    multiplex from("", taker, {});
    stream_writer stream;
    for (std::uint32_t number = 0; number < 3000; ++number) {
        const sent_section sent = GetParam().section(number);
        stream.section(sent.pid, sent.section);
        if (number % 100 != 99) continue;
        push(from, stream.stream());
        stream.packets().clear();
    }
    from.end();
    const told_services told = taker.all.told();
    EXPECT_LE(told.services.size(), 1000u);
    EXPECT_LE(size_of(told), 1000u * 1000u);
}

INSTANTIATE_TEST_SUITE_P(All, ServicesOfHostileStreams, testing::ValuesIn(hostile_streams()),
                         [](const testing::TestParamInfo<hostile_stream>& stream) {
                             std::string name = stream.param.name;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

}  // namespace
}  // namespace orvix::broadcast
