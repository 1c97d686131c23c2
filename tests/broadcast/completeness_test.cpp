#include <broadcast/completeness.h>
#include <gmock/gmock.h>
#include <small_broadcast.h>

#include <algorithm>
#include <random>

#include "table_reader.h"

namespace orvix::broadcast {

bool operator==(const missing_part& a, const missing_part& b) {
    return a.table_id == b.table_id && a.service_id == b.service_id && a.day == b.day &&
           a.segments == b.segments && a.sections == b.sections && a.is_all == b.is_all;
}
void PrintTo(const missing_part& part, std::ostream* out) {
    *out << "table " << int(part.table_id) << " of " << part.service_id.value_or(0) << ", day "
         << int(part.day.value_or(255)) << (part.is_all ? ", all" : "") << ", segments "
         << testing::PrintToString(part.segments) << ", sections "
         << testing::PrintToString(part.sections);
}

namespace {

using namespace orvix::test;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;

using numbers = std::vector<std::uint8_t>;

missing_part all_of(std::uint8_t table_id, std::optional<std::uint16_t> service_id = {}) {
    return {table_id, service_id, {}, {}, {}, true};
}
missing_part sections_of(std::uint8_t table_id, std::optional<std::uint16_t> service_id,
                         const numbers& sections) {
    return {table_id, service_id, {}, {}, sections, false};
}

/// A service's entry in an SDT, with its EITs announced as the standards have it.
bytes announcing(std::uint16_t service_id, bool schedule, bool present_following) {
    return section_writer()
        .bits(16, service_id)
        .bits(6, 0x3F)
        .bits(1, schedule ? 1 : 0)
        .bits(1, present_following ? 1 : 0)
        .bits(4, 0)    // running_status, free_CA_mode
        .bits(12, 0);  // descriptors_loop_length
}
bytes sdt_announcing(bool schedule, bool present_following, const long_header& header = {}) {
    return sdt_section(multiplex_id, multiplex_id,
                       announcing(hd_service, schedule, present_following), header);
}

struct schedule_place {
    std::uint8_t section_number = 0;
    std::uint8_t last_section_number = 0;
    std::uint8_t segment_last_section_number = 0;
    std::uint8_t table_id = 0x50;
    std::uint8_t last_table_id = 0x50;
    std::uint8_t version_number = 0;
};
bytes schedule(const schedule_place& at) {
    return eit_section({at.table_id, hd_service, multiplex_id, multiplex_id,
                        at.segment_last_section_number, at.last_table_id},
                       {}, {at.version_number, 1, at.section_number, at.last_section_number});
}
bytes present_following(std::uint8_t section_number, std::uint8_t version_number = 0) {
    return eit_section({0x4E, hd_service, multiplex_id, multiplex_id, 1, 0x4E}, {},
                       {version_number, 1, section_number, 1});
}

class Completeness : public testing::Test {
public:
    Completeness& given(const bytes& section, std::optional<std::uint16_t> pid = {}) {
        const table_ref table = reader_.read(section);
        sighting seen;
        seen.where.pid = pid;
        seen.bytes = reader_.section().begin();
        seen.size = reader_.section().size();
        seen.is_new = true;
        seen.table = &table;
        of_.take(seen);
        return *this;
    }
    /// All but the EITs.
    Completeness& given_tables() {
        return given(pat_section(multiplex_id, program(hd_service, hd_pmt_pid)))
            .given(hd_pmt())
            .given(nit())
            .given(sdt_announcing(false, false));
    }

    std::vector<missing_part> missing() const { return of_.missing().parts; }

