#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <section_feed/stream_clock.h>
#include <stream_writer.h>

namespace orvix::section_feed {
namespace {

using test::adaptation_field;
using test::bytes;
using test::set_transport_error_indicator;
using test::stream_writer;
using testing::DoubleNear;
using testing::Optional;

constexpr std::uint16_t clock_pid = 0x0111;
constexpr std::uint16_t other_pid = 0x0222;
constexpr std::uint64_t second = 27000000;
constexpr std::uint64_t millisecond = second / 1000;
constexpr std::uint64_t wrap = (std::uint64_t{1} << 33) * 300;

testing::Matcher<std::optional<double>> about(double seconds) {
    return Optional(DoubleNear(seconds, 1e-9));
}

/// A stream with a clock that listens. A packet takes a millisecond unless a PCR says otherwise.
class broadcast {
public:
    broadcast& pcr(std::uint64_t ticks, std::uint16_t pid = clock_pid, bool announcing = false) {
        adaptation_field adaptation;
        adaptation.pcr = ticks % wrap;
        adaptation.discontinuity_indicator = announcing;
        return push(stream_writer().packet(pid, false, {}, adaptation));
    }
    broadcast& announce(std::uint16_t pid = clock_pid) {
        adaptation_field adaptation;
        adaptation.discontinuity_indicator = true;
        return push(stream_writer().packet_without_payload(pid, adaptation));
    }
    broadcast& others(std::size_t packets) {
        for (std::size_t i = 0; i < packets; ++i) push(stream_writer().packet(0x0300, false, {}));
        return *this;
    }
    /// `count` PCRs, `milliseconds` apart, each with so many packets that one takes a millisecond.
    broadcast& steady(std::size_t count, std::uint64_t& ticks, std::size_t milliseconds = 20,
                      std::uint16_t pid = clock_pid) {
        for (std::size_t i = 0; i < count; ++i) {
            others(milliseconds - 1).pcr(ticks += milliseconds * millisecond, pid);
        }
        return *this;
    }
    broadcast& push(const stream_writer& stream) {
        for (const bytes& packet : stream.packets()) {
            const bytes exactly(packet);
            const clock_reference* const found = clock.push({exactly.data(), next++});
            has_reference = found != nullptr;
            if (found != nullptr) last = *found;
            const std::optional<double> seconds = clock.seconds(next - 1);
            EXPECT_TRUE(seconds.has_value() || !seconds_before);
            if (seconds_before) {
                EXPECT_GE(*seconds, *seconds_before) << "packet " << next - 1;
            }
            seconds_before = seconds;
        }
        return *this;
    }
    /// Of the packet pushed last.
    std::optional<double> now() const { return clock.seconds(next - 1); }

