#include <broadcast/guide.h>
#include <gmock/gmock.h>
#include <isdb_sections.h>

#include <algorithm>
#include <random>

#include "hostile_streams.h"
#include "table_reader.h"

namespace orvix::broadcast {

bool operator==(const programme& a, const programme& b) {
    return a.event_id == b.event_id && a.start == b.start && a.duration == b.duration &&
           a.name == b.name && a.text == b.text && a.language == b.language &&
           a.content_nibbles == b.content_nibbles && a.rating == b.rating;
}

void PrintTo(const programme& p, std::ostream* out) {
    *out << p.event_id << ' ' << p.name << " at " << p.start << " for " << p.duration << ": "
         << p.text;
}

namespace {

using namespace orvix::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::uint16_t network = 0x02E1;
constexpr std::uint16_t some_service = 0x5C20;
constexpr std::uint16_t day = 61365;  // 2026-11-21

bytes described(const std::string& name, const std::string& text = "") {
    return describe_short_event("por", name, text);
}

/// Half an hour long.
bytes event_at(std::uint16_t event_id, std::uint32_t hhmmss, const std::string& name) {
    return event(event_id, utc_time(day, hhmmss), 0x003000, 0, 0, described(name));
}

bytes schedule(const bytes& events, const long_header& header = {},
               std::uint8_t segment_last_section_number = 0, std::uint8_t table_id = 0x50,
               std::uint16_t service_id = some_service) {
    return eit_section(
        {table_id, service_id, network, network, segment_last_section_number, table_id}, events,
        header);
}

bytes present(const bytes& event, std::uint8_t version = 0,
              std::uint16_t service_id = some_service) {
    return eit_section({0x4E, service_id, network, network, 1, 0x4E}, event, {version, 1, 0, 1});
}

class Guide : public testing::Test {
protected:
    void given(const bytes& section) {
        const table_ref table = reader_.read(section);
        guide_.take(table, reader_.section());
    }

    std::vector<std::string> titles() const {
        std::vector<std::string> all;
        for (const channel& c : guide_.contents().channels) {
            for (const programme& p : c.programmes) all.push_back(p.name);
        }
        return all;
    }

    std::uint64_t left_out(const std::string& what) const { return bound_of(what).left_out; }
    std::size_t most(const std::string& what) const { return bound_of(what).most; }

