#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <section_feed/section_collector.h>
#include <section_writer.h>
#include <stream_writer.h>

#include <algorithm>
#include <stdexcept>

#include "sized_sections.h"

namespace orvix::section_feed {
namespace {

using test::adaptation_field;
using test::bytes;
using test::layout;
using test::long_section;
using test::packet_bytes;
using test::section_writer;
using test::set_transport_error_indicator;
using test::set_transport_scrambling_control;
using test::short_section;
using test::sized_eit;
using test::sized_pat;
using test::stream_writer;
using test::operator+;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint16_t pid = 0x0123;
constexpr std::size_t payload_bytes = 184;

bytes part(const bytes& whole, std::size_t from, std::size_t to) {
    return bytes(whole.data() + from, whole.data() + to);
}

/// A payload that starts with a pointer_field.
bytes pointed(std::size_t pointer_field, const bytes& payload) {
    return bytes{static_cast<std::uint8_t>(pointer_field)} + payload;
}

/// A collector with what came out of it.
class receiver {
public:
    explicit receiver(gate_options options = {})
        : collector([this](const section& s) { take(s, sections); },
                    [this](const section& s, const gate_result& why) {
                        take(s, refused);
                        verdicts_seen.push_back(why.why);
                    },
                    options) {
        collector.follow(pid);
    }

    receiver& push(const stream_writer& stream) {
        for (const bytes& packet : stream.packets()) {
            const bytes exactly(packet);
            collector.push({exactly.data(), index++});
        }
        return *this;
    }
    receiver& finish() {
        collector.finish();
        return *this;
    }
    pid_counts counts(std::uint16_t of = pid) const { return collector.counts().at(of); }
    std::uint64_t dropped(drop_reason reason) const {
        return counts().dropped[static_cast<std::size_t>(reason)];
    }
    std::uint64_t refused_as(verdict why) const {
        return counts().refused[static_cast<std::size_t>(why)];
    }
    /// The one reason for which something was dropped, and how often.
    std::vector<std::pair<std::string, std::uint64_t>> drops() const {
        std::vector<std::pair<std::string, std::uint64_t>> result;
        for (std::size_t i = 0; i < drop_reasons; ++i) {
            if (counts().dropped[i] != 0) {
                result.emplace_back(to_string(static_cast<drop_reason>(i)), counts().dropped[i]);
            }
        }
        return result;
    }

    std::vector<bytes> sections;
    std::vector<bytes> refused;
    std::vector<verdict> verdicts_seen;
    std::vector<std::uint16_t> pids;
    std::vector<std::uint64_t> packet_indices;
    std::uint64_t index = 0;
    section_collector collector;

private:
    void take(const section& s, std::vector<bytes>& list) {
        list.emplace_back(s.bytes, s.bytes + s.size);
        EXPECT_EQ(s.bytes[s.size], 0) << "the spare byte";
        pids.push_back(s.pid);
        packet_indices.push_back(s.packet_index);
    }
};

auto drop(const char* reason, std::uint64_t times) { return testing::Pair(reason, times); }

// --- Sections in packets ---

TEST(SectionCollector, HandsOutASectionWithItsPidAndPacket) {
    receiver r;
    r.push(stream_writer().null_packets(3).section(pid, sized_pat(1)));
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(1)));
    EXPECT_THAT(r.pids, ElementsAre(pid));
    EXPECT_THAT(r.packet_indices, ElementsAre(3));
    EXPECT_EQ(r.counts().admitted, 1u);
    EXPECT_EQ(r.counts().packets, 1u);
    EXPECT_THAT(r.finish().drops(), IsEmpty());
}

TEST(SectionCollector, PutsASectionOfManyPacketsTogether) {
    receiver r;
    r.push(stream_writer().section(pid, sized_pat(1, 1000)));
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(1, 1000)));
    EXPECT_THAT(r.packet_indices, ElementsAre(5));
    EXPECT_THAT(r.finish().drops(), IsEmpty());
}