    stream_clock clock;
    std::uint64_t next = 0;
    bool has_reference = false;
    clock_reference last;
    std::optional<double> seconds_before;
};

// --- The time ---

TEST(StreamClock, DoesNotRunWithoutPcrs) {
    broadcast b;
    b.others(1000).announce();
    EXPECT_EQ(b.now(), std::nullopt);
    EXPECT_EQ(b.clock.bits_per_second(), std::nullopt);
    EXPECT_EQ(b.clock.pid(), std::nullopt);
    b.pcr(5 * second);
    EXPECT_EQ(b.now(), std::nullopt);
    EXPECT_THAT(b.clock.pid(), Optional(clock_pid));
}

TEST(StreamClock, RunsFromTheSecondPcrAndKnowsThenWhatCameBefore) {
    broadcast b;
    b.others(30).pcr(7 * second).others(19).pcr(7 * second + 20 * millisecond);
    EXPECT_THAT(b.now(), about(0.050));
    EXPECT_THAT(b.clock.seconds(0), about(0));
    EXPECT_THAT(b.clock.seconds(30), about(0.030));
    b.others(500);
    EXPECT_THAT(b.now(), about(0.550));
    EXPECT_THAT(b.clock.seconds(30), about(0.030));
}

TEST(StreamClock, CountsPacketsAtTheRateOfTheLastTwoPcrs) {
    broadcast b;
    b.pcr(0).others(9).pcr(10 * millisecond).others(9).pcr(30 * millisecond).others(5);
    EXPECT_THAT(b.now(), about(0.040));
    EXPECT_THAT(b.clock.bits_per_second(), about(188 * 8 / 0.002));
    EXPECT_THAT(b.clock.seconds(10), about(0.010));
}

TEST(StreamClock, SaysTheTimeThatThePcrsSay) {
    broadcast b;
    std::uint64_t ticks = 123;
    b.pcr(ticks);
    for (unsigned int i = 0; i < 500; ++i) b.others(19).pcr(ticks += (19 + i % 3) * millisecond);
    EXPECT_NEAR(*b.now(), static_cast<double>(ticks - 123) / second, 1e-3);
}

TEST(StreamClock, ReadsEveryBitOfAPcr) {
    for (unsigned int bit = 0; bit < 33; ++bit) {
        const std::uint64_t ticks = (std::uint64_t{1} << bit) * 300 + (bit * 9) % 300;
        EXPECT_EQ(broadcast().pcr(ticks).last.ticks, ticks);
    }
    EXPECT_EQ(broadcast().pcr(299).last.ticks, 299u);
}

TEST(StreamClock, GoesOnWhereThePcrWraps) {
    broadcast b;
    std::uint64_t ticks = wrap - 50 * millisecond;
    b.pcr(ticks).steady(10, ticks);
    EXPECT_GT(ticks, wrap);
    EXPECT_THAT(b.now(), about(0.2));
    EXPECT_FALSE(b.last.jumped);
    EXPECT_NEAR(b.last.by_value, 0.02, 1e-9);
}

TEST(StreamClock, StaysWithinBoundsForAnExtensionThatNoPcrHas) {
    broadcast b;
    b.pcr(wrap - 1);
    stream_writer stream;
    adaptation_field adaptation;
    adaptation.pcr = wrap - 1;
    stream.packet(clock_pid, false, {}, adaptation);
    stream.last_packet()[10] |= 1;  // extension 511
    stream.last_packet()[11] = 0xFF;
    b.push(stream);
    EXPECT_EQ(b.last.ticks, 511u - 300u);
}

TEST(StreamClock, NeverRunsBackWhereAPcrComesEarlyForItsPlace) {
    broadcast b;
    std::uint64_t ticks = 0;
    b.pcr(ticks).steady(5, ticks);
    b.others(59).pcr(ticks += 20 * millisecond);  // 60 ms by its place
    EXPECT_NEAR(*b.now(), 0.159, 1e-9);
    EXPECT_FALSE(b.last.jumped);
    b.steady(5, ticks);
    EXPECT_NEAR(*b.now(), 0.220, 1e-9) << "nothing of it is left";
}

TEST(StreamClock, TakesNoRateFromTwoPcrsThatAreTheSame) {
    broadcast b;
    b.pcr(0).pcr(0);
    EXPECT_EQ(b.now(), std::nullopt);
    b.others(9).pcr(10 * millisecond).pcr(10 * millisecond);
    EXPECT_THAT(b.clock.bits_per_second(), about(188 * 8 / 0.001));
}

TEST(StreamClock, DoesNotBeginWithAJump) {
    broadcast b;
    b.pcr(50 * second).others(19).pcr(52 * second);
    EXPECT_EQ(b.now(), std::nullopt);
    std::uint64_t ticks = 52 * second;
    b.steady(1, ticks);
    EXPECT_THAT(b.now(), about(0.040));

    broadcast announced;
    announced.pcr(0).others(19).pcr(500 * millisecond, clock_pid, true);
    EXPECT_EQ(announced.now(), std::nullopt);

    broadcast slow;
    slow.pcr(0).others(999).pcr(second);
    EXPECT_THAT(slow.now(), about(1));
}

// --- PCRs that count anew ---

TEST(StreamClock, GoesOnAtItsRateOverAnAnnouncedJump) {
    for (const bool with_the_pcr : {true, false}) {
        broadcast b;
        std::uint64_t ticks = 900 * second;
        b.pcr(ticks).steady(10, ticks);
        ticks = 5 * second;
        if (with_the_pcr) {
            b.others(39).pcr(ticks, clock_pid, true);
        } else {
            b.others(20).announce().others(18).pcr(ticks);
        }
        EXPECT_TRUE(b.last.announced);
        EXPECT_FALSE(b.last.jumped);
        EXPECT_THAT(b.now(), about(0.240));
        b.steady(10, ticks);
        EXPECT_FALSE(b.last.announced);
        EXPECT_THAT(b.now(), about(0.440));
    }
}

TEST(StreamClock, GoesOnAtItsRateOverAnUnannouncedJumpEitherWay) {
    for (const std::uint64_t to : {5 * second, 905 * second, 900 * second + 500 * millisecond}) {
        broadcast b;
        std::uint64_t ticks = 900 * second;
        b.pcr(ticks).steady(10, ticks).others(39).pcr(to);
        ticks = to;
        EXPECT_TRUE(b.last.jumped) << to;
        EXPECT_FALSE(b.last.announced) << to;
        EXPECT_THAT(b.now(), about(0.240));
        EXPECT_THAT(b.last.by_place, about(0.040));
        b.steady(10, ticks);
        EXPECT_FALSE(b.last.jumped) << to;
        EXPECT_THAT(b.now(), about(0.440)) << to;
    }
}

TEST(StreamClock, TakesPcrsFarApartForRareNotForJumps) {
    broadcast b;
    std::uint64_t ticks = 0;
    b.pcr(ticks).steady(10, ticks).steady(1, ticks, 700);
    EXPECT_FALSE(b.last.jumped);
    EXPECT_NEAR(b.last.by_value, 0.7, 1e-9);
    EXPECT_THAT(b.last.by_place, about(0.7));
    EXPECT_THAT(b.now(), about(0.9));
}

TEST(StreamClock, ToleratesATenthOfASecondBetweenAPcrAndItsPlace) {
    for (const bool beyond : {false, true}) {
        for (const bool early : {false, true}) {
            broadcast b;
            std::uint64_t ticks = 0;
            b.pcr(ticks).steady(10, ticks);
            const std::uint64_t away = (beyond ? 101 : 99) * millisecond;
            b.others(299).pcr(ticks + 300 * millisecond + (early ? -away : away));
            EXPECT_EQ(b.last.jumped, beyond) << early;
        }
    }
}

TEST(StreamClock, TakesNoPcrWithinATenthOfASecondForAJumpWhateverItsPlace) {
    broadcast b;
    std::uint64_t ticks = 0;
    b.pcr(ticks).steady(10, ticks);
    b.others(999).pcr(ticks += 100 * millisecond);
    EXPECT_FALSE(b.last.jumped);
    EXPECT_THAT(b.clock.bits_per_second(), about(188 * 8 / 0.0001));
}

// --- Which PID is the clock ---

TEST(StreamClock, StaysWithTheFirstOfPidsThatSendAsMany) {
    broadcast b;
    std::uint64_t ticks = 0;
    b.pcr(ticks);
    for (unsigned int i = 0; i < 200; ++i) {
        b.pcr(777 * second + i * 20 * millisecond, other_pid).others(18);
        b.pcr(ticks += 20 * millisecond);
    }
    EXPECT_THAT(b.clock.pid(), Optional(clock_pid));
    EXPECT_THAT(b.now(), about(4));
}

TEST(StreamClock, GoesOnWithAnotherPidWhereTheClockEnds) {
    broadcast b;
    std::uint64_t ticks = 0;
    std::uint64_t others = 777 * second;
    b.pcr(ticks).pcr(others, other_pid).steady(10, ticks);
    b.steady(24, others, 20, other_pid);
    EXPECT_THAT(b.clock.pid(), Optional(clock_pid));
    b.steady(1, others, 20, other_pid);
    EXPECT_THAT(b.clock.pid(), Optional(other_pid));
    EXPECT_THAT(b.now(), about(0.7));
    b.steady(50, others, 40, other_pid);
    EXPECT_THAT(b.now(), about(2.7));
    EXPECT_FALSE(b.last.jumped);
}

TEST(StreamClock, LeavesAPidThatSendsRarelyForABusyOne) {
    broadcast b;
    std::uint64_t ticks = 0;
    std::uint64_t others = 777 * second;
    for (int i = 0; i < 4; ++i) {
        b.pcr(ticks += second);
        b.steady(50, others, 20, other_pid);
        EXPECT_THAT(b.clock.pid(), Optional(other_pid));
    }
    EXPECT_NEAR(*b.now(), 4.004, 0.05);
}

TEST(StreamClock, CountsAnotherPidAnewWhereverTheClockSends) {
    broadcast b;
    std::uint64_t ticks = 0;
    std::uint64_t others = 777 * second;
    for (int i = 0; i < 10; ++i) {
        b.pcr(ticks += 480 * millisecond).steady(24, others, 20, other_pid);
    }
    EXPECT_THAT(b.clock.pid(), Optional(clock_pid));
}

// --- What a PCR says beside the one before ---

TEST(StreamClock, TellsEachPcrOfEachPid) {
    broadcast b;
    std::uint64_t ticks = 0;
    b.pcr(ticks).steady(10, ticks).pcr(50 * second, other_pid);
    EXPECT_TRUE(b.has_reference);
    EXPECT_EQ(b.last.pid, other_pid);
    EXPECT_EQ(b.last.packet_index, 201u);
    EXPECT_EQ(b.last.ticks, 50 * second);
    EXPECT_TRUE(b.last.first);
    EXPECT_EQ(b.last.by_place, std::nullopt);
    b.others(18);
    EXPECT_FALSE(b.has_reference);
    b.pcr(ticks += 20 * millisecond);
    EXPECT_FALSE(b.last.first);
    b.others(29).pcr(50 * second + 50 * millisecond, other_pid);
    EXPECT_EQ(b.last.pid, other_pid);
    EXPECT_FALSE(b.last.first);
    EXPECT_NEAR(b.last.by_value, 0.050, 1e-9);
    EXPECT_THAT(b.last.by_place, about(0.049));
}

TEST(StreamClock, TellsJumpsOfPidsThatAreNotTheClock) {
    broadcast b;
    std::uint64_t ticks = 0;
    b.pcr(ticks).steady(10, ticks).pcr(50 * second, other_pid).steady(1, ticks);
    b.pcr(60 * second, other_pid);
    EXPECT_TRUE(b.last.jumped);
    b.announce(other_pid).pcr(10 * second, other_pid);
    EXPECT_FALSE(b.last.jumped);
    EXPECT_TRUE(b.last.announced);
    EXPECT_THAT(b.clock.pid(), Optional(clock_pid));
}

TEST(StreamClock, KnowsNoPlaceBeforeItRuns) {
    broadcast b;
    b.pcr(0).others(19).pcr(20 * millisecond);
    EXPECT_NEAR(b.last.by_value, 0.020, 1e-9);
    EXPECT_EQ(b.last.by_place, std::nullopt);
    EXPECT_FALSE(b.last.jumped);
}

TEST(StreamClock, PassesOverPacketsWithATransportError) {
    broadcast b;
    std::uint64_t ticks = 0;
    b.pcr(ticks).steady(10, ticks);
    adaptation_field adaptation;
    adaptation.pcr = 900 * second;
    adaptation.discontinuity_indicator = true;
    stream_writer stream;
    stream.packet(clock_pid, false, {}, adaptation);
    set_transport_error_indicator(stream.last_packet());
    b.others(18).push(stream);
    EXPECT_FALSE(b.has_reference);
    b.pcr(ticks += 20 * millisecond);
    EXPECT_FALSE(b.last.announced);
    EXPECT_THAT(b.now(), about(0.220));
}

TEST(StreamClock, FindsNoPcrWhereTheAdaptationFieldIsTooShortForOne) {
    for (const unsigned int length : {0u, 1u, 6u}) {
        stream_writer stream;
        stream.packet(clock_pid, false,
                      bytes{static_cast<std::uint8_t>(length), 0x90, 0, 0, 0, 0, 0, 0});
        stream.last_packet()[3] |= 0x20;
        EXPECT_FALSE(broadcast().push(stream).has_reference) << length;
        stream.last_packet()[4] = 7;
        EXPECT_TRUE(broadcast().push(stream).has_reference);
        stream.last_packet()[3] &= 0xDF;
        EXPECT_FALSE(broadcast().push(stream).has_reference);
    }
}

}  // namespace
}  // namespace orvix::section_feed