    table_reader reader_;
    guide guide_;

private:
    bound bound_of(const std::string& what) const {
        const std::vector<bound> all = guide_.bounds();
        return *std::find_if(all.begin(), all.end(),
                             [&](const bound& b) { return b.what == what; });
    }
};

constexpr auto of_services = "services in the guide";
constexpr auto of_names = "names of services in the guide";
constexpr auto of_programs = "programmes with a PMT in the guide";
constexpr auto of_keys = "remote control keys in the guide";
constexpr auto of_events = "events of a service in the guide";
constexpr auto of_bytes = "bytes of events in the guide";

// --- Segments and versions ---

TEST_F(Guide, DropsTheSectionsBeyondTheEndOfASegmentInANewVersion) {
    given(schedule(event_at(1, 0x080000, "A"), {0, 1, 0, 16}, 2));
    given(schedule(event_at(2, 0x090000, "B"), {0, 1, 1, 16}, 2));
    given(schedule(event_at(3, 0x100000, "C"), {0, 1, 2, 16}, 2));
    given(schedule(event_at(4, 0x110000, "D"), {0, 1, 8, 16}, 8));
    given(schedule(event_at(1, 0x080000, "A"), {1, 1, 0, 16}, 1));
    EXPECT_THAT(titles(), ElementsAre("A", "B", "D"));
}

TEST_F(Guide, DropsNothingBeforeASegmentThatEndsBeforeItBegins) {
    given(schedule(event_at(1, 0x080000, "A"), {0, 1, 1, 16}, 1));
    given(schedule(event_at(2, 0x090000, "B"), {1, 1, 8, 16}, 0));
    EXPECT_THAT(titles(), ElementsAre("A", "B"));
}

TEST_F(Guide, KeepsTheOtherTablesOfAService) {
    for (std::uint8_t table_id = 0x50; table_id < 0x53; ++table_id) {
        given(schedule(event_at(table_id, (table_id - 0x4Fu) << 16, "A"), {0, 1, 0, 255}, 255,
                       table_id));
    }
    given(schedule(event_at(1, 0x040000, "B"), {1, 1, 255, 255}, 255, 0x51));
    given(schedule(event_at(2, 0x050000, "C"), {2, 1, 0, 0}, 0, 0x52));
    EXPECT_THAT(titles(), ElementsAre("A", "A", "B", "C"));
}

TEST_F(Guide, KeepsTheNewestVersionOfASectionOnly) {
    given(schedule(event_at(1, 0x080000, "A") + event_at(2, 0x090000, "B")));
    given(schedule(event_at(1, 0x080000, "O A"), {1}));
    EXPECT_THAT(titles(), ElementsAre("O A"));
    given(schedule({}, {2}));
    EXPECT_THAT(titles(), IsEmpty());
}

TEST_F(Guide, TakesTheNewestAccountOfAnEventWhereverItStands) {
    given(schedule(event_at(1, 0x080000, "Velho"), {0, 1, 0, 1}, 1));
    given(schedule(event_at(1, 0x080000, "Novo"), {0, 1, 1, 1}, 1));
    EXPECT_THAT(titles(), ElementsAre("Novo"));
    given(schedule(event_at(1, 0x080000, "Novo mesmo"), {0, 1, 0, 1}, 1));
    EXPECT_THAT(titles(), ElementsAre("Novo mesmo"));
}

// --- Times ---

TEST_F(Guide, LeavesOutTimesThatHaveWrapped) {
    constexpr std::uint16_t wraps = 65442;  // 2038-01-19 03:14:08 and later become 1901
    given(schedule(event(1, utc_time(wraps, 0x031407), 0x003000, 0, 0, described("Antes")) +
                   event(2, utc_time(wraps, 0x031408), 0x003000, 0, 0, described("Depois"))));
    EXPECT_THAT(titles(), ElementsAre("Antes"));
    EXPECT_EQ(guide_.contents().untimed_events, 1u);
}

// --- What was on air ---

TEST_F(Guide, MergesTheAccountsOfWhatWasOnAir) {
    given(present(event(1, utc_time(day, 0x080000), 0x003000, 4, 0, described("Jornal", "Cedo."))));
    given(present(event_at(1, 0x080000, "O Jornal"), 1));
    given(present(event_at(2, 0x083000, "Filme"), 2));
    const guide_contents contents = guide_.contents();
    ASSERT_THAT(contents.channels, SizeIs(1));
    ASSERT_THAT(contents.channels[0].programmes, SizeIs(2));
    EXPECT_EQ(contents.channels[0].programmes[0].name, "O Jornal");
    EXPECT_EQ(contents.channels[0].programmes[0].text, "Cedo.");
}

TEST_F(Guide, KeepsTheLastProgrammesThatWereOnAirAndCountsTheOthers) {
    constexpr std::size_t past = service_events::most_past;
    for (std::uint32_t i = 0; i < past + 3; ++i) {
        given(present(event(static_cast<std::uint16_t>(i),
                            utc_time(static_cast<std::uint16_t>(day + i), 0x080000), 0x003000, 4, 0,
                            described(std::to_string(i))),
                      i % 32));
    }
    const std::vector<std::string> kept = titles();
    EXPECT_THAT(kept, SizeIs(past + 1));  // and the present one
    EXPECT_EQ(kept.front(), "2");
    EXPECT_EQ(guide_.contents().forgotten, 2u);
}

TEST_F(Guide, ForgetsNoProgrammeOfOneServiceForThoseOfAnother) {
    given(present(event_at(1, 0x080000, "Jornal"), 0, some_service + 1));
    given(present(event_at(2, 0x083000, "Filme"), 1, some_service + 1));
    for (std::uint32_t i = 0; i < 1000; ++i) {
        given(hostile_stream_of("present-events-ever-new").section(i).section);
    }
    EXPECT_THAT(titles(), testing::IsSupersetOf({"Jornal", "Filme"}));
}

// --- Names and numbers ---

class GuideNames : public Guide {
protected:
    GuideNames() { given(schedule(event_at(1, 0x080000, "Jornal"))); }

