#include <broadcast/findings/ledger.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace orvix::broadcast {
namespace {

using testing::ElementsAre;

constexpr finding_subject video = {0x0111, {}, 0};
constexpr finding_subject audio = {0x0112, {}, 0};

std::string nothing_special() { return "it is so"; }

/// A ledger that notes what begins and ends.
class Ledger : public testing::Test {
protected:
    void at(double seconds) {
        moment_of_stream now;
        now.number = static_cast<std::uint64_t>(seconds * 1000);
        now.seconds = seconds;
        kept.set_time(now);
    }
    void occurs(finding_kind kind, const finding_subject& about) {
        kept.occurs({kind, about, {}, {}, {}}, nothing_special);
    }
    void measured(double seconds) {
        kept.occurs({finding_kind::pat_rare, {}, seconds, {}, {}},
                    [seconds] { return std::to_string(seconds); });
    }

    std::vector<std::string> changes;
    ledger kept = ledger({}, [this](const finding& changed) {
        changes.push_back(std::string(rule_of(changed.kind).name) +
                          (changed.in_force ? " begins" : " ends"));
    });
};

TEST_F(Ledger, KeepsAFindingOnceForEachSubject) {
    at(1);
    occurs(finding_kind::continuity, video);
    at(2);
    occurs(finding_kind::continuity, audio);
    at(3);
    occurs(finding_kind::continuity, video);
    const std::vector<finding> told = kept.told();
    ASSERT_EQ(told.size(), 2u);
    EXPECT_EQ(told[0].count, 2u);
    EXPECT_EQ(told[0].first.number, 1000u);
    EXPECT_EQ(told[0].last.number, 3000u);
    EXPECT_EQ(told[0].says(), "it is so, 2 times");
    EXPECT_EQ(told[1].says(), "it is so");
}

TEST_F(Ledger, TellsTheMostSevereFirst) {
    occurs(finding_kind::not_yet_valid, {});
    occurs(finding_kind::bytes_skipped, {});
    occurs(finding_kind::refused, {});
    occurs(finding_kind::sync_lost, {});
    std::vector<std::string_view> names;
    for (const finding& f : kept.told()) names.push_back(rule_of(f.kind).name);
    EXPECT_THAT(names, ElementsAre("sync_lost", "refused", "bytes_skipped", "not_yet_valid"));
}

TEST_F(Ledger, KeepsTheWorstAndItsWords) {
    measured(0.6);
    measured(0.9);
    measured(0.7);
    ASSERT_EQ(kept.told().size(), 1u);
    EXPECT_EQ(kept.told()[0].worst, 0.9);
    EXPECT_EQ(kept.told()[0].what, std::to_string(0.9));
}

TEST_F(Ledger, TakesTheShortestForTheWorstWhereThingsComeTooSoon) {
    for (const double after : {0.020, 0.010, 0.015}) {
        kept.occurs({finding_kind::section_too_soon, {}, after, {}, {}}, nothing_special);
    }
    EXPECT_EQ(kept.told()[0].worst, 0.010);
}

TEST_F(Ledger, EndsWhatHasNotOccurredForLong) {
    at(1);
    occurs(finding_kind::crc, {});
    at(6);
    occurs(finding_kind::crc, {});
    at(16);
    EXPECT_THAT(changes, ElementsAre("crc begins"));
    at(16.1);
    EXPECT_THAT(changes, ElementsAre("crc begins", "crc ends"));
    EXPECT_FALSE(kept.told()[0].in_force);
    occurs(finding_kind::crc, {});
    EXPECT_THAT(changes, ElementsAre("crc begins", "crc ends", "crc begins"));
    EXPECT_EQ(kept.told()[0].count, 3u);
}

TEST_F(Ledger, MakesRoomForOthersWhereWhatHasEndedIsForgotten) {
    std::size_t begun = 0;
    std::size_t in_force = 0;
    ledger followed(
        {},
        [&](const finding& changed) {
            begun += changed.in_force ? 1 : 0;
            changed.in_force ? ++in_force : --in_force;
        },
        ended_findings::forgotten);
    const std::size_t days = 2 * followed.limit().most;
    for (std::size_t day = 1; day <= days; ++day) {
        moment_of_stream now;
        now.seconds = static_cast<double>(day) * 86'400;
        followed.set_time(now);
        followed.occurs({finding_kind::event_gap, {{}, {}, day}, {}, {}, {}}, nothing_special);
    }
    EXPECT_EQ(begun, days);
    EXPECT_EQ(in_force, 1u);
    EXPECT_EQ(followed.told().size(), 1u);
    EXPECT_EQ(followed.limit().left_out, 0u);
}

TEST_F(Ledger, DoesNotEndWhatLasts) {
    at(1);
    kept.begins({finding_kind::pid_missing, video, 5, {}, {}}, nothing_special);
    at(100);
    EXPECT_TRUE(kept.told()[0].in_force);
    kept.worsens({finding_kind::pid_missing, video, 104, {}, {}}, nothing_special);
    kept.ends(finding_kind::pid_missing, video);
    at(111);
    EXPECT_THAT(changes, ElementsAre("pid_missing begins", "pid_missing ends"));
    EXPECT_EQ(kept.told()[0].count, 1u);
    EXPECT_EQ(kept.told()[0].worst, 104);
    EXPECT_EQ(kept.told()[0].last.number, 100'000u);
}

TEST_F(Ledger, EndsWhatBeganTwiceWhenBothHaveEnded) {
    at(1);
    kept.begins({finding_kind::eit_rare, video, 3, {}, {}}, nothing_special);
    kept.begins({finding_kind::eit_rare, video, 3, {}, {}}, nothing_special);
    kept.ends(finding_kind::eit_rare, video);
    at(50);
    EXPECT_TRUE(kept.told()[0].in_force);
    kept.ends(finding_kind::eit_rare, video);
    at(61);
    EXPECT_FALSE(kept.told()[0].in_force);
}

TEST_F(Ledger, EndsWhatAReviewDoesNotFindAnyMore) {
    const auto review = [this](std::initializer_list<finding_subject> twice) {
        kept.begin_review();
        for (const finding_subject& about : twice) {
            kept.stands({finding_kind::component_tag_twice, about, {}, {}, {}}, nothing_special);
        }
        kept.end_review({finding_kind::component_tag_twice});
    };
    at(1);
    occurs(finding_kind::crc, {});
    review({video, audio});
    at(2);
    review({video});
    at(13);
    EXPECT_THAT(changes,
                ElementsAre("crc begins", "component_tag_twice begins",
                            "component_tag_twice begins", "crc ends", "component_tag_twice ends"));
    const std::vector<finding> told = kept.told();
    ASSERT_EQ(told.size(), 3u);
    EXPECT_EQ(told[1].about.pid, video.pid);
    EXPECT_TRUE(told[1].in_force);
    EXPECT_EQ(told[1].count, 1u);
    EXPECT_FALSE(told[2].in_force);
}

TEST_F(Ledger, KeepsNoMoreThanItsBound) {
    const std::size_t most = kept.limit().most;
    for (std::size_t i = 0; i < most + 5; ++i) occurs(finding_kind::crc, {{}, {}, i});
    EXPECT_EQ(kept.told().size(), most);
    EXPECT_EQ(kept.limit().left_out, 5u);
    occurs(finding_kind::crc, {{}, {}, 0});
    EXPECT_EQ(kept.told()[0].count, 2u);

    kept.begin_review();
    kept.stands({finding_kind::component_tag_twice, video, {}, {}, {}}, nothing_special);
    kept.end_review({finding_kind::component_tag_twice});
    EXPECT_EQ(kept.limit().left_out, 6u);
}

TEST_F(Ledger, KnowsEveryRuleByItsName) {
    for (std::size_t i = 0; i < finding_kinds; ++i) {
        const finding_rule& rule = rule_of(static_cast<finding_kind>(i));
        EXPECT_EQ(find_rule(rule.name), &rule) << rule.name;
        EXPECT_FALSE(rule.reference.empty()) << rule.name;
    }
    EXPECT_EQ(find_rule("no_such_finding"), nullptr);
}

TEST(FindingLimits, AreSetByWords) {
    finding_limits limits;
    EXPECT_FALSE(set_limit(limits, "pmt_rare=0.4"));
    EXPECT_EQ(limits.of(finding_kind::pmt_rare), 0.4);
    for (const char* const wrong :
         {"pmt_rare", "pmt_rare=", "pmt_rare=0", "pmt_rare=-1", "pmt_rare=1e9", "pmt_rare=1.2.3",
          "pmt_rare=.", "pmt_rare=1234567890"}) {
        const std::optional<wrong_word> found = set_limit(limits, wrong);
        ASSERT_TRUE(found) << wrong;
        EXPECT_EQ(found->part, wrong);
        EXPECT_EQ(found->why, "is not like pmt_rare=0.4, in seconds above 0");
    }
    for (const char* const wrong : {"no_such=1", "crc=1", "=1"}) {
        const std::optional<wrong_word> found = set_limit(limits, wrong);
        ASSERT_TRUE(found) << wrong;
        EXPECT_EQ(found->part + "=1", wrong);
        EXPECT_EQ(found->why, "is no finding that has a limit");
    }
    EXPECT_EQ(limits.of(finding_kind::pmt_rare), 0.4);
}

}  // namespace
}  // namespace orvix::broadcast
