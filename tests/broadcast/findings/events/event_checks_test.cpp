#include <broadcast/times.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <without_log.h>

#include "../finding_streams.h"

namespace orvix::broadcast {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::uint16_t eit_pid = 0x0012;

class EventChecks : public without_log {};

// --- Events ---

bytes named(const std::string& name, const std::string& text = "", const char* language = "por") {
    return describe_short_event(language, name, text);
}
bytes rated(std::uint8_t rating, const char* country = "BRA") {
    return describe_parental_ratings(parental_rating(country, rating));
}
bytes genre(std::uint8_t content_nibble) { return describe_content({content_nibble, 0xFF}); }

/// That is as it should be, but for its times.
bytes lasting(std::uint16_t id, std::uint32_t hhmmss, std::uint32_t duration,
              std::uint16_t mjd = day) {
    return event(id, utc_time(mjd, hhmmss), duration, 4, 0, named("Jornal") + rated(1));
}
/// That is as it should be, but for its descriptors.
bytes described(const bytes& descriptors, std::uint16_t id = 0x0A01) {
    return event(id, utc_time(day, 0x200000), 0x010000, 4, 0, descriptors);
}

// --- Sections of one service ---

bytes present(const bytes& events, std::uint8_t version = 0, std::uint8_t number = 0) {
    return eit_section({0x4E, hd_service, multiplex_id, multiplex_id, 1, 0x4E}, events,
                       {version, 1, number, 1});
}
bytes following(const bytes& events, std::uint8_t version = 0) {
    return present(events, version, 1);
}
/// One of a schedule whose segments have two sections.
bytes scheduled(std::uint8_t number, const bytes& events, std::uint8_t version = 0) {
    const auto last_of_segment = static_cast<std::uint8_t>(number / 8 * 8 + 1);
    return eit_section({0x50, hd_service, multiplex_id, multiplex_id, last_of_segment, 0x50},
                       events, {version, 1, number, 0x19});
}

stream_writer eits(const std::vector<bytes>& sections) {
    stream_writer stream;
    stream.sections(eit_pid, sections);
    return stream;
}
std::vector<std::string> says_of(std::string_view name, const bytes& descriptors) {
    return says(name, eits({present(described(descriptors))}));
}

// --- What they say ---

TEST_F(EventChecks, WarnOfAnEventWithoutAName) {
    const auto found =
        only("event_name_missing",
             found_in(eits({present(described(rated(1))), following(described(named(" "), 2))})));
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].how_bad, severity::warning);
    EXPECT_EQ(found[0].about.pid, eit_pid);
    EXPECT_EQ(found[0].about.service_id, hd_service);
    EXPECT_EQ(found[0].count, 2u);
    EXPECT_EQ(found[0].says(), "event 0x0A01 of service 0x5C20 has no name, 2 times");
    EXPECT_THAT(says_of("event_name_missing", named("") + named("A", "", "eng")), IsEmpty());
}

TEST_F(EventChecks, NoteTextsThatAreNotInPortuguese) {
    EXPECT_THAT(says_of("event_text_language", named("News", "", "eng")),
                ElementsAre("event 0x0A01 \"News\" of service 0x5C20 has texts in the language "
                            "\"eng\", none in \"por\""));
    EXPECT_THAT(says_of("event_text_language", named("News", "", "eng") + named("Jornal")),
                IsEmpty());
    EXPECT_THAT(says_of("event_text_language", named("Jornal") + named("News", "", "eng")),
                IsEmpty());
    EXPECT_THAT(says_of("event_text_language", rated(1)), IsEmpty());
}

TEST_F(EventChecks, NoteNamesThatAreLongerThanReceiversShow) {
    const std::string forty(40, '\xE9');
    EXPECT_THAT(says_of("short_name_long", named(forty)), IsEmpty());
    EXPECT_THAT(says_of("short_name_long", named(forty + "a")),
                ElementsAre(HasSubstr("..\" of service 0x5C20 has a name of 41 characters "
                                      "(receivers show 40)")));
}

TEST_F(EventChecks, NoteTextsThatAreLongerThanReceiversShow) {
    const std::string longest(160, '\xE9');
    EXPECT_THAT(says_of("text_long", named("A", longest)), IsEmpty());
    EXPECT_THAT(says_of("text_long", named("A", longest + "a")),
                ElementsAre("event 0x0A01 \"A\" of service 0x5C20 has a text of 161 characters "
                            "(not every receiver shows more than 160)"));
}