    void given_name(const std::string& name, std::uint16_t stream, std::uint8_t version = 0) {
        given(sdt_section(stream, network,
                          service(some_service, 4, 0, describe_service(1, "", name)), {version}));
    }
    std::string name() const { return guide_.contents().channels.at(0).name; }
};

TEST_F(GuideNames, AreThoseOfAnotherSdtWhereOneHasNone) {
    given(sdt_section(1, network, service(some_service, 4, 0)));
    given_name("Manac\xE1", 2);
    EXPECT_EQ(name(), "Manacá");
}

TEST_F(GuideNames, AreNotBlankWhereAnotherSdtHasOne) {
    given_name(" \xA0", 1);
    given_name("Nova", 2);
    given_name("", 3);
    EXPECT_EQ(name(), "Nova");
}

TEST_F(GuideNames, GoWithTheVersionOfTheirSdtAlone) {
    given_name("Um", 1);
    given_name("Dois", 2);
    given(sdt_section(1, network, service(some_service + 1, 4, 0), {1}));
    EXPECT_EQ(name(), "Dois");
    given(sdt_section(2, network, {}, {1}));
    EXPECT_EQ(name(), "");
    EXPECT_EQ(guide_.contents().services_untold, 1u);
}

TEST_F(GuideNames, AddUpOverTheSectionsOfOneVersion) {
    given_name("Um", 1);
    given(sdt_section(1, network, service(some_service + 1, 4, 0), {0, 1, 1, 1}));
    EXPECT_EQ(name(), "Um");
}

TEST_F(GuideNames, ChangeWithinAVersion) {
    given_name("Um", 1);
    given_name("Dois", 1);
    EXPECT_EQ(name(), "Dois");
}

TEST_F(GuideNames, DoNotCountForTheSameServiceOfAnotherNetwork) {
    given(sdt_section(1, network + 1, service(some_service, 4, 0, describe_service(1, "", "Um"))));
    EXPECT_EQ(name(), "");
}

TEST_F(GuideNames, OfSdtsThatAreNotYetValidDoNotCount) {
    given(sdt_section(1, network, service(some_service, 4, 0, describe_service(1, "", "Um")),
                      {0, 0}));
    EXPECT_EQ(name(), "");
}

// --- Bounds ---

TEST_F(Guide, KeepsTheServicesItKnowsWhereThereIsNoRoomForOthers) {
    for (std::uint32_t i = 0; i < most(of_services) + 5; ++i) {
        given(schedule(event_at(1, 0x080000, "A"), {}, 0, 0x50, static_cast<std::uint16_t>(i)));
    }
    given(schedule(event_at(1, 0x080000, "B"), {1}, 0, 0x50, 7));
    const guide_contents contents = guide_.contents();
    ASSERT_THAT(contents.channels, SizeIs(most(of_services)));
    EXPECT_EQ(contents.channels[7].programmes[0].name, "B");
    EXPECT_EQ(left_out(of_services), 5u);
}

TEST_F(Guide, HasRoomAgainWhereAnSdtDropsServicesWithoutEvents) {
    for (std::uint32_t number = 0; number < 100; ++number) {
        given(hostile_stream_of("names-that-change").section(number).section);
    }
    EXPECT_EQ(left_out(of_services), 0u);
    EXPECT_EQ(left_out(of_names), 0u);
    EXPECT_EQ(guide_.contents().services_untold, 100u);
}

TEST_F(Guide, KeepsTheNamesItKnowsWhereThereIsNoRoomForOthers) {
    const auto named_by = [this](std::uint16_t stream) {
        bytes services;
        for (std::uint16_t i = 0; i < 100; ++i) {
            services = std::move(services) + service(i, 4, 0, describe_service(1, "", "TV"));
        }
        given(sdt_section(stream, network, services));
    };
    for (std::uint16_t stream = 0; stream < 21; ++stream) named_by(stream);
    EXPECT_EQ(left_out(of_names), 21 * 100 - most(of_names));
    given(sdt_section(0, network, {}, {1}));
    named_by(21);
    EXPECT_EQ(left_out(of_names), 21 * 100 - most(of_names));
}

TEST_F(Guide, KeepsTheNumbersItKnowsWhereThereIsNoRoomForOthers) {
    const auto numbered = [](std::uint16_t stream, std::uint8_t key) {
        return transport_stream(stream, network, describe_ts_information(key, "TV"));
    };
    const auto told = [](std::uint16_t stream) {
        return eit_section({0x60, stream, stream, network, 0, 0x60}, event_at(1, 0x080000, "A"));
    };
    for (std::uint32_t stream = 0; stream < most(of_keys) + 2; ++stream) {
        given(nit_section(1, {}, numbered(static_cast<std::uint16_t>(stream), 3)));
    }
    EXPECT_EQ(left_out(of_keys), 2u);
    given(nit_section(1, {}, numbered(0, 4)));
    given(told(0));
    given(told(static_cast<std::uint16_t>(most(of_keys) + 1)));
    const guide_contents contents = guide_.contents();
    ASSERT_THAT(contents.channels, SizeIs(2));
    EXPECT_EQ(contents.channels[0].number, "4.1");
    EXPECT_EQ(contents.channels[1].number, "");
}

TEST_F(Guide, KeepsTheProgramsItKnowsWhereThereIsNoRoomForOthers) {
    for (std::uint32_t i = 0; i < most(of_programs) + 2; ++i) {
        given(pat_section(1, program(static_cast<std::uint16_t>(i), 0x1FC9)));
    }
    EXPECT_EQ(left_out(of_programs), 2u);
    given(pat_section(1, program(0, 0x1FCA)));
    given(nit_section(1, {}, transport_stream(network, network, describe_ts_information(3, ""))));
    given(present(event_at(1, 0x080000, "A"), 0, 0));
    given(present(event_at(1, 0x080000, "A"), 0, 1));
    EXPECT_EQ(guide_.contents().channels.at(0).number, "3.33");
    EXPECT_EQ(guide_.contents().channels.at(1).number, "3.32");
}

TEST_F(Guide, LeavesOutEventsThatOneServiceHasTooManyOf) {
    const auto fifty = [](std::uint32_t number, std::uint8_t version) {
        const sent_section sent = hostile_stream_of("schedule-of-one-service").section(number);
        bytes section = sent.section;
        section[5] = static_cast<std::uint8_t>(0xC1 | version << 1);
        repair_crc(section);
        return section;
    };
    const std::size_t limit = most(of_events);
    for (std::uint32_t number = 0; number < limit / 50 + 2; ++number) given(fifty(number, 0));
    EXPECT_THAT(titles(), SizeIs(limit));
    EXPECT_EQ(left_out(of_events), (limit / 50 + 2) * 50 - limit);

    // What a new version leaves free is free again.
    given(schedule({}, {1, 1, 0, 255}, 255));
    given(present(event_at(0xFFFF, 0x080000, "Agora")));
    EXPECT_THAT(titles(), testing::Contains("Agora"));
    EXPECT_THAT(titles(), SizeIs(limit - 50 + 1));
}

TEST_F(Guide, LeavesOutEventsForWhichThereIsNoRoomButReplacesThoseItHas) {
    const hostile_stream& texts = hostile_stream_of("texts-that-overlap");
    for (std::uint32_t number = 0; number < 1000; ++number) {
        given(texts.section(number).section);
    }
    EXPECT_EQ(left_out(of_services), 0u);
    const std::uint64_t without = left_out(of_bytes);
    EXPECT_GT(without, 0u);
    given(schedule({}, {1}, 0, 0x50, 0));
    given(schedule(event_at(1, 0x080000, "A"), {1}, 0, 0x50, some_service));
    EXPECT_THAT(titles(), testing::Contains("A"));
    EXPECT_EQ(left_out(of_bytes), without);
}

TEST_F(Guide, LeavesNothingOutOfAnOrdinaryWeek) {
    constexpr std::uint32_t sections_of_a_day = 48 * 20 * 4;
    for (std::uint32_t number = 0; number < 7 * sections_of_a_day; ++number) {
        given(hostile_stream_of("many-days").section(number).section);
    }
    const guide_contents contents = guide_.contents();
    ASSERT_THAT(contents.channels, SizeIs(20));
    for (const bound& b : guide_.bounds()) EXPECT_EQ(b.left_out, 0u) << b.what;
    EXPECT_EQ(contents.covered_events, 0u);
    for (const channel& c : contents.channels) {
        EXPECT_GE(c.programmes.size(), service_events::most_past + 6 * 48);
        EXPECT_TRUE(std::all_of(c.programmes.begin(), c.programmes.end(), [](const programme& p) {
            return p.duration == 1800 && !p.text.empty() && p.rating;
        }));
    }
}

// --- Against a guide that looks through all it has, for every section ---

class plain_guide {
public:
    void take(const table_ref& table) {
        const auto& section = **std::get_if<const si_parser::eit*>(&table);
        telling now = {
            ++order_, section.table_id, section.section_number, section.version_number, {}};
        now.on_air = now.table_id == 0x4E && now.number == 0;
        std::vector<telling> kept;
        for (telling& before : told_) {
            const bool same_table = before.table_id == now.table_id;
            const bool beyond = before.number > section.last_section_number ||
                                (before.number / 8 == now.number / 8 &&
                                 before.number > section.segment_last_section_number);
            if (same_table && before.number == now.number) {
                if (before.on_air) remember(before);
            } else if (!same_table || !beyond || before.version == now.version) {
                kept.push_back(before);
            }
        }
        for (const auto& event : section.events) {
            now.event = make_programme(section, event, {});
            kept.push_back(now);
        }
        told_ = kept;
    }

