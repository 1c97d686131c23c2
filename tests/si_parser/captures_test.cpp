// Sections from the air, compared with what an independent analyser made of them. A capture is a
// file of whole sections (`.bin`) and the analyser's report of the same name (`.xml`).
//
// Texts are compared where the analyser found plain ASCII: it knows more character tables than this
// library. The EIT flags of the SDT are not compared, as this library reads other bits.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <log_capture.h>
#include <si_parser/eit.h>
#include <si_parser/nit.h>
#include <si_parser/pat.h>
#include <si_parser/pmt.h>
#include <si_parser/sdt.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <pugixml.hpp>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace orvix::si_parser {
namespace {

using test::log_capture;
using section = std::vector<unsigned char>;

std::filesystem::path captures() {
    const char* const folder = std::getenv("ORVIX_CAPTURES");
    return folder != nullptr ? folder : ORVIX_CAPTURES;
}

std::vector<section> read_sections(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    const section all{std::istreambuf_iterator<char>(in), {}};
    std::vector<section> sections;
    for (auto start = all.begin(); all.end() - start >= 3;) {
        const int section_length = (start[1] & 0x0F) << 8 | start[2];
        const auto end = start + std::min<std::ptrdiff_t>(3 + section_length, all.end() - start);
        sections.emplace_back(start, end);
        start = end;
    }
    return sections;
}

// --- The analyser's values ---

/// "0x4800", "17" or, with thousands separated, "4,240".
unsigned int number(const pugi::xml_node& node, const char* attribute) {
    std::string text = node.attribute(attribute).as_string();
    text.erase(std::remove(text.begin(), text.end(), ','), text.end());
    return static_cast<unsigned int>(std::stoul(text, nullptr, 0));
}

bool flag(const pugi::xml_node& node, const char* attribute) {
    return node.attribute(attribute).as_bool();
}

unsigned int running_status(const pugi::xml_node& node) {
    const std::map<std::string, unsigned int> values = {{"undefined", 0}, {"not-running", 1},
                                                        {"starting", 2},  {"pausing", 3},
                                                        {"running", 4},   {"off-air", 5}};
    return values.at(node.attribute("running_status").as_string());
}

/// The descriptors of which this library has a class, by the analyser's names.
const std::map<std::string, int> known_descriptors = {
    {"service_descriptor", 0x48},           {"short_event_descriptor", 0x4D},
    {"component_descriptor", 0x50},         {"stream_identifier_descriptor", 0x52},
    {"content_descriptor", 0x54},           {"parental_rating_descriptor", 0x55},
    {"local_time_offset_descriptor", 0x58}, {"TS_information_descriptor", 0xCD}};

std::vector<pugi::xml_node> known_descriptors_of(const pugi::xml_node& owner) {
    std::vector<pugi::xml_node> nodes;
    for (const pugi::xml_node& child : owner.children()) {
        if (known_descriptors.count(child.name()) != 0) nodes.push_back(child);
    }
    return nodes;
}

std::vector<pugi::xml_node> children(const pugi::xml_node& owner, const char* name) {
    const auto range = owner.children(name);
    return {range.begin(), range.end()};
}

bool is_plain_ascii(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c <= 0x7E; });
}

// --- The library's values ---

std::string date_and_time(time_t seconds) {
    tm broken_down = {};
    gmtime_r(&seconds, &broken_down);
    char text[sizeof "2020-04-05 19:00:00"];
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &broken_down);
    return text;
}

std::string span(time_t seconds) { return date_and_time(seconds).substr(11); }

// --- The comparison ---

