#include <broadcast.h>
#include <gmock/gmock.h>
#include <section_feed/packet_reader.h>
#include <section_feed/section_collector.h>
#include <si_parser/ait.h>
#include <si_parser/eit.h>
#include <si_parser/nit.h>
#include <si_parser/sdt.h>

#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "log_capture.h"

namespace orvix::sample {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Pair;
using testing::SizeIs;

bytes content_of(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

const json& station() {
    static const json description = json::parse(std::ifstream(SAMPLE_FOLDER "station.json"));
    return description;
}

constexpr std::uint16_t table_pids[] = {0x0000, 0x0010, 0x0011, 0x0012, 0x0014,
                                        0x0027, 0x0110, 0x0114, 0x1FC8};

struct found_section {
    std::uint16_t pid = 0;
    std::uint64_t packet = 0;
    bytes content;
};

/// The shipped sample as section_feed sees it.
class Sample : public testing::Test {
protected:
    Sample()
        : collector_([this](const section_feed::section& s) {
              sections_.push_back({s.pid, s.packet_index, bytes(s.bytes, s.bytes + s.size)});
          }) {
        for (const std::uint16_t pid : table_pids) collector_.follow(pid);
        const bytes sample = content_of(SAMPLE_FOLDER "sample.ts");
        reader_.push(sample.data(), sample.size());
        reader_.finish();
        section_feed::packet packet;
        while (reader_.next(packet)) {
            packet_pids_.insert((packet.bytes[1] & 0x1F) << 8 | packet.bytes[2]);
            collector_.push(packet);
        }
        collector_.finish();
    }

    /// The sections of one table_id, parsed.
    template <typename Table>
    std::vector<Table> tables(std::uint8_t table_id) {
        std::vector<Table> parsed;
        for (found_section& section : sections_) {
            if (section.content[0] != table_id) continue;
            parsed.emplace_back();
            parsed.back().parse(section.content.data(),
                                static_cast<unsigned int>(section.content.size()));
        }
        return parsed;
    }

    test::log_capture silence_{OrvixLog::NONE};
    section_feed::packet_reader reader_;
    section_feed::section_collector collector_;
    std::vector<found_section> sections_;
    std::set<int> packet_pids_;
};

TEST_F(Sample, IsWhatTheGeneratorMakesOfTheDescription) {
    // Compared as a whole: hundreds of thousands of bytes tell a reader nothing.
    EXPECT_TRUE(content_of(SAMPLE_FOLDER "sample.ts") == make_broadcast(station()))
        << "make_sample examples/sample/station.json examples/sample/sample.ts renews it";
}

TEST_F(Sample, IsAnUndamagedStreamOfWhichEverySectionIsAdmitted) {
    EXPECT_EQ(reader_.packet_size(), 188u);
    EXPECT_EQ(reader_.packets(), 1200u);
    EXPECT_EQ(reader_.skipped_bytes(), 0u);
    for (const auto& [pid, counts] : collector_.counts()) {
        EXPECT_GT(counts.admitted, 0u) << "PID " << pid;
        EXPECT_THAT(counts.refused, testing::Each(0u)) << "PID " << pid;
        EXPECT_THAT(counts.dropped, testing::Each(0u)) << "PID " << pid;
    }
}

TEST_F(Sample, CarriesAllEightTablesOnTheirPids) {
    std::map<int, std::set<int>> pids_of_table;
    for (const found_section& s : sections_) pids_of_table[s.content[0]].insert(s.pid);
    EXPECT_THAT(pids_of_table, ElementsAre(Pair(0x00, ElementsAre(0x0000)),          // PAT
                                           Pair(0x02, ElementsAre(0x0110, 0x1FC8)),  // PMT
                                           Pair(0x40, ElementsAre(0x0010)),          // NIT
                                           Pair(0x42, ElementsAre(0x0011)),          // SDT
                                           Pair(0x4E, ElementsAre(0x0012, 0x0027)),  // EIT
                                           Pair(0x50, ElementsAre(0x0012)),          // EIT
                                           Pair(0x70, ElementsAre(0x0014)),          // TDT
                                           Pair(0x73, ElementsAre(0x0014)),          // TOT
                                           Pair(0x74, ElementsAre(0x0114))));        // AIT
}

TEST_F(Sample, HasSoundAndPicturePidsAndNullPackets) {
    EXPECT_THAT(packet_pids_, testing::IsSupersetOf({0x0111, 0x0181, 0x1FFF}));
}

TEST_F(Sample, RepeatsThePatEveryTenthOfASecond) {
    std::vector<std::uint64_t> distances;
    std::uint64_t last = 0;
    for (const found_section& s : sections_) {
        if (s.content[0] != 0x00) continue;
        distances.push_back(s.packet - last);
        last = s.packet;
    }
    EXPECT_THAT(distances, SizeIs(120));
    EXPECT_THAT(distances, testing::Each(testing::Le(20u)));
}

TEST_F(Sample, NamesItsStationAsTheDescriptionDoes) {
    const auto services = tables<si_parser::sdt>(0x42).at(0).services;
    std::vector<std::string> names;
    for (const auto& service : services) {
        const auto name = si_parser::psi_table().get_descriptor_from<si_parser::service_descriptor>(
            0x48, service.descriptors);
        ASSERT_TRUE(name);
        names.push_back(name->service_name);
    }
    EXPECT_THAT(names, ElementsAre(station()["services"][0]["name"].get<std::string>(),
                                   station()["services"][1]["name"].get<std::string>()));

    const auto stream = tables<si_parser::nit>(0x40).at(0).transport_streams.at(0);
    const auto information =
        si_parser::psi_table().get_descriptor_from<si_parser::ts_information_descriptor>(
            0xCD, stream.descriptors);
    ASSERT_TRUE(information);
    EXPECT_EQ(information->remote_control_key_id, 3);
    EXPECT_EQ(information->ts_name, station()["ts_name"].get<std::string>());
}

TEST_F(Sample, TellsEveryEventInUtf8SymbolsIncluded) {
    std::set<std::string> names;
    std::set<std::string> texts;
    for (const si_parser::eit& section : tables<si_parser::eit>(0x50)) {
        for (const auto& event : section.events) {
            const auto told = section.get_descriptor_from<si_parser::short_event_descriptor>(
                0x4D, event.descriptors);
            ASSERT_TRUE(told);
            names.insert(told->event_name);
            texts.insert(told->text);
        }
    }
    for (const json& event : station()["events"]) {
        EXPECT_THAT(names, Contains(event["name"].get<std::string>()));
        EXPECT_THAT(texts, Contains(event["text"].get<std::string>()));
    }
    EXPECT_THAT(texts, Contains(testing::HasSubstr("“Três Corações”")));
}

TEST_F(Sample, ChangesTheVersionWhenTheNextEventBegins) {
    std::vector<std::pair<unsigned int, unsigned int>> versions_and_events;
    for (const si_parser::eit& section : tables<si_parser::eit>(0x4E)) {
        const std::pair<unsigned int, unsigned int> here(section.version_number,
                                                         section.events.at(0).event_id);
        if (section.service_id != 0x5C20 || section.section_number != 0) continue;
        if (versions_and_events.empty() || versions_and_events.back() != here) {
            versions_and_events.push_back(here);
        }
    }
    EXPECT_THAT(versions_and_events, ElementsAre(Pair(30, 0x0A01), Pair(31, 0x0A02)));
}

TEST_F(Sample, AnnouncesAGingaApplication) {
    const si_parser::ait table = tables<si_parser::ait>(0x74).at(0);
    EXPECT_EQ(table.application_type, 0x0009u);
    ASSERT_THAT(table.applications, SizeIs(1));
    const auto location = table.get_descriptor_from<si_parser::ginga_location_descriptor>(
        0x07, table.applications[0].descriptors);
    ASSERT_TRUE(location);
    EXPECT_EQ(location->base_directory, "/manaca");
    EXPECT_EQ(location->initial_class, "principal.ncl");
}

}  // namespace
}  // namespace orvix::sample
