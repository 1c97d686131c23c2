// Every metric, of streams with known contents.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <metrics.h>
#include <monitor.h>

#include <algorithm>
#include <chrono>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "known_broadcast.h"

namespace orvix::test {
namespace {

using si_exporter::machine_time;
using si_exporter::metrics_of;
using si_exporter::metrics_page;
using si_exporter::monitor;
using si_exporter::watched_input;
using testing::Contains;

/// The machine's clock is set to the broadcast's of 20:30:00 in Brasilia.
constexpr double machine_utc = 1795303800;

/// Its packets from one number to before another.
stream_writer part(const stream_writer& of, std::size_t from, std::size_t to) {
    stream_writer cut;
    cut.packets().assign(of.packets().begin() + static_cast<std::ptrdiff_t>(from),
                         of.packets().begin() + static_cast<std::ptrdiff_t>(to));
    return cut;
}

class Metrics : public testing::Test {
protected:
    /// Reads the stream in so many pieces, each in so many seconds.
    void read(const stream_writer& stream, std::size_t pieces = 1, double seconds = 1) {
        const bytes all = stream.stream();
        const std::size_t piece = all.size() / pieces;
        for (std::size_t i = 0; i < pieces; ++i) {
            const auto from = all.begin() + static_cast<std::ptrdiff_t>(i * piece);
            const std::size_t size = i + 1 == pieces ? all.size() - i * piece : piece;
            std::copy_n(from, size, watched.room(size));
            time.steady += seconds;
            time.utc += seconds;
            watched.filled(size, time);
        }
    }

    std::vector<std::string> lines() const {
        metrics_page page;
        page.add(metrics_of({"tv", "udp://127.0.0.1:5004"}, watched, link, time));
        std::istringstream text(page.text());
        std::vector<std::string> all;
        for (std::string line; std::getline(text, line);) all.push_back(line);
        return all;
    }
    /// The value of a sample; "none" where there is no such.
    std::string value(const std::string& name, const std::string& labels = "") const {
        const std::string wanted =
            name + "{input=\"tv\"" + (labels.empty() ? "" : "," + labels) + "} ";
        for (const std::string& line : lines()) {
            if (line.compare(0, wanted.size(), wanted) == 0) return line.substr(wanted.size());
        }
        return "none";
    }

    explicit Metrics(const monitor::settings& how = {}) : watched(how, time) {}