TEST(SectionCollector, TakesSeveralSectionsFromOnePacket) {
    receiver r;
    r.push(stream_writer().sections(pid, {sized_pat(1), sized_pat(2, 24), sized_pat(3)}));
    EXPECT_EQ(r.index, 1u);
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(1), sized_pat(2, 24), sized_pat(3)));
}

TEST(SectionCollector, PutsSectionsOfEverySizeTogetherPackedOrNot) {
    for (const layout how : {layout::packed, layout::one_per_packet}) {
        std::vector<bytes> sent;
        for (std::size_t size = 12; size <= 1024; size += 4) {
            sent.push_back(sized_pat(static_cast<std::uint16_t>(size), size));
        }
        for (std::size_t size = 170; size <= 380; ++size) {
            sent.push_back(sized_eit(static_cast<std::uint16_t>(size), size));
        }
        receiver r;
        r.push(stream_writer().sections(pid, sent, how)).finish();
        EXPECT_EQ(r.sections, sent);
        EXPECT_THAT(r.drops(), IsEmpty());
    }
}

TEST(SectionCollector, TakesSectionsOfUpTo4096Bytes) {
    for (std::size_t size = 4090; size <= 4096; ++size) {
        receiver r;
        r.push(stream_writer().sections(pid, {sized_eit(1, size), sized_pat(2)})).finish();
        EXPECT_THAT(r.sections, ElementsAre(sized_eit(1, size), sized_pat(2))) << size;
        EXPECT_THAT(r.drops(), IsEmpty()) << size;
    }
}

TEST(SectionCollector, DropsASectionLengthAbove4093AndGoesOnAtTheNextPointer) {
    for (const std::size_t section_length : {4094u, 4095u}) {
        const bytes too_long = section_writer()
                                   .bits(8, 0x50)
                                   .bits(4, 0xF)
                                   .bits(12, section_length)
                                   .append(bytes(section_length, 0x11));
        receiver r;
        r.push(stream_writer().sections(pid, {too_long, sized_pat(1)})).finish();
        EXPECT_THAT(r.sections, ElementsAre(sized_pat(1)));
        EXPECT_THAT(r.refused, IsEmpty());
        EXPECT_THAT(r.drops(), ElementsAre(drop("bad_length", 1)));
    }
}

TEST(SectionCollector, PutsAHeaderTogetherThatPacketsSplit) {
    for (const std::size_t first : {1u, 2u, 3u}) {
        const bytes filler = sized_eit(1, payload_bytes - 1 - first);
        receiver r;
        r.push(stream_writer().sections(pid, {filler, sized_pat(2, 400)})).finish();
        EXPECT_THAT(r.sections, ElementsAre(filler, sized_pat(2, 400))) << first;
    }
}

TEST(SectionCollector, PutsAHeaderTogetherThatComesByteByByte) {
    const bytes section = sized_pat(1);
    receiver r;
    stream_writer stream;
    for (std::size_t at = 0; at < section.size(); ++at) {
        adaptation_field adaptation;
        const bytes payload = at == 0 ? pointed(0, part(section, 0, 1)) : part(section, at, at + 1);
        adaptation.stuffing_bytes = payload_bytes - payload.size() - 2;
        stream.packet(pid, at == 0, payload, adaptation);
    }
    EXPECT_THAT(r.push(stream).sections, ElementsAre(section));
}

TEST(SectionCollector, IgnoresWhatFollowsStuffing) {
    receiver r;
    r.push(stream_writer()
               .packet(pid, true, pointed(0, sized_pat(1) + bytes{0xFF} + sized_pat(2)))
               .packet(pid, false, sized_pat(3)));
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(1)));
    EXPECT_THAT(r.finish().drops(), IsEmpty());
}

TEST(SectionCollector, TakesASectionThatBeginsInATailWithoutAPointer) {
    const bytes first = sized_eit(1, payload_bytes - 1 + 100);
    const bytes second = sized_pat(2, 200);
    const bytes packed = first + second;
    receiver r;
    r.push(stream_writer()
               .packet(pid, true, pointed(0, part(packed, 0, 183)))
               .packet(pid, false, part(packed, 183, 183 + 184))
               .packet(pid, false, part(packed, 183 + 184, packed.size())));
    EXPECT_THAT(r.sections, ElementsAre(first, second));
    EXPECT_THAT(r.finish().drops(), IsEmpty());
}