class Captures : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        if (captures().empty()) GTEST_SKIP() << "set ORVIX_CAPTURES to the folder of captures";
        const std::filesystem::path report = captures() / (GetParam() + std::string(".xml"));
        const std::filesystem::path binary = captures() / (GetParam() + std::string(".bin"));
        if (!exists(report) || !exists(binary)) {
            GTEST_SKIP() << "no capture " << GetParam() << " in " << captures();
        }
        ASSERT_TRUE(xml_.load_file(report.c_str()));
        sections_ = read_sections(binary);
    }

    std::vector<pugi::xml_node> reported(const char* table) const {
        return children(xml_.child("tsduck"), table);
    }

    /// The sections of one table, in the order of their section_number.
    std::vector<section> sections_of(int table_id, unsigned int table_id_extension) const {
        std::vector<section> found;
        for (const section& s : sections_) {
            const unsigned int extension = s[3] * 256u + s[4];
            if (s[0] == table_id && extension == table_id_extension) found.push_back(s);
        }
        std::sort(found.begin(), found.end(),
                  [](const section& a, const section& b) { return a[6] < b[6]; });
        EXPECT_FALSE(found.empty());
        return found;
    }

    std::ptrdiff_t number_of_sections(int table_id) const {
        return std::count_if(sections_.begin(), sections_.end(),
                             [&](const section& s) { return s[0] == table_id; });
    }

    template <typename Table>
    Table parsed(section s) const {
        Table table;
        table.parse(s.data(), static_cast<unsigned int>(s.size()));
        return table;
    }

    static void expect_header(const pugi::xml_node& node, const psi_table& table) {
        EXPECT_EQ(table.version_number, number(node, "version"));
        EXPECT_EQ(table.current_next_indicator, flag(node, "current") ? 1u : 0u);
    }

    void expect_text(const char* expected, const std::string& text) {
        if (!is_plain_ascii(expected)) return;
        EXPECT_EQ(text, expected);
        if (!text.empty()) ++texts_compared_;
    }

    void expect_descriptors(const pugi::xml_node& owner, const descriptor_list& list) {
        const std::vector<pugi::xml_node> nodes = known_descriptors_of(owner);
        ASSERT_EQ(list.size(), nodes.size());
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            ASSERT_EQ(list[i]->tag, known_descriptors.at(nodes[i].name()));
            expect_descriptor(nodes[i], *list[i]);
            ++descriptors_compared_;
        }
    }

    void expect_descriptor(const pugi::xml_node& node, const descriptor& d) {
        if (const auto* service = dynamic_cast<const service_descriptor*>(&d)) {
            EXPECT_EQ(service->service_type, number(node, "service_type"));
            expect_text(node.attribute("service_provider_name").as_string(),
                        service->service_provider_name);
            expect_text(node.attribute("service_name").as_string(), service->service_name);
        } else if (const auto* stream = dynamic_cast<const stream_identifier_descriptor*>(&d)) {
            EXPECT_EQ(stream->component_tag, number(node, "component_tag"));
        } else if (const auto* component = dynamic_cast<const component_descriptor*>(&d)) {
            const unsigned int whole_byte =
                number(node, "stream_content_ext") * 16 + number(node, "stream_content");
            EXPECT_EQ(component->stream_content, whole_byte);
            EXPECT_EQ(component->component_type, number(node, "component_type"));
            EXPECT_EQ(component->component_tag, number(node, "component_tag"));
            expect_text(node.attribute("language_code").as_string(),
                        component->ISO_639_language_code);
            expect_text(node.attribute("text").as_string(), component->text);
        } else if (const auto* ts = dynamic_cast<const ts_information_descriptor*>(&d)) {
            EXPECT_EQ(ts->remote_control_key_id, number(node, "remote_control_key_id"));
            expect_text(node.attribute("ts_name").as_string(), ts->ts_name);
        } else if (const auto* event = dynamic_cast<const short_event_descriptor*>(&d)) {
            expect_text(node.attribute("language_code").as_string(), event->ISO_639_language_code);
            expect_text(node.child("event_name").text().as_string(), event->event_name);
            expect_text(node.child("text").text().as_string(), event->text);
        } else if (const auto* content = dynamic_cast<const content_descriptor*>(&d)) {
            std::vector<std::pair<unsigned char, unsigned char>> expected;
            for (const pugi::xml_node& entry : node.children("content")) {
                expected.emplace_back(number(entry, "content_nibble_level_1") * 16 +
                                          number(entry, "content_nibble_level_2"),
                                      number(entry, "user_byte"));
            }
            EXPECT_EQ(content->contents, expected);
        } else if (const auto* parental = dynamic_cast<const parental_descriptor*>(&d)) {
            std::map<std::string, uint8_t> expected;
            for (const pugi::xml_node& country : node.children("country")) {
                expected[country.attribute("country_code").as_string()] =
                    static_cast<uint8_t>(number(country, "rating"));
            }
            EXPECT_EQ(parental->ratings, expected);
        }
    }

    void expect_event(const pugi::xml_node& node, const eit::event& event) {
        SCOPED_TRACE(node.attribute("event_id").as_string());
        EXPECT_EQ(event.event_id, number(node, "event_id"));
        EXPECT_EQ(date_and_time(event.start_time), node.attribute("start_time").as_string());
        EXPECT_EQ(span(event.duration), node.attribute("duration").as_string());
        EXPECT_EQ(event.running_status, running_status(node));
        EXPECT_EQ(event.free_CA_mode, flag(node, "CA_mode") ? 1 : 0);
        expect_descriptors(node, event.descriptors);
    }

    int descriptors_compared_ = 0;
    int texts_compared_ = 0;