TEST_F(EventChecks, WarnOfAnEventWithoutABrazilianRating) {
    const auto is_missing = [](const bytes& descriptors) {
        return !says_of("rating_missing", named("A") + descriptors).empty();
    };
    EXPECT_THAT(says_of("rating_missing", named("A") + rated(1, "ARG")),
                ElementsAre("event 0x0A01 \"A\" of service 0x5C20 has no rating for Brazil (BRA)"));
    EXPECT_FALSE(is_missing(rated(1)));
    EXPECT_FALSE(is_missing(rated(1, "ARG") + rated(1)));
    EXPECT_TRUE(is_missing({}));
}

TEST_F(EventChecks, ExpectNoRatingOfNewsSportsSalesAndReligion) {
    const auto is_missing = [](std::uint8_t content) {
        return !says_of("rating_missing", named("A") + genre(content)).empty();
    };
    for (const std::uint8_t free : bytes{0x00, 0x0F, 0x10, 0x1F, 0xD0, 0xDF, 0xF3}) {
        EXPECT_FALSE(is_missing(free)) << unsigned{free};
    }
    for (const std::uint8_t other : bytes{0x20, 0xC0, 0xE0, 0xF2, 0xF4, 0xFF}) {
        EXPECT_TRUE(is_missing(other)) << unsigned{other};
    }
    EXPECT_THAT(says_of("rating_missing", describe_content({0x60, 0xFF, 0x10, 0xFF})), IsEmpty());
}

TEST_F(EventChecks, WarnOfAReservedRating) {
    EXPECT_THAT(says_of("rating_reserved", named("A") + rated(0x07)),
                ElementsAre("event 0x0A01 \"A\" of service 0x5C20 has the rating 0x07, which is "
                            "reserved in Brazil"));
    for (const std::uint8_t reserved : bytes{0x00, 0x08, 0x0F, 0x10, 0x81}) {
        EXPECT_THAT(says_of("rating_reserved", rated(reserved)), SizeIs(1)) << unsigned{reserved};
    }
    for (const std::uint8_t defined : bytes{0x01, 0x06, 0x11, 0x76}) {
        EXPECT_THAT(says_of("rating_reserved", rated(defined)), IsEmpty()) << unsigned{defined};
    }
    EXPECT_THAT(says_of("rating_reserved", rated(0x07, "ARG")), IsEmpty());
}

TEST_F(EventChecks, WarnOfAReservedGenre) {
    EXPECT_THAT(says_of("genre_reserved", named("A") + genre(0x66)),
                ElementsAre("event 0x0A01 \"A\" of service 0x5C20 has the genre 0x66, which is "
                            "reserved"));
    EXPECT_THAT(says_of("genre_reserved", describe_content({0x10, 0xFF, 0xF4, 0xFF})), SizeIs(1));
    for (const std::uint8_t defined : bytes{0x65, 0x6F, 0x17, 0xC0, 0xD2}) {
        EXPECT_THAT(says_of("genre_reserved", genre(defined)), IsEmpty()) << unsigned{defined};
    }
}

// --- When they are ---

TEST_F(EventChecks, NoteTimesThatAreUndefined) {
    const bytes told = named("A") + rated(1);
    const bytes no_time = utc_time(0xFFFF, 0xFFFFFF);
    const auto said = [&](const bytes& start, std::uint32_t duration) {
        return says("event_times_undefined",
                    eits({present(event(0x0A01, start, duration, 4, 0, told))}));
    };
    const std::string a = "event 0x0A01 \"A\" of service 0x5C20 has no ";
    EXPECT_THAT(said(no_time, 0xFFFFFF), ElementsAre(a + "start time and no duration"));
    EXPECT_THAT(said(no_time, 0x010000), ElementsAre(a + "start time"));
    EXPECT_THAT(said(utc_time(day, 0), 0xFFFFFF), ElementsAre(a + "duration"));
    EXPECT_THAT(said(utc_time(day, 0), 0x010000), IsEmpty());
}

TEST_F(EventChecks, WarnOfAGapBetweenPresentAndFollowing) {
    const bytes now = present(lasting(1, 0x200000, 0x003000));
    const auto found =
        only("event_gap", found_in(eits({now, following(lasting(2, 0x203002, 0x003000))})));
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].about.pid, eit_pid);
    EXPECT_EQ(found[0].about.service_id, hd_service);
    EXPECT_EQ(found[0].worst, 2);
    EXPECT_EQ(found[0].limit, 1);
    EXPECT_EQ(found[0].says(),
              "event 0x0002 \"Jornal\" of service 0x5C20 begins 2 s behind the end of event "
              "0x0001 \"Jornal\" (at most 1 s)");
    EXPECT_THAT(says("event_gap", eits({now, following(lasting(2, 0x203001, 0x003000))})),
                IsEmpty());
}

