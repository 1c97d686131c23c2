#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <without_log.h>

#include "../finding_streams.h"

namespace orvix::broadcast {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::IsEmpty;

class TableVersions : public without_log {};

/// An SDT in as many sections as `last` says, each with a service of its own.
bytes part_of_sdt(std::uint8_t version, std::uint8_t number, std::uint8_t last,
                  const std::string& name = "Manac") {
    const auto service_id = static_cast<std::uint16_t>(hd_service + number);
    return sdt_section(multiplex_id, multiplex_id,
                       service(service_id, 4, 0, describe_service(0x01, "", name)),
                       {version, 1, number, last});
}

stream_writer sdts(const std::vector<bytes>& sections) {
    stream_writer stream;
    for (const bytes& section : sections) stream.section(0x0011, section);
    stream.null_packets(5);
    return stream;
}

TEST_F(TableVersions, TellOfContentThatChangesWithoutItsVersion) {
    const auto found = only("content_without_version",
                            found_in(sdts({part_of_sdt(4, 0, 0), part_of_sdt(4, 0, 0, "Acre"),
                                           part_of_sdt(4, 0, 0, "Acre"), part_of_sdt(4, 0, 0)})));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].about.pid, 0x0011);
    EXPECT_EQ(found[0].says(),
              "section 0 of the SDT changed, but its version_number stayed 4: receivers miss the "
              "change, 2 times");
    EXPECT_THAT(
        says("content_without_version", sdts({part_of_sdt(4, 0, 0), part_of_sdt(5, 0, 0, "Acre")})),
        IsEmpty());
}

TEST_F(TableVersions, AreNotComparedAcrossLostPacketsOfTheirPid) {
    const auto with_a_loss_on = [](std::uint16_t pid, std::uint8_t version) {
        stream_writer stream = sdts({part_of_sdt(4, 0, 0)});
        stream.section(0x0010, nit()).skip_counter(pid).section(0x0010, nit());
        return stream.section(0x0011, part_of_sdt(version, 0, 0, "Acre")).null_packets(5);
    };
    EXPECT_THAT(says("content_without_version", with_a_loss_on(0x0011, 4)), IsEmpty());
    EXPECT_EQ(says("content_without_version", with_a_loss_on(0x0010, 4)).size(), 1u);
    EXPECT_THAT(says("version_jump", with_a_loss_on(0x0011, 9)), IsEmpty());
    EXPECT_EQ(says("version_jump", with_a_loss_on(0x0010, 9)).size(), 1u);
}

