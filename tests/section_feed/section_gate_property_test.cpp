#include <gtest/gtest.h>
#include <isdb_sections.h>
#include <log_capture.h>
#include <section_feed/section_gate.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "parse_admitted.h"

namespace orvix::section_feed {
namespace {

using namespace orvix::test;  // NOLINT: sections are written in the words of the writers

constexpr std::size_t largest_section = 4096;
constexpr std::size_t largest_pmt = 259;

class SectionGateProperty : public testing::Test {
private:
    log_capture silence_{OrvixLog::NONE};
};

/// Writes random well-formed descriptors and sections.
class random_writer {
public:
    explicit random_writer(unsigned int seed) : numbers_(seed) {}

    unsigned int up_to(unsigned int largest) {
        return static_cast<unsigned int>(numbers_() % (std::uint64_t{largest} + 1));
    }
    std::uint8_t u8() { return static_cast<std::uint8_t>(numbers_()); }
    std::uint16_t u16() { return static_cast<std::uint16_t>(numbers_()); }

    /// Any bytes, escapes and control codes among them.
    std::string text(unsigned int longest) {
        std::string text;
        for (unsigned int left = up_to(longest); left > 0; --left) {
            const bool is_escape = up_to(15) == 0;
            text += static_cast<char>(is_escape ? 0x1D : u8());
        }
        return text;
    }
    std::string code() { return {static_cast<char>(u8()), 'r', static_cast<char>(u8())}; }
    bytes time() { return utc_time(u16(), up_to(0xFFFFFF)); }

    bytes transmission_types() {
        std::vector<transmission_type> types(up_to(3));
        for (transmission_type& type : types) {
            type.transmission_type_info = u8();
            type.service_ids.resize(up_to(8));
        }
        return describe_ts_information(u8(), text(63), types);
    }

    bytes transport() {
        const bytes remote = up_to(1) == 0 ? bytes() : remote_connection(u16(), u16(), u16());
        switch (up_to(3)) {
            case 0:
                return describe_object_carousel(u8(), u8(), remote);
            case 1:
                return describe_data_carousel(u8(), u8(), remote);
            case 2:
                return describe_transport_protocol(0x0003, u8(), remote, raw(text(20)));
            default:
                has_urls = true;
                return describe_ip_transport(u8(), 1, url(text(100)) + url(text(100)), remote);
        }
    }

    /// One of all descriptors, and now and then one that nobody knows.
    bytes any_descriptor() {
        bytes entries;
        switch (up_to(13)) {
            case 0:
                for (unsigned int left = up_to(48); left > 0; --left) {
                    entries = entries + application_profile(u16(), u8(), u8(), u8());
                }
                return describe_application(entries, 1, 3, u8(), raw(text(10)));
            case 1:
                for (unsigned int left = up_to(3); left > 0; --left) {
                    entries = entries + application_name(code(), text(80));
                }
                return describe_application_names(entries);
            case 2:
                return transport();
            case 3:
                return describe_ginga_location(up_to(1) == 0 ? 0x04 : 0x07, text(80), text(80),
                                               text(80));
            case 4:
                return describe_icon(text(252), u16());
            case 5:
                return describe_service(u8(), text(126), text(126));
            case 6:
                return describe_short_event(code(), text(125), text(125));
            case 7:
                return describe_component(0x1, u8(), u8(), code(), text(249));
            case 8:
                return describe_stream_identifier(u8());
            case 9:
                return describe_content(bytes(2 * up_to(127), u8()));
            case 10:
                for (unsigned int left = up_to(63); left > 0; --left) {
                    entries = entries + parental_rating(code(), u8());
                }
                return describe_parental_ratings(entries);
            case 11:
                for (unsigned int left = up_to(19); left > 0; --left) {
                    entries = entries + local_time_offset(code(), 1, 0, u16(), time(), u16());
                }
                return describe_local_time_offsets(entries);
            case 12:
                return transmission_types();
            default:
                return descriptor(0xC0, bytes(up_to(255), u8()));
        }
    }

    /// Whole descriptors in at most so many bytes.
    bytes descriptors(std::size_t room) {
        bytes loop;
        for (unsigned int left = up_to(4); left > 0; --left) {
            const bool had_urls = has_urls;
            const bytes next = any_descriptor();
            if (loop.size() + next.size() > room) {
                has_urls = had_urls;
                return loop;
            }
            loop = loop + next;
        }
        return loop;
    }

    /// Entries as long as there is room for one more: `entry` makes one of its descriptors.
    template <typename Entry>
    bytes entries(std::size_t room, std::size_t entry_size, Entry entry) {
        bytes loop;
        while (loop.size() + entry_size <= room && up_to(50) != 0) {
            loop = loop + entry(descriptors(room - loop.size() - entry_size));
        }
        return loop;
    }