private:
    log_capture log_{OrvixLog::NONE};
    pugi::xml_document xml_;
    std::vector<section> sections_;
};

TEST_P(Captures, HaveTheProgrammesOfTheirPat) {
    ASSERT_EQ(reported("PAT").size(), 1u);
    const pugi::xml_node node = reported("PAT").front();
    const auto sections = sections_of(0x00, number(node, "transport_stream_id"));
    ASSERT_EQ(sections.size(), 1u);
    const pat table = parsed<pat>(sections.front());
    expect_header(node, table);

    std::map<uint32_t, uint32_t> expected = {{0, number(node, "network_PID")}};
    for (const pugi::xml_node& service : node.children("service")) {
        expected[number(service, "service_id")] = number(service, "program_map_PID");
    }
    EXPECT_GT(expected.size(), 1u);
    if (table.program_map.count(0) == 0) expected.erase(0);  // the usual PID, which goes unsaid
    EXPECT_EQ(table.program_map, expected);
}

TEST_P(Captures, HaveTheStreamsOfTheirPmts) {
    EXPECT_EQ(static_cast<std::ptrdiff_t>(reported("PMT").size()), number_of_sections(0x02));
    for (const pugi::xml_node& node : reported("PMT")) {
        SCOPED_TRACE(node.attribute("service_id").as_string());
        const auto sections = sections_of(0x02, number(node, "service_id"));
        ASSERT_EQ(sections.size(), 1u);
        ASSERT_LT(sections.front().size(), 260u) << "a longer PMT cannot be parsed";
        const pmt table = parsed<pmt>(sections.front());
        expect_header(node, table);
        EXPECT_EQ(table.program_number, number(node, "service_id"));
        const bool has_PCR_PID = !node.attribute("PCR_PID").empty();
        EXPECT_EQ(table.PCR_PID, has_PCR_PID ? number(node, "PCR_PID") : 0x1FFF);
        expect_descriptors(node, table.descriptors);

        const auto components = children(node, "component");
        ASSERT_EQ(table.streams.size(), components.size());
        for (std::size_t i = 0; i < components.size(); ++i) {
            const pmt::stream_info_type& stream = table.streams[i];
            EXPECT_EQ(stream.elementary_PID, number(components[i], "elementary_PID"));
            EXPECT_EQ(static_cast<unsigned int>(stream.stream_type),
                      number(components[i], "stream_type"));
            const pugi::xml_node identifier = components[i].child("stream_identifier_descriptor");
            EXPECT_EQ(stream.component_tag, identifier ? number(identifier, "component_tag") : 0);
            expect_descriptors(components[i], stream.descriptors);
        }
    }
}