    machine_time time = {1'000, machine_utc};
    monitor watched;
    watched_input::link link;
};

TEST_F(Metrics, HaveHelpAndTypeBeforeAnythingHasCome) {
    const auto all = lines();
    EXPECT_THAT(all, Contains("# HELP isdb_packets_total Packets by PID."));
    EXPECT_THAT(all, Contains("# TYPE isdb_packets_total counter"));
    EXPECT_THAT(all, Contains("# TYPE isdb_table_interval_seconds histogram"));
    EXPECT_THAT(all, Contains("isdb_exporter_build_info{version=\"1.0.0\"} 1"));
    EXPECT_EQ(value("isdb_input_info", "address=\"udp://127.0.0.1:5004\""), "1");
    EXPECT_EQ(value("isdb_input_up"), "0");
    EXPECT_EQ(value("isdb_received_bytes_total"), "0");
    EXPECT_EQ(value("isdb_finding_active", "finding=\"pat_rare\",severity=\"error\""), "0");
    EXPECT_EQ(value("isdb_section_refused_total", "reason=\"crc_mismatch\""), "0");
    EXPECT_EQ(value("isdb_clock_offset_seconds"), "none");
}

TEST_F(Metrics, CountPacketsAndBytes) {
    stream_writer stream = known_broadcast(10);
    const std::size_t size = stream.stream().size();
    read(stream, 10);
    EXPECT_EQ(value("isdb_received_bytes_total"), std::to_string(size));
    EXPECT_EQ(value("isdb_skipped_bytes_total"), "0");
    const auto of = [&](std::uint16_t pid) {
        return std::count_if(stream.packets().begin(), stream.packets().end(),
                             [pid](const bytes& p) { return pid_of(p) == pid; });
    };
    EXPECT_EQ(value("isdb_packets_total", "pid=\"0x0000\""), std::to_string(of(0)));
    EXPECT_EQ(value("isdb_packets_total", "pid=\"0x0111\""), std::to_string(of(0x0111)));
    EXPECT_EQ(value("isdb_input_up"), "1");
    EXPECT_EQ(value("isdb_last_packet_age_seconds"), "0");
}

TEST_F(Metrics, CountTheBytesOfPidsAndServicesFromTheFirstPacketOn) {
    const stream_writer stream = known_broadcast(10);
    const auto bytes_on = [&](std::size_t packets, const std::set<std::uint16_t>& pids) {
        const auto end = stream.packets().begin() + static_cast<std::ptrdiff_t>(packets);
        return std::to_string(
            188 * std::count_if(stream.packets().begin(), end,
                                [&](const bytes& p) { return pids.count(pid_of(p)) != 0; }));
    };
    std::size_t packets = 0;
    // In half a second all tables have come, and nobody has looked again.
    for (const std::size_t so_many : {500u, 1'000u, 10'000u}) {
        read(part(stream, packets, so_many), 1, 0.5);
        packets = so_many;
        EXPECT_EQ(value("isdb_pid_bytes_total", "pid=\"0x0111\""), bytes_on(packets, {0x0111}));
        EXPECT_EQ(value("isdb_service_bytes_total", "service_id=\"0x5C20\""),
                  bytes_on(packets, {0x0111, 0x0112, ait_pid}));
        EXPECT_EQ(value("isdb_service_bytes_total", "service_id=\"0x5C38\""),
                  bytes_on(packets, {0x0201}));
        EXPECT_EQ(value("isdb_service_up", "service_id=\"0x5C20\""), "1");
    }
}

TEST_F(Metrics, CountOnWhereAServiceGoesToOtherPids) {
    const auto service_bytes = [&] {
        return value("isdb_service_bytes_total", "service_id=\"0x5C38\"");
    };
    const auto pmt_with = [](std::uint16_t pid, std::uint8_t version_number) {
        long_header header;
        header.version_number = version_number;
        return pmt_section(mobile_service, 0x1FFF, {}, elementary_stream(0x1B, pid), header);
    };
    const auto packets_on = [](stream_writer& to, std::uint16_t pid, int count) {
        for (int i = 0; i < count; ++i) to.packet(pid, false, {});
    };
    stream_writer stream;
    stream.section(0x0000, pat()).section(mobile_pmt_pid, pmt_with(0x0201, 1));
    packets_on(stream, 0x0201, 10);
    packets_on(stream, 0x0301, 20);
    stream.null_packets(10);
    read(stream);
    EXPECT_EQ(service_bytes(), std::to_string(10 * 188));

    stream.packets().clear();
    stream.section(mobile_pmt_pid, pmt_with(0x0301, 2)).null_packets(10);
    read(stream);
    EXPECT_EQ(service_bytes(), std::to_string(10 * 188));

    stream.packets().clear();
    packets_on(stream, 0x0201, 1'000);
    packets_on(stream, 0x0301, 5);
    stream.null_packets(10);
    read(stream);
    EXPECT_EQ(service_bytes(), std::to_string(15 * 188));
}

TEST_F(Metrics, TellWhatIsUp) {
    const std::string mobile = "service_id=\"0x5C38\"";
    read(known_broadcast(4), 4);
    EXPECT_EQ(value("isdb_service_up", mobile), "1");
    EXPECT_EQ(value("isdb_input_up"), "1");

    // Tables alone are no service.
    read(timed_stream(6).every(0.09, 0x0000, {pat()}).write(), 6);
    EXPECT_EQ(value("isdb_service_up", mobile), "0");
    EXPECT_EQ(value("isdb_input_up"), "1");

    time.steady += 6;
    watched.pass(time);
    EXPECT_EQ(value("isdb_input_up"), "0");
    EXPECT_EQ(value("isdb_last_packet_age_seconds"), "6");

    read(part(known_broadcast(1), 900, 1'000), 1, 0.1);
    EXPECT_EQ(value("isdb_service_up", mobile), "1");
    EXPECT_EQ(value("isdb_input_up"), "1");
}

TEST_F(Metrics, CountWhatIsWrongWithPackets) {
    stream_writer stream = known_broadcast(1);
    stream.skip_counter(0x0111).packet(0x0111, false, {});
    stream.packet(0x0112, false, {});
    set_transport_error_indicator(stream.last_packet());
    stream.null_packets(5);
    read(stream);
    EXPECT_EQ(value("isdb_continuity_errors_total", "pid=\"0x0111\""), "1");
    EXPECT_EQ(value("isdb_continuity_errors_total", "pid=\"0x0112\""), "0");
    EXPECT_EQ(value("isdb_transport_errors_total", "pid=\"0x0112\""), "1");
}

TEST_F(Metrics, HaveNoPidOfDamagedPacketsAlone) {
    stream_writer stream = known_broadcast(1);
    for (const std::uint16_t pid : std::vector<std::uint16_t>{0x0112, 0x0ABC, 0x0ABC}) {
        set_transport_error_indicator(stream.packet(pid, false, {}).last_packet());
    }
    stream.null_packets(5);
    read(stream);
    EXPECT_EQ(value("isdb_damaged_packets_total"), "3");
    EXPECT_EQ(value("isdb_transport_errors_total", "pid=\"0x0112\""), "1");
    for (const char* const name : {"isdb_packets_total", "isdb_pid_bytes_total",
                                   "isdb_continuity_errors_total", "isdb_transport_errors_total"}) {
        EXPECT_EQ(value(name, "pid=\"0x0ABC\""), "none");
    }

    stream.packets().clear();
    stream.packet(0x0ABC, false, {}).null_packets(5);
    read(stream);
    EXPECT_EQ(value("isdb_packets_total", "pid=\"0x0ABC\""), "3");
    EXPECT_EQ(value("isdb_transport_errors_total", "pid=\"0x0ABC\""), "2");
    EXPECT_EQ(value("isdb_damaged_packets_total"), "3");
}

TEST_F(Metrics, CountBytesThatAreNoPackets) {
    stream_writer stream = known_broadcast(1);
    stream.packets()[500] = bytes(188, 0);
    read(stream);
    EXPECT_EQ(value("isdb_skipped_bytes_total"), "188");
    EXPECT_EQ(value("isdb_sync_losses_total"), "1");
}

TEST_F(Metrics, CountSectionsByTable) {
    stream_writer stream;
    stream.section(0x0000, pat()).section(0x0000, pat()).section(0x0011, sdt());
    bytes damaged = nit();
    damaged.back() ^= 1;
    stream.section(0x0010, damaged).section(0x0010, long_section(0x4A, 1, bytes(4)));
    stream.null_packets(10);
    read(stream);
    EXPECT_EQ(value("isdb_sections_total", "table=\"pat\""), "2");
    EXPECT_EQ(value("isdb_sections_total", "table=\"sdt\""), "1");
    EXPECT_EQ(value("isdb_sections_total", "table=\"nit\""), "0");
    EXPECT_EQ(value("isdb_section_refused_total", "reason=\"crc_mismatch\""), "1");
    EXPECT_EQ(value("isdb_section_refused_total", "reason=\"not_decoded\""), "1");
    EXPECT_EQ(value("isdb_section_refused_total", "reason=\"overrun\""), "0");
}

TEST_F(Metrics, CountWhatAReceiverDrops) {
    stream_writer stream;
    stream.section(0x0000, pat());
    bytes& scrambled = stream.section(0x0011, sdt()).last_packet();
    set_transport_scrambling_control(scrambled, 2);
    stream.null_packets(10);
    read(stream);
    EXPECT_EQ(value("isdb_section_dropped_total", "reason=\"scrambled\""), "1");
    EXPECT_EQ(value("isdb_section_dropped_total", "reason=\"discontinuity\""), "0");
}

TEST_F(Metrics, TellHowOftenTablesCome) {
    read(known_broadcast(10), 10);
    const std::string count = value("isdb_table_interval_seconds_count", "table=\"nit\"");
    EXPECT_EQ(count, "9");
    EXPECT_EQ(value("isdb_table_interval_seconds_bucket", "table=\"nit\",le=\"0.5\""), "0");
    EXPECT_EQ(value("isdb_table_interval_seconds_bucket", "table=\"nit\",le=\"2\""), "9");
    EXPECT_EQ(value("isdb_table_interval_seconds_bucket", "table=\"nit\",le=\"+Inf\""), "9");
    EXPECT_NEAR(std::stod(value("isdb_table_interval_seconds_sum", "table=\"nit\"")), 9, 0.1);
}

TEST_F(Metrics, TellVersionsAndTheirChanges) {
    long_header next;
    next.version_number = 7;
    long_header not_yet = next;
    not_yet.version_number = 8;
    not_yet.current_next_indicator = 0;
    stream_writer stream;
    stream.section(0x0011, sdt());
    stream.section(0x0011, sdt(next)).section(0x0011, sdt(next)).section(0x0011, sdt(not_yet));
    stream.null_packets(10);
    read(stream);
    const std::string sdt_labels = "table=\"sdt\",pid=\"0x0011\",table_id_extension=\"0x02E1\"";
    EXPECT_EQ(value("isdb_table_version", sdt_labels), "7");
    EXPECT_EQ(value("isdb_table_version_changes_total", sdt_labels), "1");
}

TEST_F(Metrics, TellFindingsThatBeginAndEnd) {
    stream_writer stream = timed_stream(40)
                               .every(0.09, 0x0000, {pat()}, 0, 10)
                               .every(0.09, 0x0000, {pat()}, 12)
                               .write();
    const std::string rare = "finding=\"pat_rare\",severity=\"error\"";
    read(part(stream, 0, 9'000));
    EXPECT_EQ(value("isdb_finding_active", rare), "0");
    read(part(stream, 9'000, 11'500));
    EXPECT_EQ(value("isdb_finding_active", rare), "1");
    EXPECT_EQ(value("isdb_finding_begun_total", rare), "1");
    read(part(stream, 11'500, stream.packets().size()));
    EXPECT_EQ(value("isdb_finding_active", rare), "0");
    EXPECT_EQ(value("isdb_finding_begun_total", rare), "1");
}

TEST_F(Metrics, NameNetworkServicesAndWhatIsOn) {
    read(known_broadcast(4), 4);
    EXPECT_EQ(value("isdb_network_info",
                    "network_id=\"0x02E1\",transport_stream_id=\"0x02E1\",network_name=\"\","
                    "ts_name=\"Manac\xC3\xA1\""),
              "1");
    EXPECT_EQ(value("isdb_service_info",
                    "service_id=\"0x5C20\",number=\"3.1\",name=\"Manac\xC3\xA1 "
                    "HD\",type=\"digital television\""),
              "1");
    EXPECT_EQ(value("isdb_event_info", "service_id=\"0x5C20\",name=\"Jornal\""), "1");
    // 2026-11-21T19:45:00-03:00
    EXPECT_EQ(std::stod(value("isdb_event_start_timestamp_seconds", "service_id=\"0x5C20\"")),
              machine_utc - 45 * 60);
    EXPECT_EQ(value("isdb_event_duration_seconds", "service_id=\"0x5C20\""), "6330");
}

TEST_F(Metrics, TellHowFarTheBroadcastsClockIsOff) {
    stream_writer stream;
    stream.section(0x0014, tot()).null_packets(10);
    read(stream);
    EXPECT_EQ(value("isdb_clock_offset_seconds"), "0");  // 20:30:01, after a second
    time.utc += 7;
    stream_writer later;
    later.skip_counter(0x0014).section(0x0014, tot()).null_packets(10);
    read(later);
    EXPECT_EQ(value("isdb_clock_offset_seconds"), "-8");
}

TEST_F(Metrics, TellNoClockThatIsOutOfDate) {
    stream_writer stream;
    stream.section(0x0014, tot()).null_packets(10);
    read(stream);
    stream_writer without;
    without.null_packets(1'000);
    read(without, 100, 1.19);  // two minutes
    EXPECT_EQ(value("isdb_clock_offset_seconds"), "0");
    read(without, 2, 1);
    EXPECT_EQ(value("isdb_clock_offset_seconds"), "none");
}

TEST_F(Metrics, TellNoClockAndNothingOnTheAirWithoutASignal) {
    const std::string service = "service_id=\"0x5C20\"";
    const auto are_told = [&] {
        return std::set<bool>{value("isdb_clock_offset_seconds") != "none",
                              value("isdb_event_info", service + ",name=\"Jornal\"") != "none",
                              value("isdb_event_start_timestamp_seconds", service) != "none",
                              value("isdb_event_duration_seconds", service) != "none"};
    };
    read(known_broadcast(4), 4);
    EXPECT_EQ(are_told(), std::set<bool>{true});
    time.steady += 6;
    watched.pass(time);
    EXPECT_EQ(are_told(), std::set<bool>{false});
    EXPECT_EQ(value("isdb_service_up", service), "0");
    read(part(known_broadcast(1), 900, 1'000), 1, 0.1);
    EXPECT_EQ(are_told(), std::set<bool>{true});
}

TEST_F(Metrics, CompareNoVersionsAcrossAnOutage) {
    const std::string finding = "finding=\"content_without_version\",severity=\"error\"";
    const auto nit_of = [](std::uint16_t network_id) {
        stream_writer stream;
        for (int i = 0; i < 16; ++i) {  // as many as there are counters
            stream.section(0x0010,
                           nit_section(7, {}, transport_stream(network_id, network_id, {})));
        }
        return stream.null_packets(10);
    };
    read(nit_of(1));
    time.steady += 6;
    watched.pass(time);
    read(nit_of(2));
    EXPECT_EQ(value("isdb_finding_begun_total", finding), "0");
    EXPECT_EQ(value("isdb_continuity_errors_total", "pid=\"0x0010\""), "0");
    read(nit_of(3));
    EXPECT_EQ(value("isdb_finding_begun_total", finding), "1");
}

/// Of a broadcast whose clock is four hours behind UTC.
class MetricsInTheWest : public Metrics {
protected:
    MetricsInTheWest() : Metrics(monitor::settings{{}, std::chrono::hours(-4)}) {}
};

TEST_F(MetricsInTheWest, TellTimesByTheBroadcastsOffset) {
    read(known_broadcast(4), 4);
    EXPECT_EQ(value("isdb_clock_offset_seconds"), "3600");
    EXPECT_EQ(std::stod(value("isdb_event_start_timestamp_seconds", "service_id=\"0x5C20\"")),
              machine_utc + 3600 - 45 * 60);
}

/// That take a PAT for rare after 50 ms.
class MetricsWithLimits : public Metrics {
protected:
    MetricsWithLimits() : Metrics(with_limit()) {}

private:
    static monitor::settings with_limit() {
        monitor::settings how;
        how.limits.set(broadcast::finding_kind::pat_rare, 0.05);
        return how;
    }
};

TEST_F(MetricsWithLimits, TellFindingsByTheLimitsWanted) {
    read(known_broadcast(4), 4);
    EXPECT_NE(value("isdb_finding_begun_total", "finding=\"pat_rare\",severity=\"error\""), "0");
    EXPECT_EQ(value("isdb_finding_begun_total", "finding=\"nit_rare\",severity=\"error\""), "0");
}

TEST_F(Metrics, CountWhatTheNetworkDid) {
    link.opened = 2;
    EXPECT_EQ(value("isdb_datagrams_total"), "none");
    link.network = inputs::network_counts{10, 1, 2, {9, 3, 4, 5, 6, 7}, 4096};
    EXPECT_EQ(value("isdb_input_opened_total"), "2");
    EXPECT_EQ(value("isdb_datagrams_total"), "10");
    EXPECT_EQ(value("isdb_datagrams_malformed_total"), "1");
    EXPECT_EQ(value("isdb_datagrams_overflowed_total"), "2");
    EXPECT_EQ(value("isdb_receive_buffer_bytes"), "4096");
    EXPECT_EQ(value("isdb_rtp_packets_total"), "9");
    EXPECT_EQ(value("isdb_rtp_lost_total"), "3");
    EXPECT_EQ(value("isdb_rtp_reordered_total"), "4");
    EXPECT_EQ(value("isdb_rtp_late_total"), "5");
    EXPECT_EQ(value("isdb_rtp_duplicates_total"), "6");
    EXPECT_EQ(value("isdb_rtp_restarts_total"), "7");
}

TEST_F(Metrics, StandOnceEachAndTogetherForAllInputs) {
    read(known_broadcast(4), 4);
    metrics_page page;
    for (const char* const name : {"one", "two"}) {
        page.add(metrics_of({name, "udp://127.0.0.1:5004"}, watched, link, time));
    }
    std::istringstream text(page.text());
    std::set<std::string> seen;
    std::set<std::string> families;
    std::string family;
    for (std::string line; std::getline(text, line);) {
        EXPECT_TRUE(seen.insert(line.substr(0, line.rfind(' '))).second) << line;
        if (line.compare(0, 7, "# HELP ") == 0) {
            family = line.substr(7, line.find(' ', 7) - 7);
            EXPECT_TRUE(families.insert(family).second) << line;
        } else if (line[0] != '#') {
            EXPECT_EQ(line.compare(0, family.size(), family), 0) << line << " in " << family;
        }
    }
    EXPECT_EQ(seen.count("isdb_left_out_total{input=\"two\",what=\"services\"}"), 1u);
}

TEST_F(Metrics, CountWhatServicesAndFindingsLeaveOutTogether) {
    constexpr std::uint8_t sections = 6;
    stream_writer stream;
    for (std::uint8_t i = 0; i < sections; ++i) {
        long_header header;
        header.section_number = i;
        header.last_section_number = sections - 1;
        bytes programs;
        for (std::uint16_t id = 1; id <= 200; ++id) {
            programs = programs + program(static_cast<std::uint16_t>(i * 200 + id), 0x0100);
        }
        stream.section(0x0000, pat_section(1, programs, header));
    }
    stream.null_packets(10);
    read(stream);
    // Each of the two keeps a thousand.
    EXPECT_EQ(value("isdb_left_out_total", "what=\"services\""), "400");
}

TEST_F(Metrics, KeepLabelsWithinUtf8AndALine) {
    EXPECT_EQ(si_exporter::label_text("Jornal"), "Jornal");
    EXPECT_EQ(si_exporter::label_text("a\nb\x7F\xC2\x85"), "a b  ");
    EXPECT_EQ(si_exporter::label_text("\xE1"), "\xEF\xBF\xBD");
}

TEST_F(Metrics, KeepOnlySoManyTablesForTheirVersions) {
    stream_writer stream;
    for (std::uint16_t id = 0; id < 600; ++id) stream.section(0x0011, sdt_section(id, 1, {}));
    stream.null_packets(10);
    read(stream);
    const auto all = lines();
    EXPECT_EQ(std::count_if(all.begin(), all.end(),
                            [](const std::string& line) {
                                return line.compare(0, 19, "isdb_table_version{") == 0;
                            }),
              500);
    EXPECT_EQ(value("isdb_left_out_total", "what=\"tables whose versions are told\""), "100");
}

}  // namespace
}  // namespace orvix::test