    std::size_t size_up_to(std::size_t largest) {
        const bool is_any = up_to(3) == 0;
        return is_any ? largest : up_to(static_cast<unsigned int>(largest));
    }

    bytes pat() {
        return pat_section(u16(), entries(size_up_to(largest_section - 12), 4, [&](const bytes&) {
                               return program(u16(), static_cast<std::uint16_t>(up_to(0x1FFF)));
                           }));
    }
    bytes pmt(std::size_t largest) {
        const std::size_t room = size_up_to(largest - 16);
        const bytes info = descriptors(room / 2);
        return pmt_section(u16(), 0x0100, info,
                           entries(room - info.size(), 5, [&](const bytes& descriptors) {
                               return elementary_stream(
                                   u8(), static_cast<std::uint16_t>(up_to(0x1FFF)), descriptors);
                           }));
    }
    bytes sdt() {
        return sdt_section(
            u16(), u16(),
            entries(size_up_to(largest_section - 15), 5,
                    [&](const bytes& descriptors) { return service(u16(), 4, 0, descriptors); }));
    }
    bytes nit() {
        const std::size_t room = size_up_to(largest_section - 16);
        const bytes network = descriptors(room);
        return nit_section(u16(), network,
                           entries(room - network.size(), 6, [&](const bytes& descriptors) {
                               return transport_stream(u16(), u16(), descriptors);
                           }));
    }
    bytes eit() {
        eit_identifiers identifiers;
        identifiers.table_id = static_cast<std::uint8_t>(0x4E + up_to(0x6F - 0x4E));
        return eit_section(
            identifiers,
            entries(size_up_to(largest_section - 18), 12, [&](const bytes& descriptors) {
                return event(u16(), time(), up_to(0xFFFFFF), 1, 0, descriptors);
            }));
    }
    bytes ait() {
        const std::size_t room = size_up_to(largest_section - 16);
        const bytes common = descriptors(room);
        return ait_section(u16(), common,
                           entries(room - common.size(), 9, [&](const bytes& descriptors) {
                               return application(u16(), u16(), u8(), descriptors);
                           }));
    }
    /// Never with an empty loop, whose CRC_32 the parser reads as a descriptor.
    bytes tot() { return tot_section(time(), any_descriptor() + descriptors(2000)); }
    bytes tdt() { return tdt_section(time()); }