TEST(SectionCollector, WaitsForAPointerToBegin) {
    receiver r;
    r.push(stream_writer().packet(pid, false, sized_pat(1)).section(pid, sized_pat(2)));
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(2)));
}

// --- The pointer_field ---

TEST(SectionCollector, FollowsThePointerFieldUpToTheLastByte) {
    for (std::size_t pointer_field = 0; pointer_field <= 182; ++pointer_field) {
        const bytes section = sized_pat(1, 300);
        const std::size_t here = payload_bytes - 1 - pointer_field;
        receiver r;
        r.push(
            stream_writer()
                .packet(pid, true,
                        pointed(pointer_field, bytes(pointer_field, 0x22) + part(section, 0, here)))
                .packet(pid, false, part(section, here, std::min<std::size_t>(here + 184, 300)))
                .packet(pid, false, part(section, std::min<std::size_t>(here + 184, 300), 300)));
        EXPECT_THAT(r.sections, ElementsAre(section)) << pointer_field;
        EXPECT_THAT(r.finish().drops(), IsEmpty()) << pointer_field;
    }
}

TEST(SectionCollector, DropsAPacketWhosePointerFieldLeadsPastIt) {
    for (std::size_t pointer_field = 183; pointer_field <= 255; ++pointer_field) {
        receiver r;
        r.push(stream_writer()
                   .packet(pid, true, pointed(pointer_field, bytes(183, 0)))
                   .section(pid, sized_pat(1)));
        EXPECT_THAT(r.sections, ElementsAre(sized_pat(1))) << pointer_field;
        EXPECT_THAT(r.finish().drops(), ElementsAre(drop("bad_pointer", 1))) << pointer_field;
    }
}

TEST(SectionCollector, LosesTheUnfinishedSectionToABadPointer) {
    const bytes section = sized_pat(1, 300);
    receiver r;
    r.push(stream_writer()
               .packet(pid, true, pointed(0, part(section, 0, 183)))
               .packet(pid, true, pointed(183, part(section, 183, 300)))
               .packet(pid, false, part(section, 183, 300)));
    EXPECT_THAT(r.finish().sections, IsEmpty());
    EXPECT_THAT(r.drops(), ElementsAre(drop("bad_pointer", 1)));
}

TEST(SectionCollector, JudgesThePointerFieldByThePayloadThatIsThere) {
    adaptation_field adaptation;
    adaptation.stuffing_bytes = 181;  // leaves one byte of payload
    receiver r;
    r.push(stream_writer().packet(pid, true, {0}, adaptation).section(pid, sized_pat(1)));
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(1)));
    EXPECT_THAT(r.finish().drops(), ElementsAre(drop("bad_pointer", 1)));
}

TEST(SectionCollector, DropsASectionThatANewOneInterrupts) {
    receiver r;
    r.push(stream_writer()
               .packet(pid, true, pointed(0, part(sized_pat(1, 300), 0, 183)))
               .section(pid, sized_pat(2)));
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(2)));
    EXPECT_THAT(r.drops(), ElementsAre(drop("unfinished", 1)));
}

TEST(SectionCollector, DropsASectionThatThePointerFieldLeavesTooFewBytes) {
    const bytes first = sized_pat(1, 300);
    receiver r;
    r.push(stream_writer()
               .packet(pid, true, pointed(0, part(first, 0, 183)))
               .packet(pid, true, pointed(116, part(first, 183, 299) + sized_pat(2))));
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(2)));
    EXPECT_THAT(r.drops(), ElementsAre(drop("unfinished", 1)));
}

TEST(SectionCollector, TakesASectionThatEndsBeforeThePointerSays) {
    const bytes first = sized_pat(1, 300);
    receiver r;
    r.push(stream_writer()
               .packet(pid, true, pointed(0, part(first, 0, 183)))
               .packet(pid, true,
                       pointed(127, part(first, 183, 300) + bytes(10, 0xFF) + sized_pat(2))));
    EXPECT_THAT(r.sections, ElementsAre(first, sized_pat(2)));
    EXPECT_THAT(r.drops(), IsEmpty());
}