TEST_P(Captures, HaveTheServicesOfTheirSdtInTheOrderOfThisLibrary) {
    ASSERT_EQ(reported("SDT").size(), 1u);
    const pugi::xml_node node = reported("SDT").front();
    ASSERT_TRUE(flag(node, "actual"));
    const auto sections = sections_of(0x42, number(node, "transport_stream_id"));
    ASSERT_EQ(sections.size(), 1u);
    const sdt table = parsed<sdt>(sections.front());
    expect_header(node, table);
    EXPECT_EQ(table.transport_stream_id, number(node, "transport_stream_id"));
    EXPECT_EQ(table.original_network_id, number(node, "original_network_id"));

    std::vector<pugi::xml_node> services = children(node, "service");
    std::sort(services.begin(), services.end(), [](const auto& a, const auto& b) {
        const unsigned int a_id = number(a, "service_id");
        const unsigned int b_id = number(b, "service_id");
        return std::make_tuple(a_id % 32, a_id) < std::make_tuple(b_id % 32, b_id);
    });
    EXPECT_FALSE(services.empty());
    ASSERT_EQ(table.services.size(), services.size());
    for (std::size_t i = 0; i < services.size(); ++i) {
        SCOPED_TRACE(services[i].attribute("service_id").as_string());
        EXPECT_EQ(table.services[i].service_id, number(services[i], "service_id"));
        EXPECT_EQ(table.services[i].running_status, running_status(services[i]));
        EXPECT_EQ(table.services[i].free_CA_mode, flag(services[i], "CA_mode") ? 1u : 0u);
        expect_descriptors(services[i], table.services[i].descriptors);
    }
    EXPECT_GT(descriptors_compared_, 0);
}

TEST_P(Captures, HaveTheTransportStreamsOfTheirNit) {
    ASSERT_EQ(reported("NIT").size(), 1u);
    const pugi::xml_node node = reported("NIT").front();
    ASSERT_TRUE(flag(node, "actual"));
    // The report lists them by their identifiers, not in section order.
    std::map<std::pair<unsigned int, unsigned int>, pugi::xml_node> expected;
    for (const pugi::xml_node& stream : node.children("transport_stream")) {
        expected[{number(stream, "transport_stream_id"), number(stream, "original_network_id")}] =
            stream;
    }
    EXPECT_FALSE(expected.empty());
    for (const section& s : sections_of(0x40, number(node, "network_id"))) {
        const nit table = parsed<nit>(s);
        expect_header(node, table);
        EXPECT_EQ(table.network_id, number(node, "network_id"));
        expect_descriptors(node, table.descriptors);
        for (const nit::nit_transport_stream_t& stream : table.transport_streams) {
            const auto same =
                expected.find({stream.transport_stream_id, stream.original_network_id});
            ASSERT_NE(same, expected.end()) << stream.transport_stream_id;
            SCOPED_TRACE(same->second.attribute("transport_stream_id").as_string());
            expect_descriptors(same->second, stream.descriptors);
            expected.erase(same);
        }
    }
    EXPECT_TRUE(expected.empty());
}

TEST_P(Captures, HaveTheEventsOfTheirEits) {
    std::ptrdiff_t sections_compared = 0;
    std::size_t events_compared = 0;
    for (const pugi::xml_node& node : reported("EIT")) {
        SCOPED_TRACE(node.attribute("service_id").as_string());
        ASSERT_STREQ(node.attribute("type").as_string(), "pf");
        const int table_id = flag(node, "actual") ? 0x4E : 0x4F;
        const auto events = children(node, "event");
        std::size_t next = 0;
        for (const section& s : sections_of(table_id, number(node, "service_id"))) {
            const eit table = parsed<eit>(s);
            if (table.transport_stream_id != number(node, "transport_stream_id")) continue;
            ++sections_compared;
            expect_header(node, table);
            EXPECT_EQ(table.service_id, number(node, "service_id"));
            EXPECT_EQ(table.original_network_id, number(node, "original_network_id"));
            EXPECT_EQ(table.last_table_id, number(node, "last_table_id"));
            for (const eit::event& event : table.events) {
                ASSERT_LT(next, events.size());
                expect_event(events[next++], event);
            }
        }
        EXPECT_EQ(next, events.size());
        events_compared += next;
    }
    EXPECT_GT(events_compared, 0u);
    EXPECT_GT(descriptors_compared_, 0);
    EXPECT_GT(texts_compared_, 0);
    EXPECT_EQ(sections_compared, number_of_sections(0x4E) + number_of_sections(0x4F));
}

INSTANTIATE_TEST_SUITE_P(OfTelevision, Captures,
                         testing::Values("terrestrial-isdb", "satellite-dvb"),
                         [](const auto& capture) {
                             std::string name = capture.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

}  // namespace
}  // namespace orvix::si_parser