    std::vector<programme> programmes() const {
        struct account {
            programme event;
            programme times;  // as the newest telling has them that has any
            bool holds;
        };
        std::vector<account> accounts;
        for (const telling& told : newest_first()) {
            bool is_newest = true;
            account* same = nullptr;
            for (auto a = accounts.rbegin(); a != accounts.rend(); ++a) {
                if (a->event.event_id != told.event.event_id) continue;
                is_newest = false;
                const std::time_t apart = distance(a->times, told.event);
                if (apart < (same == nullptr ? never : distance(same->times, told.event))) {
                    same = &*a;
                }
            }
            const bool was_on_air = told.on_air && told.event.is_timed();
            if (same == nullptr) {
                accounts.push_back({told.event, told.event, is_newest || was_on_air});
            } else {
                supply(same->event, told.event);
                if (!same->times.is_timed()) same->times = same->event;
                same->holds = same->holds || was_on_air;
            }
        }
        std::map<std::time_t, programme> by_start;
        for (const account& a : accounts) {
            if (a.holds && a.event.is_timed() && !a.event.name.empty()) {
                by_start.try_emplace(a.event.start, a.event);
            }
        }
        std::vector<programme> all;
        for (const auto& [start, event] : by_start) all.push_back(event);
        return all;
    }

private:
    /// One event of a section, or one that was on air.
    struct telling {
        std::uint64_t order = 0;
        std::uint32_t table_id = 0;
        std::uint32_t number = 0;
        std::uint32_t version = 0;
        programme event;
        bool on_air = false;
    };
    static constexpr std::time_t never = 1'000'000'000;