    completeness of_;
    table_reader reader_;
};

TEST_F(Completeness, LacksPatNitAndSdtAtFirst) {
    EXPECT_THAT(missing(), ElementsAre(all_of(0x00), all_of(0x40), all_of(0x42)));
    EXPECT_FALSE(of_.is_whole());
}

TEST_F(Completeness, IsThereWhenAllTablesHaveCome) {
    EXPECT_THAT(given_tables().missing(), IsEmpty());
    EXPECT_TRUE(of_.is_whole());
}

TEST_F(Completeness, LacksThePmtsOfThePatsProgrammes) {
    given_tables().given(pat({1}));
    EXPECT_THAT(missing(), ElementsAre(all_of(0x02, mobile_service)));
    EXPECT_THAT(given(mobile_pmt()).missing(), IsEmpty());
}

TEST_F(Completeness, DoesNotAwaitProgrammesThatANewPatNoLongerHas) {
    given_tables().given(pat({1}));
    given(pat_section(multiplex_id, program(hd_service, hd_pmt_pid), {2}));
    EXPECT_THAT(missing(), IsEmpty());
}

TEST_F(Completeness, TakesThePatFromItsPidOnly) {
    given(pat(), 0x0020);
    EXPECT_EQ(missing().at(0), all_of(0x00));
}

TEST_F(Completeness, LacksSectionsOfATableOfSeveral) {
    given_tables().given(sdt_announcing(false, false, {1, 1, 1, 3}));
    EXPECT_THAT(missing(), ElementsAre(sections_of(0x42, {}, {0, 2, 3})));
    given(sdt_announcing(false, false, {1, 1, 0, 3}))
        .given(sdt_announcing(false, false, {1, 1, 2, 3}));
    EXPECT_THAT(missing(), ElementsAre(sections_of(0x42, {}, {3})));
    EXPECT_THAT(given(sdt_announcing(false, false, {1, 1, 3, 3})).missing(), IsEmpty());
}

TEST_F(Completeness, BeginsAnewWithEachVersion) {
    given_tables().given(sdt_announcing(false, false, {1, 1, 0, 1}));
    given(sdt_announcing(false, false, {2, 1, 1, 1}));
    EXPECT_THAT(missing(), ElementsAre(sections_of(0x42, {}, {0})));
}

TEST_F(Completeness, IgnoresSectionsThatAreNotYetValid) {
    given_tables().given(sdt_announcing(true, true, {1, 0, 0, 0}));
    EXPECT_THAT(missing(), IsEmpty());
}

TEST_F(Completeness, LacksEitsThatTheBroadcastAnnouncesNotThoseThatTheReceiverReads) {
    given_tables().given(sdt_announcing(true, false, {1}));
    EXPECT_THAT(missing(), ElementsAre(all_of(0x50, hd_service)));
    given(sdt_announcing(false, true, {2}));
    EXPECT_THAT(missing(), ElementsAre(all_of(0x4E, hd_service)));
    given(sdt_announcing(false, false, {3}));
    EXPECT_THAT(missing(), IsEmpty()) << "the receiver takes the reserved bits for both flags";
}

TEST_F(Completeness, LacksAnEitThatHasBegunToComeUnannounced) {
    given_tables().given(present_following(1));
    EXPECT_THAT(missing(), ElementsAre(sections_of(0x4E, hd_service, {0})));
    EXPECT_THAT(given(present_following(0)).missing(), IsEmpty());
}

TEST_F(Completeness, CountsTheWantedServicesOnly) {
    of_ = completeness({mobile_service});
    given_tables()
        .given(pat({1}))
        .given(sdt_announcing(true, true, {1}))
        .given(present_following(1));
    given(schedule({0, 8, 0}));
    EXPECT_THAT(missing(), ElementsAre(all_of(0x02, mobile_service)));
}

TEST_F(Completeness, CountsASectionThatTheReceiverMustNotBeHanded) {
    given(pat_section(multiplex_id, program(hd_service, hd_pmt_pid))).given(nit());
    given(sdt_announcing(false, false));
    bytes streams;
    for (std::uint16_t pid = 0x0120; pid < 0x0160; ++pid) {
        streams = std::move(streams) + elementary_stream(0x05, pid);
    }
    const bytes pmt = pmt_section(hd_service, 0x0100, {}, streams);
    const auto why = section_feed::check_section(pmt.data(), pmt.size());
    ASSERT_FALSE(why.admitted());
    bytes damaged = pmt;
    damaged.back() ^= 1;
    const auto why_damaged = section_feed::check_section(damaged.data(), damaged.size());
    of_.take({}, {why_damaged, damaged.data(), damaged.size()});
    EXPECT_THAT(missing(), ElementsAre(all_of(0x02, hd_service)));
    of_.take({}, {why, pmt.data(), pmt.size()});
    EXPECT_THAT(missing(), IsEmpty());
}

// --- Schedules ---

TEST_F(Completeness, TellsASparseScheduleFromOneThatIsStillComing) {
    given_tables()
        .given(schedule({0, 24, 0}))
        .given(schedule({8, 24, 9}))
        .given(schedule({24, 24, 24}));
    EXPECT_THAT(missing(), ElementsAre(missing_part{0x50, hd_service, 0, {2}, {9}, false}));
    given(schedule({9, 24, 9})).given(schedule({16, 24, 16}));
    EXPECT_THAT(missing(), IsEmpty());
}

TEST_F(Completeness, SaysWhichDaysOfAScheduleAreMissing) {
    given_tables();
    for (std::uint8_t segment = 0; segment < 20; ++segment) {
        if (segment == 7 || segment == 8 || segment == 17) continue;
        const auto number = static_cast<std::uint8_t>(segment * 8);
        given(schedule({number, 19 * 8, static_cast<std::uint8_t>(number + segment % 2)}));
    }
    EXPECT_THAT(missing(),
                ElementsAre(missing_part{0x50, hd_service, 0, {7}, {9, 25, 41}, false},
                            missing_part{0x50, hd_service, 1, {8}, {73, 89, 105, 121}, false},
                            missing_part{0x50, hd_service, 2, {17}, {153}, false}));
}

TEST_F(Completeness, AwaitsEachTableUpToTheLastOne) {
    given_tables().given(schedule({0, 0, 0, 0x50, 0x52})).given(schedule({0, 8, 0, 0x52, 0x52}));
    EXPECT_THAT(missing(), ElementsAre(all_of(0x51, hd_service),
                                       missing_part{0x52, hd_service, 8, {1}, {}, false}));
}

TEST_F(Completeness, CountsTheExtendedScheduleByItself) {
    given_tables().given(schedule({0, 0, 0, 0x50, 0x50})).given(schedule({0, 8, 0, 0x59, 0x59}));
    EXPECT_THAT(missing(), ElementsAre(all_of(0x58, hd_service),
                                       missing_part{0x59, hd_service, 4, {1}, {}, false}));
}

TEST_F(Completeness, TakesALongScheduleWithoutAnExtendedOneForOne) {
    given_tables();
    for (std::uint8_t id = 0x50; id < 0x58; ++id) given(schedule({0, 0, 0, id, 0x59}));
    given(schedule({0, 8, 0, 0x58, 0x59}));
    EXPECT_THAT(missing(), ElementsAre(missing_part{0x58, hd_service, 32, {1}, {}, false},
                                       all_of(0x59, hd_service)));
}

TEST_F(Completeness, AwaitsNoSegmentsThatHavePassed) {
    given_tables().given(schedule({56, 72, 56})).given(schedule({64, 72, 64}));
    EXPECT_THAT(missing(),
                ElementsAre(missing_part{0x50, hd_service, 0, {0, 1, 2, 3, 4, 5, 6}, {}, false},
                            missing_part{0x50, hd_service, 1, {9}, {}, false}));
    given(tdt_section(utc_time(day, 0x203000)));
    EXPECT_THAT(missing(), ElementsAre(missing_part{0x50, hd_service, 0, {6}, {}, false},
                                       missing_part{0x50, hd_service, 1, {9}, {}, false}));
    EXPECT_EQ(of_.missing().clock, std::int64_t{(day - 40587) * 86400 + 20 * 3600 + 30 * 60});
    given(tdt_section(utc_time(day, 0x210000)));
    EXPECT_THAT(missing(), ElementsAre(missing_part{0x50, hd_service, 1, {9}, {}, false}));
}

TEST_F(Completeness, KeepsToTheSegmentWhateverSectionsSay) {
    given_tables().given(schedule({0, 16, 255})).given(schedule({8, 16, 0}));
    EXPECT_THAT(missing(),
                ElementsAre(missing_part{0x50, hd_service, 0, {2}, {1, 2, 3, 4, 5, 6, 7}, false}));
    given(schedule({16, 16, 16, 0x50, 0xFF}));
    EXPECT_THAT(missing(), SizeIs(1)) << "0xFF is no table of a schedule";
}

// --- Any order ---

class CompletenessOfAnyOrder : public Completeness, public testing::WithParamInterface<unsigned> {
protected:
    std::mt19937 random{GetParam()};
    unsigned pick(unsigned below) { return static_cast<unsigned>(random() % below); }