TEST_F(EventChecks, WarnOfAnOverlapOfPresentAndFollowing) {
    const bytes next = following(lasting(2, 0x203000, 0x003000));
    EXPECT_THAT(says("event_overlap", eits({next, present(lasting(1, 0x200000, 0x003002))})),
                ElementsAre("event 0x0002 \"Jornal\" of service 0x5C20 begins 2 s before the end "
                            "of event 0x0001 \"Jornal\" (at most 1 s)"));
    EXPECT_THAT(says("event_overlap", eits({next, present(lasting(1, 0x200000, 0x003001))})),
                IsEmpty());
    EXPECT_THAT(says("event_gap", eits({next, present(lasting(1, 0x200000, 0x003001))})),
                IsEmpty());
}

TEST_F(EventChecks, CompareEventsOfOneVersionOnly) {
    const bytes now = present(lasting(1, 0x200000, 0x003000));
    const bytes much_later = lasting(3, 0x230000, 0x003000);
    EXPECT_THAT(says("event_gap", eits({now, following(much_later, 1)})), IsEmpty());
    EXPECT_THAT(says("event_gap", eits({now, following(much_later)})), SizeIs(1));
    // Version 0 comes again: what it said before does not count any more.
    EXPECT_THAT(says("event_gap", eits({now, following(lasting(2, 0x203000, 0x003000), 1),
                                        following(much_later)})),
                IsEmpty());
}

TEST_F(EventChecks, CompareTheEventsOfASectionInTheOrderOfTheirTimes) {
    const bytes first = lasting(1, 0x200000, 0x003000);
    const bytes second = lasting(2, 0x203000, 0x003000);
    const bytes third = lasting(3, 0x210000, 0x003000);
    EXPECT_THAT(says("event_overlap", eits({scheduled(0, third + first + second)})), IsEmpty());
    EXPECT_THAT(says("event_gap", eits({scheduled(0, third + first + second)})), IsEmpty());
    EXPECT_THAT(says("event_gap", eits({scheduled(0, third + first)})),
                ElementsAre(HasSubstr("begins 30 min 0 s behind the end")));
}

TEST_F(EventChecks, ALongEventOverlapsAllThatBeginBeforeItsEnd) {
    const bytes hour = lasting(1, 0x200000, 0x010000);
    const auto found =
        only("event_overlap", found_in(eits({scheduled(0, hour + lasting(2, 0x201000, 0x001000) +
                                                              lasting(3, 0x202000, 0x001000) +
                                                              lasting(4, 0x210000, 0x001000))})));
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].count, 2u);
    EXPECT_EQ(found[0].worst, 50 * 60);
    EXPECT_THAT(found[0].says(), testing::StartsWith("event 0x0002 "));
}

TEST_F(EventChecks, KnowOfNoGapThatAnEventWithoutTimesMayFill) {
    const bytes unknown = event(9, utc_time(0xFFFF, 0xFFFFFF), 0xFFFFFF, 0, 0);
    const bytes first = lasting(1, 0x200000, 0x003000);
    const bytes late = lasting(3, 0x220000, 0x003000);
    EXPECT_THAT(says("event_gap", eits({scheduled(0, first + unknown + late)})), IsEmpty());
    EXPECT_THAT(says("event_gap", eits({scheduled(0, first + unknown), scheduled(1, late)})),
                IsEmpty());
    EXPECT_THAT(says("event_overlap",
                     eits({scheduled(0, first + unknown + lasting(2, 0x201000, 0x003000))})),
                SizeIs(1));
}

TEST_F(EventChecks, CompareNeighbouringSectionsOfASchedule) {
    const bytes first = lasting(1, 0x200000, 0x003000);
    const bytes late = lasting(3, 0x220000, 0x003000);
    const auto gaps = [&](std::uint8_t earlier, std::uint8_t later) {
        const stream_writer forward = eits({scheduled(earlier, first), scheduled(later, late)});
        const stream_writer backward = eits({scheduled(later, late), scheduled(earlier, first)});
        EXPECT_EQ(says("event_gap", forward), says("event_gap", backward));
        return says("event_gap", forward).size();
    };
    EXPECT_EQ(gaps(0, 1), 1u);
    EXPECT_EQ(gaps(1, 8), 1u);   // section 1 ends its segment
    EXPECT_EQ(gaps(0, 8), 0u);   // section 1 is not known
    EXPECT_EQ(gaps(1, 16), 0u);  // nor is the segment between
}