TEST_F(TableVersions, AreNotComparedAcrossAHoleThatOnlyTheClockTells) {
    const auto without_seconds = [](std::size_t from, std::size_t to) {
        stream_writer stream = timed_stream(40)
                                   .every(1, 0x0011, {part_of_sdt(4, 0, 0)}, 0, 20)
                                   .every(1, 0x0011, {part_of_sdt(4, 0, 0, "Acre")}, 20)
                                   .write();
        auto& packets = stream.packets();
        const auto first = packets.begin() + static_cast<std::ptrdiff_t>(from * 1'000);
        packets.erase(first, packets.begin() + static_cast<std::ptrdiff_t>(to * 1'000));
        return stream;
    };
    // Sixteen are missing, as many as there are counters.
    EXPECT_THAT(says("continuity", without_seconds(12, 28)), IsEmpty());
    EXPECT_THAT(says("content_without_version", without_seconds(12, 28)), IsEmpty());
    EXPECT_EQ(says("content_without_version", without_seconds(0, 0)).size(), 1u);
}

TEST_F(TableVersions, NoteAVersionWithoutNewContent) {
    EXPECT_THAT(says("version_without_content", sdts({part_of_sdt(4, 0, 1), part_of_sdt(4, 1, 1),
                                                      part_of_sdt(5, 0, 1), part_of_sdt(5, 1, 1)})),
                ElementsAre("version_number of the SDT became 5, but nothing else changed"));
    EXPECT_THAT(
        says("version_without_content", sdts({part_of_sdt(4, 0, 1), part_of_sdt(4, 1, 1),
                                              part_of_sdt(5, 0, 1), part_of_sdt(5, 1, 1, "Acre")})),
        IsEmpty());
    EXPECT_THAT(says("version_without_content",
                     sdts({part_of_sdt(4, 0, 1), part_of_sdt(4, 1, 1), part_of_sdt(5, 0, 1)})),
                IsEmpty());
}

TEST_F(TableVersions, NoteAVersionThatGrowsByMoreThanOne) {
    EXPECT_THAT(says("version_jump", sdts({part_of_sdt(4, 0, 0), part_of_sdt(6, 0, 0, "Acre")})),
                ElementsAre("version_number of the SDT went from 4 to 6, not to 5"));
    EXPECT_THAT(says("version_jump", sdts({part_of_sdt(31, 0, 0), part_of_sdt(0, 0, 0, "Acre")})),
                IsEmpty());
}

TEST_F(TableVersions, NoteATableThatIsNotYetValid) {
    const bytes next =
        sdt_section(multiplex_id, multiplex_id, service(hd_service, 4, 0), {5, 0, 0, 0});
    EXPECT_THAT(says("not_yet_valid", sdts({part_of_sdt(4, 0, 0), next})),
                ElementsAre("the SDT is sent before it is valid (current_next_indicator 0): "
                            "receivers pass it over"));
    EXPECT_THAT(says(found_in(sdts({part_of_sdt(4, 0, 0), part_of_sdt(4, 0, 0)}))), IsEmpty());
}

TEST_F(TableVersions, KeepTheVersionInForceBesideTheNextOne) {
    const bytes next =
        sdt_section(multiplex_id, multiplex_id, service(hd_service, 4, 0), {9, 0, 0, 0});
    EXPECT_THAT(says("version_jump", sdts({part_of_sdt(4, 0, 0), next, part_of_sdt(4, 0, 0)})),
                IsEmpty());
}

TEST_F(TableVersions, TellOfANumberAboveTheLast) {
    EXPECT_THAT(says("section_numbers", sdts({part_of_sdt(4, 2, 1)})),
                ElementsAre("section_number 2 of the SDT is above its last_section_number 1"));
    EXPECT_THAT(says("section_numbers", sdts({part_of_sdt(4, 1, 1)})), IsEmpty());
}

TEST_F(TableVersions, MissASectionOfATable) {
    const bytes first = part_of_sdt(4, 0, 2);
    const bytes last = part_of_sdt(4, 2, 2);
    EXPECT_THAT(
        says("section_numbers", sdts({first, last, first, last, first, last})),
        ElementsAre("section 1 of the SDT does not come, although it goes up to section 2"));
    EXPECT_THAT(says("section_numbers", sdts({first, last, first, last})), IsEmpty());
    EXPECT_THAT(says("section_numbers",
                     sdts({first, last, part_of_sdt(4, 1, 2), first, last, first, last})),
                IsEmpty());
}

TEST_F(TableVersions, MissASectionOfASegmentOnly) {
    const auto section = [](std::uint8_t number, std::uint8_t last_of_segment) {
        return eit_section({0x50, hd_service, multiplex_id, multiplex_id, last_of_segment, 0x50},
                           event(number, utc_time(day, 0x100000), 0x010000, 0, 0),
                           {0, 1, number, 0x18});
    };
    stream_writer sparse;
    stream_writer with_hole;
    for (int round = 0; round < 4; ++round) {
        sparse.section(0x0012, section(0, 1)).section(0x0012, section(1, 1));
        sparse.section(0x0012, section(0x18, 0x18));
        with_hole.section(0x0012, section(0, 2)).section(0x0012, section(2, 2));
    }
    EXPECT_THAT(says("section_numbers", sparse), IsEmpty());
    EXPECT_THAT(says("section_numbers", with_hole),
                ElementsAre("section 1 of the EIT of service 0x5C20 (table_id 0x50) does not come, "
                            "although it goes up to section 2"));
}

}  // namespace
}  // namespace orvix::broadcast