    /// All sections of a schedule with random sizes, in order.
    std::vector<schedule_place> random_schedule(std::uint8_t version) {
        std::vector<schedule_place> all;
        const auto last_table_id = static_cast<std::uint8_t>(0x50 + pick(3));
        for (std::uint8_t id = 0x50; id <= last_table_id; ++id) {
            const unsigned segments = 1 + pick(32);
            std::vector<schedule_place> table;
            for (unsigned segment = 0; segment < segments; ++segment) {
                const unsigned count = 1 + pick(8);
                for (unsigned n = 0; n < count; ++n) {
                    table.push_back({static_cast<std::uint8_t>(segment * 8 + n), 0,
                                     static_cast<std::uint8_t>(segment * 8 + count - 1), id,
                                     last_table_id, version});
                }
            }
            for (schedule_place& at : table) at.last_section_number = table.back().section_number;
            all.insert(all.end(), table.begin(), table.end());
        }
        return all;
    }

    /// How many of `left_out` are told as missing: alone or with their segment or table.
    void expect_told(const std::vector<schedule_place>& left_out,
                     const std::vector<schedule_place>& came) {
        std::size_t told = 0;
        for (const missing_part& part : missing()) {
            const auto is_in = [&](const schedule_place& at) {
                const auto segment = static_cast<std::uint8_t>(at.section_number / 8);
                return at.table_id == part.table_id &&
                       (part.is_all ||
                        std::count(part.segments.begin(), part.segments.end(), segment) ||
                        std::count(part.sections.begin(), part.sections.end(), at.section_number));
            };
            told +=
                static_cast<std::size_t>(std::count_if(left_out.begin(), left_out.end(), is_in));
            EXPECT_EQ(std::count_if(came.begin(), came.end(), is_in), 0) << "came, and is told";
            EXPECT_GT(std::count_if(left_out.begin(), left_out.end(), is_in), 0) << "of nothing";
            for (const std::uint8_t n : part.sections) {
                EXPECT_TRUE(std::any_of(left_out.begin(), left_out.end(), [&](const auto& at) {
                    return at.table_id == part.table_id && at.section_number == n;
                })) << int(n);
            }
        }
        EXPECT_EQ(told, left_out.size());
    }
};

TEST_P(CompletenessOfAnyOrder, SaysWhatIsMissingAndNothingElse) {
    given_tables();
    // Of a version that passes, some sections come before.
    for (const schedule_place& old : random_schedule(7)) {
        if (old.table_id == 0x50 && pick(2) == 0) given(schedule(old));
    }
    std::vector<schedule_place> came = random_schedule(8);
    std::shuffle(came.begin(), came.end(), random);
    std::vector<schedule_place> left_out;
    for (unsigned holes = pick(6); holes > 0 && came.size() > 1; --holes) {
        left_out.push_back(came.back());
        came.pop_back();
    }
    for (const schedule_place& at : came) {
        given(schedule(at));
        if (pick(3) == 0) given(schedule(came[pick(static_cast<unsigned>(came.size()))]));
    }
    for (const schedule_place& at : came) given(schedule(at));
    expect_told(left_out, came);

    std::shuffle(left_out.begin(), left_out.end(), random);
    for (const schedule_place& at : left_out) {
        EXPECT_FALSE(of_.is_whole());
        given(schedule(at));
    }
    EXPECT_TRUE(of_.is_whole());
}

INSTANTIATE_TEST_SUITE_P(Seeds, CompletenessOfAnyOrder, testing::Range(0u, 50u));

// --- Bounds ---

TEST_F(Completeness, KeepsOnlySoManySchedulesAndServicesAndTheRestStaysMissing) {
    given_tables();
    for (std::uint32_t id = 0; id < 2'100; ++id) {
        const auto service_id = static_cast<std::uint16_t>(id);
        given(eit_section({0x50, service_id, multiplex_id, multiplex_id, 0, 0x50}, {}));
        given(eit_section({0x4E, service_id, multiplex_id, multiplex_id, 0, 0x4E}, {}));
    }
    EXPECT_THAT(of_.bounds(),
                ElementsAre(AllOf(Field(&bound::most, 1'000), Field(&bound::left_out, 1'100)),
                            AllOf(Field(&bound::most, 2'000), Field(&bound::left_out, 100))));
    given(sdt_section(multiplex_id, multiplex_id, announcing(2'099, true, true), {1}));
    EXPECT_THAT(missing(), ElementsAre(all_of(0x4E, 2'099), all_of(0x50, 2'099)));
}

}  // namespace
}  // namespace orvix::broadcast