    /// Whether an IP transport with URLs was written: the parser reads their characters as lengths.
    bool has_urls = false;

private:
    std::mt19937 numbers_;
};

constexpr unsigned int rounds = 1000;

/// Makes many sections; each must be admitted and is parsed. Those with URLs may be refused for
/// what the parser takes for a URL's length.
template <typename Make>
void expect_all_admitted(Make make) {
    std::size_t largest = 0;
    unsigned int refused_urls = 0;
    for (unsigned int seed = 0; seed < rounds; ++seed) {
        random_writer writer(seed);
        const bytes section = make(writer);
        largest = std::max(largest, section.size());
        const gate_result result = check_section(section.data(), section.size());
        if (result.admitted()) {
            parse_admitted(section);
        } else if (writer.has_urls && std::string(result.field) == "URL_length") {
            ++refused_urls;
        } else {
            ADD_FAILURE() << "seed " << seed << ": " << result.text();
        }
    }
    EXPECT_LT(refused_urls, rounds / 4);
    ::testing::Test::RecordProperty("largest", static_cast<int>(largest));
    ::testing::Test::RecordProperty("refused_urls", static_cast<int>(refused_urls));
}

TEST_F(SectionGateProperty, AdmitsEveryWellFormedPat) {
    expect_all_admitted([](random_writer& writer) { return writer.pat(); });
}

TEST_F(SectionGateProperty, AdmitsEveryWellFormedPmtOfUpTo259Bytes) {
    expect_all_admitted([](random_writer& writer) { return writer.pmt(largest_pmt); });
}

TEST_F(SectionGateProperty, RefusesEveryLargerPmt) {
    unsigned int larger = 0;
    for (unsigned int seed = 0; seed < rounds; ++seed) {
        const bytes section = random_writer(seed).pmt(largest_section);
        if (section.size() <= largest_pmt) continue;
        ++larger;
        EXPECT_EQ(check_section(section.data(), section.size()).why, verdict::endless);
    }
    EXPECT_GT(larger, rounds / 4);
}

TEST_F(SectionGateProperty, AdmitsEveryWellFormedSdt) {
    expect_all_admitted([](random_writer& writer) { return writer.sdt(); });
}

TEST_F(SectionGateProperty, AdmitsEveryWellFormedNit) {
    expect_all_admitted([](random_writer& writer) { return writer.nit(); });
}

TEST_F(SectionGateProperty, AdmitsEveryWellFormedEit) {
    expect_all_admitted([](random_writer& writer) { return writer.eit(); });
}

TEST_F(SectionGateProperty, AdmitsEveryWellFormedAit) {
    expect_all_admitted([](random_writer& writer) { return writer.ait(); });
}

TEST_F(SectionGateProperty, AdmitsEveryTdt) {
    expect_all_admitted([](random_writer& writer) { return writer.tdt(); });
}

TEST_F(SectionGateProperty, AdmitsEveryTotWithADescriptor) {
    expect_all_admitted([](random_writer& writer) { return writer.tot(); });
}

TEST_F(SectionGateProperty, AdmitsSectionsOfTheLargestSize) {
    const auto unknown_descriptors = [](std::size_t size) {
        bytes loop;
        while (size > 257) {
            loop = loop + descriptor(0xC0, bytes(100, 0x20));
            size -= 102;
        }
        return loop + descriptor(0xC0, bytes(size - 2, 0x20));
    };
    const std::size_t sdt_room = largest_section - sdt_section(1, 1, service(1, 4, 0)).size();
    const std::size_t nit_room =
        largest_section - nit_section(1, {}, transport_stream(1, 1)).size();
    const std::size_t eit_room =
        largest_section - eit_section({}, event(1, bytes(5), 0, 4, 0)).size();
    const std::size_t ait_room = largest_section - ait_section(1, {}, application(1, 1, 1)).size();
    for (const bytes& section :
         {sdt_section(1, 1, service(1, 4, 0, unknown_descriptors(sdt_room))),
          nit_section(1, {}, transport_stream(1, 1, unknown_descriptors(nit_room))),
          nit_section(1, unknown_descriptors(nit_room), transport_stream(1, 1)),
          eit_section({}, event(1, bytes(5), 0, 4, 0, unknown_descriptors(eit_room))),
          ait_section(1, {}, application(1, 1, 1, unknown_descriptors(ait_room))),
          ait_section(1, unknown_descriptors(ait_room), application(1, 1, 1)),
          pat_section(1, bytes(largest_section - 12, 0x11))}) {
        ASSERT_EQ(section.size(), largest_section);
        const gate_result result = check_section(section.data(), section.size());
        EXPECT_TRUE(result.admitted()) << result.text();
        parse_admitted(section);
    }
}

// --- Sections from the air ---

/// Where captures are kept: files of whole sections one behind the other, named `*.bin`.
std::filesystem::path captures() {
    const char* const folder = std::getenv("ORVIX_CAPTURES");
    return folder != nullptr ? folder : ORVIX_CAPTURES;
}

std::vector<bytes> sections_of(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    const bytes all{std::istreambuf_iterator<char>(in), {}};
    std::vector<bytes> sections;
    for (std::size_t at = 0; at + 3 <= all.size();) {
        const std::size_t size = ((all[at + 1] & 0x0Fu) << 8 | all[at + 2]) + 3u;
        if (at + size > all.size()) throw std::runtime_error(file.string() + " ends in a section");
        const auto first = all.begin() + static_cast<std::ptrdiff_t>(at);
        sections.emplace_back(first, first + static_cast<std::ptrdiff_t>(size));
        at += size;
    }
    return sections;
}

TEST_F(SectionGateProperty, RefusesNoSectionFromTheAirButLongPmts) {
    if (!std::filesystem::is_directory(captures())) {
        GTEST_SKIP() << "no captures in " << captures() << ": set ORVIX_CAPTURES";
    }
    unsigned int admitted = 0;
    for (const auto& file : std::filesystem::directory_iterator(captures())) {
        if (file.path().extension() != ".bin") continue;
        for (const bytes& section : sections_of(file)) {
            const gate_result result = check_section(section.data(), section.size());
            if (result.why == verdict::not_decoded) continue;
            SCOPED_TRACE(file.path().filename());
            const bool is_long_pmt = section[0] == 0x02 && section.size() > largest_pmt;
            EXPECT_EQ(result.admitted(), !is_long_pmt) << result.text();
            if (!result.admitted()) continue;
            ++admitted;
            parse_admitted(section);
        }
    }
    EXPECT_GT(admitted, 0u);
    RecordProperty("admitted", static_cast<int>(admitted));
}

}  // namespace
}  // namespace orvix::section_feed
