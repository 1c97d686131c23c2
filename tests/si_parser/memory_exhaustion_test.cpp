// What is left of a table when memory runs out while it parses: the n-th allocation fails, for
// every n until the parse gets through.

#include <failing_allocator.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <isdb_sections.h>
#include <log_capture.h>
#include <parse_exactly.h>
#include <si_parser/ait.h>
#include <si_parser/eit.h>
#include <si_parser/nit.h>
#include <si_parser/pat.h>
#include <si_parser/pmt.h>
#include <si_parser/sdt.h>
#include <si_parser/tdt.h>
#include <si_parser/tot.h>

#include <algorithm>
#include <cstddef>
#include <new>
#include <numeric>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace orvix::si_parser {
namespace {

using namespace orvix::test;
using testing::ElementsAreArray;
using testing::SizeIs;

/// Parses while the n-th allocation fails. Whether memory ran out.
bool runs_out_of_memory(psi_table& table, const exact_block& section, long n) {
    const failing_allocations failing(n);
    try {
        table.parse(section.data(), section.size());
        return false;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

// --- A table's contents, one line per descriptor of its own and per record ---

std::string contents(const descriptor& d) {
    std::ostringstream line;
    line << +d.tag << ' ' << +d.length;
    if (const auto* service = dynamic_cast<const service_descriptor*>(&d)) {
        line << ' ' << +service->service_type << ' ' << service->service_provider_name << ' '
             << service->service_name;
    } else if (const auto* component = dynamic_cast<const component_descriptor*>(&d)) {
        line << ' ' << +component->component_tag << ' ' << component->ISO_639_language_code << ' '
             << component->text;
    } else if (const auto* stream = dynamic_cast<const stream_identifier_descriptor*>(&d)) {
        line << ' ' << +stream->component_tag;
    } else if (const auto* ts = dynamic_cast<const ts_information_descriptor*>(&d)) {
        line << ' ' << +ts->remote_control_key_id << ' ' << ts->ts_name;
    } else if (const auto* event = dynamic_cast<const short_event_descriptor*>(&d)) {
        line << ' ' << event->ISO_639_language_code << ' ' << event->event_name << ' '
             << event->text;
    } else if (const auto* content = dynamic_cast<const content_descriptor*>(&d)) {
        for (const auto& [nibbles, user] : content->contents)
            line << ' ' << +nibbles << '/' << +user;
    } else if (const auto* parental = dynamic_cast<const parental_descriptor*>(&d)) {
        for (const auto& [country, rating] : parental->ratings) line << ' ' << country << +rating;
    } else if (const auto* offset = dynamic_cast<const localtime_offset_descriptor*>(&d)) {
        line << ' ' << offset->country_code << ' ' << offset->local_time_offset;
    } else if (const auto* application = dynamic_cast<const application_descriptor*>(&d)) {
        for (const auto& profile : application->profiles)
            line << ' ' << profile.application_profile;
        line << ' ' << +application->application_priority;
    } else if (const auto* names = dynamic_cast<const application_name_descriptor*>(&d)) {
        for (const auto& name : names->names) line << ' ' << name.language << ' ' << name.name;
    } else if (const auto* carousel = dynamic_cast<const transport_protocol_descriptor_oc*>(&d)) {
        line << ' ' << +carousel->component_tag;
    } else if (const auto* ip = dynamic_cast<const transport_protocol_descriptor_ip*>(&d)) {
        for (const auto& url : ip->urls) line << ' ' << +url.URL_length << ' ' << url.URL;
    } else if (const auto* location = dynamic_cast<const ginga_location_descriptor*>(&d)) {
        line << ' ' << location->base_directory << ' ' << location->class_extension << ' '
             << location->initial_class;
    } else if (const auto* icon = dynamic_cast<const icon_information_descriptor*>(&d)) {
        line << ' ' << icon->icon_locator;
    }
    return line.str();
}

std::string contents(const descriptor_list& list) {
    std::string line;
    for (const descriptor_ptr& d : list) line += " {" + contents(*d) + '}';
    return line;
}

template <typename... Field>
std::string record(const Field&... field) {
    std::ostringstream line;
    ((line << +field << ' '), ...);
    return line.str();
}

std::vector<std::string> contents_of_base(const psi_table& table) {
    std::vector<std::string> lines;
    for (const descriptor_ptr& d : table.descriptors) lines.push_back(contents(*d));
    return lines;
}

std::vector<std::string> contents(const pat& table) {
    std::vector<std::string> lines = contents_of_base(table);
    for (const auto& [number, pid] : table.program_map) lines.push_back(record(number, pid));
    return lines;
}

std::vector<std::string> contents(const pmt& table) {
    std::vector<std::string> lines = contents_of_base(table);
    for (const auto& s : table.streams) {
        lines.push_back(record(s.elementary_PID, s.component_tag, s.stream_type) +
                        s.ISO_639_language_code + contents(s.descriptors));
    }
    return lines;
}

std::vector<std::string> contents(const sdt& table) {
    std::vector<std::string> lines = contents_of_base(table);
    for (const auto& s : table.services) {
        lines.push_back(record(s.service_id, s.running_status, s.free_CA_mode) +
                        contents(s.descriptors));
    }
    return lines;
}

std::vector<std::string> contents(const nit& table) {
    std::vector<std::string> lines = contents_of_base(table);
    for (const auto& s : table.transport_streams) {
        lines.push_back(record(s.transport_stream_id, s.original_network_id) +
                        contents(s.descriptors));
    }
    return lines;
}

std::vector<std::string> contents(const eit& table) {
    std::vector<std::string> lines = contents_of_base(table);
    for (const auto& e : table.events) {
        lines.push_back(record(e.event_id, e.start_time, e.duration, e.running_status) +
                        contents(e.descriptors));
    }
    return lines;
}

std::vector<std::string> contents(const ait& table) {
    std::vector<std::string> lines = contents_of_base(table);
    for (const auto& a : table.applications) {
        lines.push_back(record(a.organisation_id, a.application_id, a.application_control_code) +
                        contents(a.descriptors));
    }
    return lines;
}

std::vector<std::string> contents(const tot& table) { return contents_of_base(table); }

// --- The promise ---

class MemoryExhaustion : public testing::Test {
protected:
    /// Lets each allocation of the parse fail in turn, and expects all that a table promises then.
    template <typename Table>
    void expect_only_whole_records_and_no_leak(const bytes& section_bytes) {
        const exact_block section(section_bytes);
        Table undisturbed;
        undisturbed.parse(section.data(), section.size());
        const std::vector<std::string> everything = contents(undisturbed);

        std::set<std::size_t> numbers_of_lines_held;
        long n = 1;
        for (; failure_is_survived<Table>(section, n, everything, numbers_of_lines_held); ++n) {
            if (HasFailure()) FAIL() << "when allocation " << n << " failed";
        }
        EXPECT_GE(n, static_cast<long>(everything.size())) << "hardly anything was allocated";

        // What was read before stays: the failures left every number of lines but the full one.
        std::vector<std::size_t> all_but_the_last_line(everything.size());
        std::iota(all_but_the_last_line.begin(), all_but_the_last_line.end(), 0);
        EXPECT_THAT(numbers_of_lines_held, ElementsAreArray(all_but_the_last_line));

        expect_only_whole_records_in_a_used_table<Table>(section, everything);
    }

private:
    /// The same where the table holds the section already, whose memory is taken for the new one.
    template <typename Table>
    static void expect_only_whole_records_in_a_used_table(
        const exact_block& section, const std::vector<std::string>& everything) {
        bool failed = true;
        for (long n = 1; failed; ++n) {
            const long live_before = live_blocks();
            {
                Table table;
                table.parse(section.data(), section.size());
                failed = runs_out_of_memory(table, section, n);
                const std::vector<std::string> held = contents(table);
                EXPECT_EQ(failed, held != everything) << n;
                EXPECT_LE(held.size(), everything.size());
                EXPECT_TRUE(std::equal(held.begin(), held.end(), everything.begin()))
                    << "a record is not whole: " << testing::PrintToString(held);
                table.parse(section.data(), section.size());
                EXPECT_EQ(contents(table), everything) << "the next parse";
            }
            const long live_afterwards = live_blocks();
            EXPECT_EQ(live_afterwards, live_before);
        }
    }

    template <typename Table>
    static bool failure_is_survived(const exact_block& section, long n,
                                    const std::vector<std::string>& everything,
                                    std::set<std::size_t>& numbers_of_lines_held) {
        expect_no_leak<Table>(section, n);

        Table table;
        const bool failed = runs_out_of_memory(table, section, n);
        const std::vector<std::string> held = contents(table);
        if (!failed) {
            EXPECT_EQ(held, everything);
            return false;
        }
        EXPECT_LT(held.size(), everything.size());
        EXPECT_TRUE(std::equal(held.begin(), held.end(), everything.begin()))
            << "a record is not whole: " << testing::PrintToString(held);
        numbers_of_lines_held.insert(held.size());

        table.parse(section.data(), section.size());
        EXPECT_EQ(contents(table), everything) << "the next parse";
        return true;
    }

    template <typename Table>
    static void expect_no_leak(const exact_block& section, long n) {
        const long live_before = live_blocks();
        {
            Table table;
            runs_out_of_memory(table, section, n);
        }
        const long live_afterwards = live_blocks();
        EXPECT_EQ(live_afterwards, live_before);
    }

    log_capture log_{OrvixLog::NONE};
};

// --- Sections that have everything; texts are too long to need no allocation ---

const bytes service_names =
    describe_service(1, "A provider with a long name", "A service with a long name");
const bytes component = describe_component(1, 2, 3, "por", "A component with a long text");
const bytes stream_identifier = describe_stream_identifier(7);
const bytes ts_information = describe_ts_information(4, "A transport stream, long name",
                                                     {{0x0F, {0x5C20, 0x5C21}}, {0xAF, {0x5C38}}});
const bytes short_event =
    describe_short_event("por", "An event with a long name", "An event with a long text");
const bytes genres = describe_content({0x00, 0xFF, 0x10, 0xFF, 0x20, 0xFF});
const bytes ratings =
    describe_parental_ratings(parental_rating("BRA", 1) + parental_rating("ARG", 2));
const bytes offsets = describe_local_time_offsets(
    local_time_offset("BRA", 1, 1, 0x0300, utc_time(0xC079, 0), 0x0200));
const bytes profiles = describe_application(
    application_profile(1, 0, 0, 0) + application_profile(2, 0, 0, 0), 1, 3, 5);
const bytes names =
    describe_application_names(application_name("por", "An application with a long name") +
                               application_name("eng", "And another one for the English"));
const bytes carousel = describe_object_carousel(1, 0x40);
// Its only URL reaches from the alignment_indicator to position 40 of the loop, behind it.
const bytes ip = describe_ip_transport(2, 1, {40, 0xFF, 0xFF});
const bytes location = describe_ginga_location(0x07, "/a/long/base/directory", "a.long.extension.x",
                                               "a_long_initial_class.ncl");
const bytes icon = describe_icon("/an/icon/with/a/long/path.png", 1);
const bytes unknown = test::descriptor(0x80, {1, 2, 3});

const bytes broadcast_descriptors = service_names + component + stream_identifier + unknown +
                                    ts_information + short_event + genres + ratings + offsets;

TEST_F(MemoryExhaustion, LeavesWholeProgrammesInAPat) {
    expect_only_whole_records_and_no_leak<pat>(
        pat_section(0x0720, program(0, 0x10) + program(1, 0x100) + program(2, 0x200)));
}

TEST_F(MemoryExhaustion, LeavesWholeStreamsInAPmt) {
    expect_only_whole_records_and_no_leak<pmt>(
        pmt_section(1, 0x100, stream_identifier + component,
                    elementary_stream(0x1B, 0x101, component) +
                        elementary_stream(0x11, 0x102, stream_identifier + component) +
                        elementary_stream(0x06, 0x103)));
}

TEST_F(MemoryExhaustion, LeavesWholeServicesInAnSdt) {
    expect_only_whole_records_and_no_leak<sdt>(sdt_section(
        0x0720, 0x0720,
        service(0x20, 4, 0, service_names) + service(0x21, 4, 0, broadcast_descriptors) +
            service(0x22, 4, 0, service_names)));
}

TEST_F(MemoryExhaustion, LeavesWholeTransportStreamsInANit) {
    expect_only_whole_records_and_no_leak<nit>(
        nit_section(0x0720, ts_information + service_names,
                    transport_stream(1, 9, ts_information) +
                        transport_stream(2, 9, broadcast_descriptors) + transport_stream(3, 9)));
}

TEST_F(MemoryExhaustion, LeavesWholeEventsInAnEit) {
    const bytes start = utc_time(0xC079, 0x124500);
    expect_only_whole_records_and_no_leak<eit>(
        eit_section({}, event(1, start, 0x003000, 4, 0, short_event + genres + ratings) +
                            event(2, start, 0x003000, 1, 0, broadcast_descriptors) +
                            event(3, start, 0x003000, 1, 0, short_event)));
}

TEST_F(MemoryExhaustion, LeavesWholeApplicationsInAnAit) {
    expect_only_whole_records_and_no_leak<ait>(
        ait_section(0x0009, names,
                    application(10, 1, 1, profiles + names + carousel + location + icon) +
                        application(10, 2, 2, ip + carousel + location) +
                        application(10, 3, 2, profiles + names + carousel + location)));
}

TEST_F(MemoryExhaustion, LeavesNoHalfDescriptorInATot) {
    const bytes start = utc_time(0xC079, 0x124500);
    expect_only_whole_records_and_no_leak<tot>(tot_section(start, names));
    expect_only_whole_records_and_no_leak<tot>(tot_section(start, offsets));
}

// --- While everything is logged ---

/// A parse during which one allocation fails, the parser's or the logger's.
struct logged_parse {
    bool logger_failed = false;
    bool parser_failed = false;
    std::vector<std::string> statements;
};

template <typename Table>
logged_parse parse_logging(const exact_block& section, long n) {
    const log_capture log;
    logged_parse result;
    Table table;
    {
        const failing_allocations failing(n);
        try {
            table.parse(section.data(), section.size());
            result.logger_failed = failing.failed() != 0;
        } catch (const std::bad_alloc&) {
            result.parser_failed = true;
        }
    }
    result.statements = log.statements();  // throws where a line is not whole
    return result;
}

/// Whether `part` is `whole` with some entries left out.
bool is_rest_of(const std::vector<std::string>& part, const std::vector<std::string>& whole) {
    auto at = whole.begin();
    return std::all_of(part.begin(), part.end(), [&](const std::string& entry) {
        at = std::find(at, whole.end(), entry);
        return at != whole.end() && at++ != whole.end();
    });
}

TEST(MemoryExhaustionOfALog, LosesWholeLinesAndNothingElse) {
    const std::string long_name(200, 'n');
    const exact_block section(sdt_section(
        0x0720, 0x0720, service(0x20, 4, 0, describe_service(1, "provider", long_name) + unknown)));
    const std::vector<std::string> everything = parse_logging<sdt>(section, 0).statements;
    ASSERT_THAT(everything, SizeIs(testing::Gt(6)));

    int lost_lines = 0;
    int lost_parses = 0;
    for (long n = 1;; ++n) {
        const logged_parse result = parse_logging<sdt>(section, n);
        EXPECT_TRUE(is_rest_of(result.statements, everything))
            << n << ": " << testing::PrintToString(result.statements);
        if (result.parser_failed) {
            ++lost_parses;
        } else if (result.logger_failed) {
            EXPECT_THAT(result.statements, SizeIs(everything.size() - 1)) << n;
            ++lost_lines;
        } else {
            EXPECT_EQ(result.statements, everything);
            break;
        }
    }
    EXPECT_GE(lost_lines, static_cast<int>(everything.size()));
    EXPECT_GT(lost_parses, 0);
}

TEST_F(MemoryExhaustion, CannotDisturbATdtWhichAllocatesNothing) {
    const exact_block section(tdt_section(utc_time(0xC079, 0x124500)) + bytes{0xEE});
    tdt table;
    EXPECT_FALSE(runs_out_of_memory(table, section, 1));
    EXPECT_EQ(table.utc_time, 750516300);
}

}  // namespace
}  // namespace orvix::si_parser