    /// How far two accounts of one event_id are from being the same; `never` where they are not.
    static std::time_t distance(const programme& account, const programme& event) {
        if (!account.is_timed() || !event.is_timed()) return 0;
        if (account.start == event.start) return 0;
        if (account.start >= event.end() || event.start >= account.end()) return never;
        return account.start < event.start ? 1 : account.start - event.start + 1;
    }

    void remember(telling gone) {
        for (auto p = past_.begin(); p != past_.end(); ++p) {
            if (p->event.event_id != gone.event.event_id || p->event.start != gone.event.start) {
                continue;
            }
            supply(gone.event, p->event);
            past_.erase(p);
            break;
        }
        past_.push_back(gone);
        if (past_.size() > service_events::most_past) past_.erase(past_.begin());
    }

    std::vector<telling> newest_first() const {
        std::vector<telling> all = past_;
        all.insert(all.end(), told_.begin(), told_.end());
        std::stable_sort(all.begin(), all.end(),
                         [](const telling& a, const telling& b) { return a.order > b.order; });
        return all;
    }

    std::vector<telling> told_;
    std::vector<telling> past_;
    std::uint64_t order_ = 0;
};

class random_eits {
public:
    explicit random_eits(std::uint32_t seed) : random_(seed) {}

    bytes next() {
        const long_header header = {below(3), 1, below(20), below(24)};
        bytes events;
        for (std::uint8_t left = below(5); left > 0; --left) events = events + some_event();
        constexpr std::uint8_t tables[] = {0x4E, 0x50, 0x51};
        const std::uint8_t table_id = tables[below(3)];
        return table_id == 0x4E
                   ? schedule(events, {header.version_number, 1, below(2), 1}, 1, table_id)
                   : schedule(events, header, below(24), table_id);
    }

private:
    std::uint8_t below(std::uint32_t end) { return static_cast<std::uint8_t>(random_() % end); }