TEST(SectionCollector, CountsTheSectionThatTheEndCuts) {
    receiver r;
    r.push(stream_writer().packet(pid, true, pointed(0, part(sized_pat(1, 300), 0, 183)))).finish();
    EXPECT_THAT(r.sections, IsEmpty());
    EXPECT_THAT(r.drops(), ElementsAre(drop("unfinished", 1)));
    EXPECT_THAT(r.finish().drops(), ElementsAre(drop("unfinished", 1)));
}

TEST(SectionCollector, BeginsAnewAfterTheEnd) {
    receiver r;
    r.push(stream_writer().section(pid, sized_pat(1))).finish();
    r.push(stream_writer().skip_counter(pid, 9).section(pid, sized_pat(2))).finish();
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(1), sized_pat(2)));
    EXPECT_THAT(r.drops(), IsEmpty());
}

// --- The continuity_counter ---

TEST(SectionCollector, FollowsTheCounterAroundItsWrap) {
    const bytes section = sized_eit(1, 4096);  // 23 packets
    receiver r;
    r.push(stream_writer().sections(pid, {section, section, section})).finish();
    EXPECT_THAT(r.sections, ElementsAre(section, section, section));
    EXPECT_THAT(r.drops(), IsEmpty());
}

TEST(SectionCollector, DropsTheSectionOfWhichAPacketWasLost) {
    for (const std::size_t lost : {1u, 2u, 3u, 4u, 5u}) {
        stream_writer stream;
        stream.section(pid, sized_pat(1, 1000)).section(pid, sized_pat(2));
        stream.packets().erase(stream.packets().begin() + static_cast<std::ptrdiff_t>(lost));
        receiver r;
        r.push(stream).finish();
        EXPECT_THAT(r.sections, ElementsAre(sized_pat(2))) << lost;
        EXPECT_THAT(r.drops(), ElementsAre(drop("discontinuity", 1))) << lost;
    }
}

TEST(SectionCollector, TakesTheSectionsBehindThePointerOfThePacketThatJumps) {
    stream_writer stream;
    stream.sections(pid, {sized_pat(1, 400), sized_pat(2), sized_pat(3)});
    stream.packets().erase(stream.packets().begin() + 1);
    receiver r;
    r.push(stream).finish();
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(2), sized_pat(3)));
    EXPECT_THAT(r.drops(), ElementsAre(drop("discontinuity", 1)));
}

TEST(SectionCollector, TakesARepeatedPacketOnce) {
    const bytes section = sized_pat(1, 300);
    receiver r;
    r.push(stream_writer()
               .packet(pid, true, pointed(0, part(section, 0, 183)))
               .duplicate_packet()
               .packet(pid, false, part(section, 183, 300))
               .duplicate_packet()
               .section(pid, sized_pat(2))
               .duplicate_packet())
        .finish();
    EXPECT_THAT(r.sections, ElementsAre(section, sized_pat(2)));
    EXPECT_THAT(r.drops(), IsEmpty());
    EXPECT_EQ(r.counts().packets, 6u);
}

TEST(SectionCollector, TakesARepeatedPacketOnceThoughItsClockMovesOn) {
    adaptation_field early;
    early.pcr = 27000000;
    adaptation_field late;
    late.pcr = 27000300;
    receiver r;
    r.push(stream_writer()
               .packet(pid, true, pointed(0, sized_pat(1)), early)
               .skip_counter(pid, 15)
               .packet(pid, true, pointed(0, sized_pat(1)), late));
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(1)));
    EXPECT_THAT(r.drops(), IsEmpty());
}

TEST(SectionCollector, CountsAPacketThatComesAThirdTime) {
    receiver r;
    r.push(stream_writer().section(pid, sized_pat(1)).duplicate_packet().duplicate_packet());
    EXPECT_THAT(r.drops(), ElementsAre(drop("discontinuity", 1)));
}