TEST_F(EventChecks, ForgetTheEventsOfASectionThatIsReplaced) {
    const bytes first = lasting(1, 0x200000, 0x003000);
    const bytes late = lasting(3, 0x220000, 0x003000);
    EXPECT_THAT(
        says("event_gap", eits({scheduled(0, first), scheduled(0, {}), scheduled(1, late)})),
        IsEmpty());
}

TEST_F(EventChecks, WarnOfAStartThatTheReceiversClockCannotHold) {
    constexpr std::uint16_t mjd_of_2038_01_19 = 65442;
    const auto found =
        only("receiver_clock_2038",
             found_in(eits({present(lasting(1, 0x031408, 0x003000, mjd_of_2038_01_19))})));
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].about.service_id, hd_service);
    EXPECT_EQ(found[0].says(),
              "event 0x0001 \"Jornal\" of service 0x5C20 begins 2038-01-19T03:14:08-03:00, which "
              "the receiver takes for a time of 1901 or 1902");
    EXPECT_THAT(says("receiver_clock_2038",
                     eits({present(lasting(1, 0x031407, 0x003000, mjd_of_2038_01_19))})),
                IsEmpty());
}

// --- How often they count ---

TEST_F(EventChecks, CountAnEventOnceHoweverOftenItComes) {
    const bytes nameless = described(rated(1));
    const auto found =
        only("event_name_missing", found_in(eits({present(nameless), present(nameless),
                                                  present(nameless, 1), scheduled(0, nameless)})));
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].count, 1u);
}

TEST_F(EventChecks, CountAnEventAgainThatGetsTheNumberOfAnotherDay) {
    const auto count = [](std::uint16_t mjd) {
        const auto found =
            only("event_name_missing",
                 found_in(eits({present(event(1, utc_time(day, 0x200000), 0x010000, 4, 0)),
                                present(event(1, utc_time(mjd, 0x200000), 0x010000, 4, 0), 1)})));
        return found.at(0).count;
    };
    EXPECT_EQ(count(day + 1), 1u);
    EXPECT_EQ(count(day + 2), 2u);
}