    bytes some_event() {
        constexpr std::uint32_t hours[] = {0x080000, 0x083000, 0x084500, 0x090000, 0x093000,
                                           0x100000, 0x110000, 0x120000, 0x180000, 0xFFFFFF};
        constexpr std::uint32_t durations[] = {0x000000, 0x001500, 0x003000, 0x010000,
                                               0x020000, 0x050000, 0xFFFFFF};
        const std::uint32_t hour = hours[below(10)];
        const auto date = static_cast<std::uint16_t>(hour == 0xFFFFFF ? 0xFFFF : day + below(3));
        const std::string names[] = {"", "Jornal", "Filme", "Novela"};
        const bytes rating = describe_parental_ratings(parental_rating("BRA", below(7)));
        const bytes content = describe_content({below(16), 0});
        return event(below(6), utc_time(date, hour), durations[below(7)], 0, 0,
                     described(names[below(4)], below(2) == 0 ? "" : std::to_string(below(100))) +
                         (below(2) == 0 ? rating : bytes()) + (below(2) == 0 ? content : bytes()));
    }

    std::mt19937 random_;
};

TEST(GuideOfRandomEits, IsThatOfAGuideThatLooksThroughAllItHas) {
    for (std::uint32_t seed = 1; seed <= 20; ++seed) {
        table_reader reader;
        random_eits eits(seed);
        guide quick;
        plain_guide plain;
        for (int i = 1; i <= 300; ++i) {
            const bytes section = eits.next();
            const table_ref table = reader.read(section);
            quick.take(table, reader.section());
            plain.take(table);
            if (i % 10 != 0) continue;
            const guide_contents contents = quick.contents();
            const std::vector<programme> expected = plain.programmes();
            const bool is_same = contents.channels.empty()
                                     ? expected.empty()
                                     : contents.channels[0].programmes == expected;
            ASSERT_TRUE(is_same) << "seed " << seed << ", section " << i << ": "
                                 << testing::PrintToString(expected) << " but "
                                 << testing::PrintToString(contents.channels.empty()
                                                               ? std::vector<programme>()
                                                               : contents.channels[0].programmes);
        }
    }
}

}  // namespace

}  // namespace orvix::broadcast