TEST(SectionCollector, CountsARepeatedCounterWithAnotherPayload) {
    receiver r;
    r.push(stream_writer()
               .section(pid, sized_pat(1))
               .skip_counter(pid, 15)
               .section(pid, sized_pat(2)));
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(1), sized_pat(2)));
    EXPECT_THAT(r.drops(), ElementsAre(drop("discontinuity", 1)));
}

TEST(SectionCollector, CountsARepeatedCounterWhereOnlyOnePacketStartsAUnit) {
    receiver r;
    r.push(stream_writer()
               .packet(pid, true, pointed(0, sized_pat(1)))
               .skip_counter(pid, 15)
               .packet(pid, false, pointed(0, sized_pat(1))));
    EXPECT_THAT(r.drops(), ElementsAre(drop("discontinuity", 1)));
}

TEST(SectionCollector, FindsNoAnnouncementInAnEmptyAdaptationField) {
    stream_writer stream;
    stream.section(pid, sized_pat(1)).skip_counter(pid, 5);
    stream.packet(pid, true, bytes{0} + pointed(0x80, bytes(0x80, 0) + sized_pat(2)));
    stream.last_packet()[3] |= 0x20;  // the first 0 is adaptation_field_length
    receiver r;
    EXPECT_THAT(r.push(stream).sections, ElementsAre(sized_pat(1), sized_pat(2)));
    EXPECT_THAT(r.drops(), ElementsAre(drop("discontinuity", 1)));
}

TEST(SectionCollector, GoesOnBehindPacketsWithoutPayload) {
    const bytes section = sized_pat(1, 300);
    receiver r;
    r.push(stream_writer()
               .packet(pid, true, pointed(0, part(section, 0, 183)))
               .packet_without_payload(pid)
               .packet_without_payload(pid)
               .packet(pid, false, part(section, 183, 300)))
        .finish();
    EXPECT_THAT(r.sections, ElementsAre(section));
    EXPECT_THAT(r.drops(), IsEmpty());
}

TEST(SectionCollector, AllowsAnAnnouncedJumpBetweenSections) {
    adaptation_field announcing;
    announcing.discontinuity_indicator = true;
    receiver r;
    r.push(stream_writer()
               .section(pid, sized_pat(1))
               .skip_counter(pid, 5)
               .sections(pid, {sized_pat(2)}, layout::packed, announcing))
        .finish();
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(1), sized_pat(2)));
    EXPECT_THAT(r.drops(), IsEmpty());
}

TEST(SectionCollector, LosesTheSectionThatAnAnnouncedJumpCuts) {
    adaptation_field announcing;
    announcing.discontinuity_indicator = true;
    receiver r;
    r.push(stream_writer()
               .packet(pid, true, pointed(0, part(sized_pat(1, 300), 0, 183)))
               .skip_counter(pid, 5)
               .sections(pid, {sized_pat(2)}, layout::packed, announcing))
        .finish();
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(2)));
    EXPECT_THAT(r.drops(), ElementsAre(drop("unfinished", 1)));
}

TEST(SectionCollector, DoesNotJoinASectionOverAnAnnouncedJump) {
    adaptation_field announcing;
    announcing.discontinuity_indicator = true;
    const bytes section = sized_pat(1, 300);
    for (const bool with_payload : {true, false}) {
        stream_writer stream;
        stream.packet(pid, true, pointed(0, part(section, 0, 183))).skip_counter(pid, 5);
        if (!with_payload) stream.packet_without_payload(pid, announcing);
        stream.packet(pid, false, part(section, 183, 300), announcing);
        if (!with_payload) stream.last_packet()[5] = 0;  // announced already
        receiver r;
        r.push(stream).finish();
        EXPECT_THAT(r.sections, IsEmpty());
        EXPECT_THAT(r.drops(), ElementsAre(drop("unfinished", 1)));
    }
}