TEST_F(EventChecks, ForgetTheEventsThatWereCountedFirst) {
    constexpr std::uint16_t events = 12'000;
    const auto nameless = [](std::uint16_t id) {
        return event(id, utc_time(day, 0x200000), 0, 0, 0);
    };
    stream_writer stream;
    for (std::uint16_t id = 0; id < events;) {
        bytes some;
        for (const int end = id + 100; id < end; ++id) some = some + nameless(id);
        stream.section(eit_pid, scheduled(static_cast<std::uint8_t>(id / 100), some));
    }
    const auto count = [](const stream_writer& from) {
        return only("event_name_missing", found_in(from)).at(0).count;
    };
    EXPECT_EQ(count(stream), events);
    EXPECT_EQ(count(stream_writer(stream).section(eit_pid, present(nameless(11'000)))), events);
    EXPECT_EQ(count(stream_writer(stream).section(eit_pid, present(nameless(1'000)))), events + 1);
}

TEST_F(EventChecks, PassOverOtherTransportStreamsAndWhatIsNotYetValid) {
    const auto of = [](std::uint8_t table_id, std::uint8_t current_next_indicator = 1) {
        return says("event_name_missing",
                    eits({eit_section({table_id, hd_service, multiplex_id, multiplex_id},
                                      described({}), {0, current_next_indicator})}));
    };
    EXPECT_THAT(of(0x4E), SizeIs(1));
    EXPECT_THAT(of(0x50), SizeIs(1));
    EXPECT_THAT(of(0x5F), SizeIs(1));
    EXPECT_THAT(of(0x4F), IsEmpty());
    EXPECT_THAT(of(0x60), IsEmpty());
    EXPECT_THAT(of(0x6F), IsEmpty());
    EXPECT_THAT(of(0x4E, 0), IsEmpty());
}

// --- The present one ---

/// From half a second on it is 20:30:00, and an event ends at 20:30:02.
timed_stream on_air(double seconds, const bytes& events = present(lasting(1, 0x200000, 0x003002))) {
    timed_stream stream(seconds);
    stream.every(0.1, 0x0000, {pat()})
        .every(0.5, eit_pid, {events})
        .once(0.5, 0x0014, tot_section(utc_time(day, 0x203000), describe_local_time_offsets({})));
    return stream;
}
finding_limits three_seconds() {
    finding_limits limits;
    limits.set(finding_kind::event_over, 3);
    return limits;
}
std::vector<finding> over_in(const timed_stream& stream) {
    return only("event_over", found_in(stream, three_seconds()));
}

TEST_F(EventChecks, WarnOfAPresentEventThatHasEnded) {
    const auto found = over_in(on_air(7.4));
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].about.pid, eit_pid);
    EXPECT_EQ(found[0].about.service_id, hd_service);
    EXPECT_EQ(found[0].count, 1u);
    EXPECT_EQ(found[0].worst, 4);
    EXPECT_EQ(found[0].limit, 3);
    EXPECT_TRUE(found[0].in_force);
    EXPECT_EQ(found[0].says(),
              "event 0x0001 \"Jornal\" of service 0x5C20, the present one, ended 4 s ago (at "
              "most 3 s)");
    EXPECT_THAT(over_in(on_air(6.4)), IsEmpty());
    EXPECT_EQ(rule_of(finding_kind::event_over).limit, 60);
}

TEST_F(EventChecks, APresentEventThatHasEndedGetsWorseUntilItIsReplaced) {
    timed_stream stream(22);
    const bytes next = present(lasting(2, 0x203002, 0x003000), 1);
    stream.every(0.1, 0x0000, {pat()})
        .every(0.5, eit_pid, {present(lasting(1, 0x200000, 0x003002))}, 0, 10.2)
        .every(0.5, eit_pid, {next}, 10.5)
        .once(0.5, 0x0014, tot_section(utc_time(day, 0x203000), describe_local_time_offsets({})));
    const auto found = over_in(stream);
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].worst, 7);
    EXPECT_EQ(found[0].count, 1u);
    ASSERT_TRUE(found[0].last.seconds);
    EXPECT_NEAR(*found[0].last.seconds, 10.5, 0.1);
    EXPECT_FALSE(found[0].in_force);
}

TEST_F(EventChecks, APresentEventThatIsExtendedIsOnAirAgain) {
    timed_stream stream(22);
    stream.every(0.1, 0x0000, {pat()})
        .every(0.5, eit_pid, {present(lasting(1, 0x200000, 0x003002))}, 0, 10.2)
        .every(0.5, eit_pid, {present(lasting(1, 0x200000, 0x010000), 1)}, 10.5)
        .once(0.5, 0x0014, tot_section(utc_time(day, 0x203000), describe_local_time_offsets({})));
    const auto found = over_in(stream);
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_FALSE(found[0].in_force);
}

TEST_F(EventChecks, EachPresentEventThatHasEndedCounts) {
    timed_stream stream(12);
    stream.every(0.1, 0x0000, {pat()})
        .every(0.5, eit_pid, {present(lasting(1, 0x200000, 0x003002))}, 0, 8.2)
        .every(0.5, eit_pid, {present(lasting(2, 0x200000, 0x003002), 1)}, 8.5)
        .once(0.5, 0x0014, tot_section(utc_time(day, 0x203000), describe_local_time_offsets({})));
    const auto found = over_in(stream);
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].count, 2u);
    EXPECT_TRUE(found[0].in_force);
}

TEST_F(EventChecks, ExpectNothingOfAnEventThatIsExtendedOrFollowsOrHasNoEnd) {
    timed_stream extended = on_air(9, present(lasting(1, 0x200000, 0x010000), 1));
    extended.once(0.2, eit_pid, present(lasting(1, 0x200000, 0x003002)));
    EXPECT_THAT(over_in(extended), IsEmpty());
    EXPECT_THAT(over_in(on_air(9, following(lasting(1, 0x200000, 0x003002)))), IsEmpty());
    EXPECT_THAT(over_in(on_air(9, scheduled(0, lasting(1, 0x200000, 0x003002)))), IsEmpty());
    EXPECT_THAT(over_in(on_air(9, present(lasting(1, 0x200000, 0xFFFFFF)))), IsEmpty());
    EXPECT_THAT(over_in(on_air(9, present(lasting(1, 0x200000, 0x000000)))), IsEmpty());
}

TEST_F(EventChecks, ExpectNothingOfTheEventsOfAServiceThatIsGone) {
    const bytes other = pat_section(multiplex_id, program(mobile_service, mobile_pmt_pid), {1});
    timed_stream stream(12);
    stream.every(0.1, 0x0000, {pat()}, 0, 3)
        .every(0.1, 0x0000, {other}, 3)
        .every(0.5, eit_pid, {present(lasting(1, 0x200000, 0x003002))})
        .once(0.5, 0x0014, tot_section(utc_time(day, 0x203000), describe_local_time_offsets({})));
    EXPECT_THAT(over_in(stream), IsEmpty());
}

}  // namespace
}  // namespace orvix::broadcast