TEST(SectionCollector, KeepsTheSectionWhereAnAnnouncedJumpDoesNotCome) {
    adaptation_field announcing;
    announcing.discontinuity_indicator = true;
    const bytes section = sized_pat(1, 1000);
    receiver r;
    r.push(stream_writer().sections(pid, {section}, layout::packed, announcing)).finish();
    EXPECT_THAT(r.sections, ElementsAre(section));
    EXPECT_THAT(r.drops(), IsEmpty());
}

TEST(SectionCollector, TakesTheCounterFromAPacketWithoutPayloadThatAnnouncesAJump) {
    adaptation_field announcing;
    announcing.discontinuity_indicator = true;
    receiver r;
    r.push(stream_writer()
               .section(pid, sized_pat(1))
               .skip_counter(pid, 5)
               .packet_without_payload(pid, announcing)
               .section(pid, sized_pat(2)))
        .finish();
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(1), sized_pat(2)));
    EXPECT_THAT(r.drops(), IsEmpty());
}

TEST(SectionCollector, KeepsCountersOfPidsApart) {
    const std::uint16_t other = 0x0456;
    stream_writer a;
    stream_writer b;
    a.section(pid, sized_pat(1, 1000));
    b.section(other, sized_pat(2, 1000));
    receiver r;
    r.collector.follow(other);
    for (std::size_t i = 0; i < a.packets().size(); ++i) {
        r.collector.push({a.packets()[i].data(), 2 * i});
        r.collector.push({b.packets()[i].data(), 2 * i + 1});
    }
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(1, 1000), sized_pat(2, 1000)));
    EXPECT_THAT(r.pids, ElementsAre(pid, other));
}

// --- Packets that are dropped ---

TEST(SectionCollector, DropsPacketsWithATransportError) {
    stream_writer stream;
    stream.section(pid, sized_pat(1));
    set_transport_error_indicator(stream.last_packet());
    receiver r;
    r.push(stream).finish();
    EXPECT_THAT(r.sections, IsEmpty());
    EXPECT_THAT(r.drops(), ElementsAre(drop("transport_error", 1)));
}

TEST(SectionCollector, DoesNotJoinASectionOverAPacketWithATransportError) {
    stream_writer stream;
    stream.section(pid, sized_pat(1, 1000)).section(pid, sized_pat(2));
    set_transport_error_indicator(stream.packets()[2]);
    receiver r;
    r.push(stream).finish();
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(2)));
    EXPECT_THAT(r.refused, IsEmpty());
    EXPECT_THAT(r.drops(), ElementsAre(drop("transport_error", 1), drop("discontinuity", 1)));
}

TEST(SectionCollector, DropsScrambledPackets) {
    for (const unsigned int control : {1u, 2u, 3u}) {
        stream_writer stream;
        stream.section(pid, sized_pat(1));
        set_transport_scrambling_control(stream.last_packet(), control);
        receiver r;
        r.push(stream).finish();
        EXPECT_THAT(r.sections, IsEmpty());
        EXPECT_THAT(r.drops(), ElementsAre(drop("scrambled", 1)));
    }
}

TEST(SectionCollector, DropsPacketsWhoseAdaptationFieldLeavesNoPayload) {
    for (const unsigned int length : {183u, 184u, 255u}) {
        stream_writer stream;
        stream.section(pid, sized_pat(1));
        bytes& packet = stream.last_packet();
        packet[3] |= 0x20;  // adaptation field and payload
        packet[4] = static_cast<std::uint8_t>(length);
        receiver r;
        r.push(stream).finish();
        EXPECT_THAT(r.sections, IsEmpty()) << length;
        EXPECT_THAT(r.drops(), ElementsAre(drop("bad_adaptation", 1))) << length;
    }
}

TEST(SectionCollector, ReadsThePayloadBehindAnAdaptationFieldOfAnyLength) {
    for (std::size_t stuffing = 0; stuffing <= 180; ++stuffing) {
        adaptation_field adaptation;
        adaptation.stuffing_bytes = stuffing;
        receiver r;
        r.push(stream_writer().sections(pid, {sized_pat(1, 40)}, layout::packed, adaptation))
            .finish();
        EXPECT_THAT(r.sections, ElementsAre(sized_pat(1, 40))) << stuffing;
    }
}

TEST(SectionCollector, ReadsThePayloadBehindAnEmptyAdaptationField) {
    stream_writer stream;
    stream.packet(pid, true, bytes{0} + pointed(0, sized_pat(1)));  // adaptation_field_length 0
    stream.last_packet()[3] |= 0x20;
    EXPECT_THAT(receiver().push(stream).sections, ElementsAre(sized_pat(1)));
}

TEST(SectionCollector, DoesNotJoinASectionOverADroppedPacket) {
    stream_writer stream;
    stream.section(pid, sized_pat(1, 1000)).section(pid, sized_pat(2));
    set_transport_scrambling_control(stream.packets()[2], 2);
    receiver r;
    r.push(stream).finish();
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(2)));
    EXPECT_THAT(r.refused, IsEmpty());
    EXPECT_THAT(r.drops(), ElementsAre(drop("scrambled", 1), drop("discontinuity", 1)));
}

// --- The gate ---

TEST(SectionCollector, RefusesAndCountsAWrongCrc) {
    bytes wrong = sized_pat(1);
    wrong.back() ^= 1;
    receiver r;
    r.push(stream_writer().sections(pid, {wrong, sized_pat(2)}));
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(2)));
    EXPECT_THAT(r.refused, ElementsAre(wrong));
    EXPECT_THAT(r.verdicts_seen, ElementsAre(verdict::crc_mismatch));
    EXPECT_EQ(r.refused_as(verdict::crc_mismatch), 1u);
    EXPECT_EQ(r.counts().admitted, 1u);
}

TEST(SectionCollector, TakesAWrongCrcWhenItIsNotChecked) {
    bytes wrong = sized_pat(1);
    wrong.back() ^= 1;
    gate_options options;
    options.check_crc = false;
    receiver r(options);
    EXPECT_THAT(r.push(stream_writer().section(pid, wrong)).sections, ElementsAre(wrong));
}

TEST(SectionCollector, RefusesSectionsOfOtherTablesAndTooShortOnes) {
    const bytes other_table = long_section(0x90, 1, bytes(20, 0));
    const bytes empty = short_section(0x00, {});
    receiver r;
    r.push(stream_writer().sections(pid, {other_table, empty, sized_pat(1)}));
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(1)));
    EXPECT_THAT(r.refused, ElementsAre(other_table, empty));
    EXPECT_EQ(r.refused_as(verdict::not_decoded), 1u);
    EXPECT_EQ(r.refused_as(verdict::too_short), 1u);
}

TEST(SectionCollector, CountsRefusalsThatNobodyListensTo) {
    section_collector collector([](const section&) {});
    collector.follow(pid);
    const stream_writer stream = stream_writer().section(pid, long_section(0x90, 1, {}));
    collector.push({stream.packets()[0].data(), 0});
    EXPECT_EQ(collector.counts()[pid].refused[static_cast<std::size_t>(verdict::not_decoded)], 1u);
}

// --- Following ---

TEST(SectionCollector, LooksAtFollowedPidsOnly) {
    receiver r;
    r.push(
        stream_writer().section(0x0456, sized_pat(1)).null_packets(5).section(pid, sized_pat(2)));
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(2)));
    EXPECT_EQ(r.collector.counts().size(), 1u);
}

TEST(SectionCollector, KnowsWhichPidsItFollows) {
    section_collector collector([](const section&) {});
    EXPECT_FALSE(collector.follows(0x1FFF));
    collector.follow(0x1FFF);
    EXPECT_TRUE(collector.follows(0x1FFF));
    collector.unfollow(0x1FFF);
    collector.unfollow(0x0001);
    EXPECT_FALSE(collector.follows(0x1FFF));
    EXPECT_FALSE(collector.follows(0x2000));
    EXPECT_THROW(collector.follow(0x2000), std::out_of_range);
    EXPECT_EQ(collector.counts().size(), 1u);
}

TEST(SectionCollector, DropsTheUnfinishedSectionOfAPidThatIsUnfollowed) {
    const bytes section = sized_pat(1, 300);
    receiver r;
    r.push(stream_writer()
               .section(pid, sized_pat(7))
               .packet(pid, true, pointed(0, part(section, 0, 183))));
    r.collector.unfollow(pid);
    r.collector.follow(pid);
    r.push(stream_writer().skip_counter(pid, 2).packet(pid, false, part(section, 183, 300)))
        .finish();
    EXPECT_THAT(r.sections, ElementsAre(sized_pat(7)));
    EXPECT_THAT(r.drops(), IsEmpty());
    EXPECT_EQ(r.counts().admitted, 1u);
    EXPECT_EQ(r.counts().packets, 3u);
}

TEST(SectionCollector, LeavesAPidAloneThatIsFollowedTwice) {
    const bytes section = sized_pat(1, 300);
    receiver r;
    stream_writer stream;
    stream.section(pid, section);
    r.collector.push({stream.packets()[0].data(), 0});
    r.collector.follow(pid);
    r.collector.push({stream.packets()[1].data(), 1});
    EXPECT_THAT(r.sections, ElementsAre(section));
}

TEST(SectionCollector, LetsAHandlerFollowPids) {
    std::vector<std::uint16_t> pids;
    section_collector* self = nullptr;
    section_collector collector([&](const section& s) {
        pids.push_back(s.pid);
        self->follow(static_cast<std::uint16_t>(s.pid + 1));
    });
    self = &collector;
    collector.follow(0x100);
    stream_writer stream;
    for (std::uint16_t next = 0x100; next < 0x110; ++next) stream.section(next, sized_pat(next));
    for (const bytes& packet : stream.packets()) collector.push({packet.data(), 0});
    EXPECT_EQ(pids.size(), 16u);
}

TEST(SectionCollector, StopsInThePacketWhenAHandlerUnfollowsItsPid) {
    // The first section ends before a pointer_field's place, or behind it.
    for (const std::size_t first : {300u, 16u}) {
        for (const bool follow_again : {false, true}) {
            int calls = 0;
            section_collector* self = nullptr;
            section_collector collector([&](const section& s) {
                ++calls;
                self->unfollow(s.pid);
                if (follow_again) self->follow(s.pid);
            });
            self = &collector;
            collector.follow(pid);
            stream_writer stream;
            stream.sections(pid, {sized_pat(1, first), sized_pat(2), sized_pat(3)});
            for (const bytes& packet : stream.packets()) collector.push({packet.data(), 0});
            EXPECT_EQ(calls, 1) << first << ", " << follow_again;
            stream = stream_writer().section(pid, sized_pat(4));
            collector.push({stream.packets()[0].data(), 0});
            EXPECT_EQ(calls, follow_again ? 2 : 1) << first;
        }
    }
}

TEST(SectionCollector, GoesOnAfterAHandlerThrew) {
    bool throws = true;
    std::vector<bytes> sections;
    section_collector collector([&](const section& s) {
        if (throws) throw std::runtime_error("from the handler");
        sections.emplace_back(s.bytes, s.bytes + s.size);
    });
    collector.follow(pid);
    stream_writer stream;
    stream.section(pid, sized_pat(1)).section(pid, sized_pat(2, 300));
    EXPECT_THROW(collector.push({stream.packets()[0].data(), 0}), std::runtime_error);
    throws = false;
    collector.push({stream.packets()[1].data(), 1});
    collector.push({stream.packets()[2].data(), 2});
    EXPECT_THAT(sections, ElementsAre(sized_pat(2, 300)));
    EXPECT_EQ(collector.counts()[pid].admitted, 2u);
}

TEST(SectionCollector, NamesEveryReason) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < drop_reasons; ++i) {
        names.emplace_back(to_string(static_cast<drop_reason>(i)));
    }
    EXPECT_THAT(names, ElementsAre("transport_error", "scrambled", "discontinuity",
                                   "bad_adaptation", "bad_pointer", "unfinished", "bad_length"));
}

}  // namespace
}  // namespace orvix::section_feed
