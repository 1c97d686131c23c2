#include "metrics.h"

#include <broadcast/names.h>
#include <broadcast/utf8.h>
#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>

#include <array>
#include <cstdio>
#include <limits>
#include <map>
#include <utility>

namespace orvix::si_exporter {

using namespace broadcast;
using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;

namespace {

/// The rows of the table below.
enum metric : std::size_t {
    build_info,
    input_info,
    input_up,
    input_opened,
    last_packet_age,
    received_bytes,
    skipped_bytes,
    sync_losses,
    datagrams,
    malformed_datagrams,
    overflowed_datagrams,
    receive_buffer,
    rtp_packets,
    rtp_lost,
    rtp_reordered,
    rtp_late,
    rtp_duplicates,
    rtp_restarts,
    damaged_packets,
    packets,
    pid_bytes,
    continuity_errors,
    transport_errors,
    sections,
    sections_refused,
    sections_dropped,
    table_interval,
    table_version,
    table_version_changes,
    finding_active,
    finding_begun,
    network_info,
    service_info,
    service_up,
    service_bytes,
    event_info,
    event_start,
    event_duration,
    clock_offset,
    left_out,
    metrics,
};

struct metric_row {
    const char* name;
    MetricType type;
    const char* help;
};

constexpr std::array<metric_row, metrics> rows = {{
    {"isdb_exporter_build_info", MetricType::Gauge, "The exporter's version; always 1."},
    {"isdb_input_info", MetricType::Gauge, "Where an input comes from; always 1."},
    {"isdb_input_up", MetricType::Gauge, "Whether packets have come in the last 5 seconds."},
    {"isdb_input_opened_total", MetricType::Counter,
     "How often the input was opened, with each time that a silent group was joined anew."},
    {"isdb_last_packet_age_seconds", MetricType::Gauge,
     "Time since the last packet; since the start where none has come."},
    {"isdb_received_bytes_total", MetricType::Counter, "Bytes of the transport stream."},
    {"isdb_skipped_bytes_total", MetricType::Counter, "Bytes that belong to no packet."},
    {"isdb_sync_losses_total", MetricType::Counter, "How often packets had to be found again."},
    {"isdb_datagrams_total", MetricType::Counter, "Datagrams received."},
    {"isdb_datagrams_malformed_total", MetricType::Counter,
     "Datagrams that were empty, or not what those of RTP must be."},
    {"isdb_datagrams_overflowed_total", MetricType::Counter,
     "Datagrams that found the receive buffer full."},
    {"isdb_receive_buffer_bytes", MetricType::Gauge, "The receive buffer that the system granted."},
    {"isdb_rtp_packets_total", MetricType::Counter, "Datagrams with a whole header of RTP."},
    {"isdb_rtp_lost_total", MetricType::Counter,
     "Datagrams of RTP that had not come when their turn was over."},
    {"isdb_rtp_reordered_total", MetricType::Counter,
     "Datagrams of RTP that came behind a later one."},
    {"isdb_rtp_late_total", MetricType::Counter,
     "Reordered datagrams of RTP that had been given up as lost."},
    {"isdb_rtp_duplicates_total", MetricType::Counter, "Datagrams of RTP that had come before."},
    {"isdb_rtp_restarts_total", MetricType::Counter,
     "How often the numbers of RTP went on elsewhere, or another sender came."},
    {"isdb_damaged_packets_total", MetricType::Counter,
     "Packets with transport_error_indicator, whatever PID they show."},
    {"isdb_packets_total", MetricType::Counter, "Packets by PID."},
    {"isdb_pid_bytes_total", MetricType::Counter, "Bytes of packets by PID."},
    {"isdb_continuity_errors_total", MetricType::Counter,
     "Unannounced jumps of the continuity_counter, by PID."},
    {"isdb_transport_errors_total", MetricType::Counter,
     "Packets with transport_error_indicator, by PID."},
    {"isdb_sections_total", MetricType::Counter, "Sections that the receiver reads, by table."},
    {"isdb_section_refused_total", MetricType::Counter,
     "Sections that the receiver must not be handed or does not decode, by reason."},
    {"isdb_section_dropped_total", MetricType::Counter,
     "Packets and unfinished sections that a receiver drops, by reason."},
    {"isdb_table_interval_seconds", MetricType::Histogram,
     "Time until a section came again, by the stream's clock."},
    {"isdb_table_version", MetricType::Gauge, "The version_number in force of a table."},
    {"isdb_table_version_changes_total", MetricType::Counter,
     "How often the version_number of a table changed."},
    {"isdb_finding_active", MetricType::Gauge, "How many findings of a name are in force."},
    {"isdb_finding_begun_total", MetricType::Counter, "How often a finding of a name has begun."},
    {"isdb_network_info", MetricType::Gauge, "Network and transport stream; always 1."},
    {"isdb_service_info", MetricType::Gauge,
     "Number, name and type of a service that viewers can tune to; always 1."},
    {"isdb_service_up", MetricType::Gauge,
     "Whether packets of a service's streams have come in the last 5 seconds."},
    {"isdb_service_bytes_total", MetricType::Counter,
     "Bytes of the packets of a service's streams."},
    {"isdb_event_info", MetricType::Gauge, "What is on now; always 1."},
    {"isdb_event_start_timestamp_seconds", MetricType::Gauge,
     "When what is on now has begun, since 1970."},
    {"isdb_event_duration_seconds", MetricType::Gauge, "How long what is on now lasts."},
    {"isdb_clock_offset_seconds", MetricType::Gauge,
     "How far the broadcast's clock is ahead of the machine's."},
    {"isdb_left_out_total", MetricType::Counter,
     "What exceeded the bounds of what is kept, by what it is."},
}};

using labels = std::vector<ClientMetric::Label>;

/// The rows, without help.
std::vector<MetricFamily> without_samples() {
    std::vector<MetricFamily> all(metrics);
    for (std::size_t i = 0; i < metrics; ++i) {
        all[i].name = rows[i].name;
        all[i].type = rows[i].type;
    }
    return all;
}

/// What one input shows.
class samples {
public:
    explicit samples(std::string input) : input_(std::move(input)) {}

    void add(metric of, double value, labels more = {}) {
        ClientMetric& sample = append(of, std::move(more));
        if (rows[of].type == MetricType::Counter) {
            sample.counter.value = value;
        } else {
            sample.gauge.value = value;
        }
    }
    void add(metric of, std::uint64_t value, labels more = {}) {
        add(of, static_cast<double>(value), std::move(more));
    }
    void add(metric of, const histogram& value, labels more) {
        ClientMetric::Histogram& to = append(of, std::move(more)).histogram;
        for (std::size_t i = 0; i < value.counts.size(); ++i) {
            to.sample_count += value.counts[i];
            const bool is_last = i == histogram::bounds.size();
            to.bucket.push_back({to.sample_count, is_last ? std::numeric_limits<double>::infinity()
                                                          : histogram::bounds[i]});
        }
        to.sample_sum = value.sum;
    }
    void info(metric of, labels more) { add(of, 1.0, std::move(more)); }

    std::vector<MetricFamily> take() { return std::move(all_); }

private:
    ClientMetric& append(metric of, labels more) {
        ClientMetric sample;
        sample.label.push_back({"input", input_});
        for (ClientMetric::Label& label : more) sample.label.push_back(std::move(label));
        return all_[of].metric.emplace_back(std::move(sample));
    }

    std::vector<MetricFamily> all_ = without_samples();
    std::string input_;
};

std::string hex(std::uint32_t value) {
    std::array<char, 16> text = {};
    std::snprintf(text.data(), text.size(), "0x%04X", value);
    return text.data();
}

void add_link(samples& to, const watched_input::link& link) {
    to.add(input_opened, link.opened);
    if (!link.network) return;
    const inputs::network_counts& network = *link.network;
    to.add(datagrams, network.datagrams);
    to.add(malformed_datagrams, network.malformed);
    to.add(overflowed_datagrams, network.overflowed);
    to.add(receive_buffer, std::uint64_t{network.buffer_bytes});
    to.add(rtp_packets, network.rtp.packets);
    to.add(rtp_lost, network.rtp.lost);
    to.add(rtp_reordered, network.rtp.reordered);
    to.add(rtp_late, network.rtp.late);
    to.add(rtp_duplicates, network.rtp.duplicates);
    to.add(rtp_restarts, network.rtp.restarts);
}

void add_stream(samples& to, const monitor& of, machine_time now) {
    to.add(input_up, of.is_up(now) ? 1.0 : 0.0);
    to.add(last_packet_age, of.silent_seconds(now));
    to.add(received_bytes, of.bytes());
    to.add(skipped_bytes, of.stream().reader().skipped_bytes());
    to.add(sync_losses, of.stream().reader().sync_losses());
}

/// The PID of a damaged packet is noise: where reception fades all 8192 come, and would stay.
void add_pids(samples& to, const section_feed::stream_counts& counts) {
    std::uint64_t damaged = 0;
    for (const std::uint16_t pid : counts.pids()) {
        const section_feed::packet_counts& of_pid = counts.of(pid);
        damaged += of_pid.transport_errors;
        const bool is_sent = of_pid.packets > of_pid.transport_errors;
        if (!is_sent) continue;
        const labels label = {{"pid", hex(pid)}};
        to.add(packets, of_pid.packets, label);
        to.add(pid_bytes, of_pid.packets * monitor::packet_bytes, label);
        to.add(continuity_errors, of_pid.continuity_errors, label);
        to.add(transport_errors, of_pid.transport_errors, label);
    }
    to.add(damaged_packets, damaged);
}

/// "eit_schedule" of "eit_schedule_rare".
std::string table_of(finding_kind interval) {
    const std::string_view name = rule_of(interval).name;
    return std::string(name.substr(0, name.rfind("_rare")));
}

void add_tables(samples& to, const monitor& of) {
    for (const auto& [table, count] : of.sections()) {
        to.add(sections, count, {{"table", std::string(table)}});
    }
    for (std::size_t i = 1; i < section_feed::verdicts; ++i) {
        const char* const reason = to_string(static_cast<section_feed::verdict>(i));
        to.add(sections_refused, of.refused_sections()[i], {{"reason", reason}});
    }
    for (std::size_t i = 0; i < section_feed::drop_reasons; ++i) {
        const char* const reason = to_string(static_cast<section_feed::drop_reason>(i));
        to.add(sections_dropped, of.dropped_sections()[i], {{"reason", reason}});
    }
    for (const auto& [interval, seconds] : of.intervals()) {
        to.add(table_interval, seconds, {{"table", table_of(interval)}});
    }
    for (const auto& [key, version] : of.versions()) {
        const auto& [pid, table_id, extension] = key;
        const labels label = {{"table", std::string(names::table_kind(table_id))},
                              {"pid", hex(pid)},
                              {"table_id_extension", hex(extension)}};
        to.add(table_version, std::uint64_t{version.number}, label);
        to.add(table_version_changes, version.changes, label);
    }
}

void add_findings(samples& to, const monitor& of) {
    for (const auto& [key, counts] : of.finding_totals()) {
        const labels label = {{"finding", std::string(rule_of(key.first).name)},
                              {"severity", std::string(to_string(key.second))}};
        to.add(finding_active, counts.in_force, label);
        to.add(finding_begun, counts.begun, label);
    }
}

void add_event(samples& to, const monitor& of, const event_on_air& event,
               const ClientMetric::Label& service) {
    to.info(event_info, {service, {"name", label_text(event.name)}});
    if (event.start_time != undefined_time) {
        to.add(event_start, static_cast<double>(of.utc_of(event.start_time)), {service});
    }
    if (event.duration != undefined_duration) {
        to.add(event_duration, static_cast<double>(event.duration), {service});
    }
}

void add_services(samples& to, const monitor& of, machine_time now) {
    const told_services all = of.services();
    if (all.network_id || all.transport_stream_id) {
        to.info(network_info, {{"network_id", all.network_id ? hex(*all.network_id) : ""},
                               {"transport_stream_id",
                                all.transport_stream_id ? hex(*all.transport_stream_id) : ""},
                               {"network_name", label_text(all.network_name)},
                               {"ts_name", label_text(all.ts_name)}});
    }
    for (const told_service& service : all.services) {
        const ClientMetric::Label id = {"service_id", hex(service.service_id)};
        const std::string_view type =
            service.service_type ? names::service_type(*service.service_type) : "";
        to.info(service_info, {id,
                               {"number", service.number},
                               {"name", label_text(service.name)},
                               {"type", std::string(type)}});
        to.add(service_up, of.is_up(service, now) ? 1.0 : 0.0, {id});
        to.add(service_bytes, of.bytes(service), {id});
        if (service.present && of.is_up(now)) add_event(to, of, *service.present, id);
    }
}

std::string text_of(MetricFamily family) {
    std::vector<MetricFamily> one(1);
    one[0] = std::move(family);
    return prometheus::TextSerializer().Serialize(one);
}

}  // namespace

std::string label_text(std::string_view bytes) {
    std::string text;
    while (!bytes.empty()) {
        const utf8_character first = first_character(bytes);
        const bool is_control = first.code < 0x20 || (first.code >= 0x7F && first.code < 0xA0);
        if (!first.is_valid) {
            text += "\xEF\xBF\xBD";
        } else if (is_control) {
            text += ' ';
        } else {
            text += bytes.substr(0, first.size);
        }
        bytes.remove_prefix(first.size);
    }
    return text;
}

std::vector<MetricFamily> metrics_of(const named_input& what, const monitor& of,
                                     const watched_input::link& link, machine_time now) {
    samples all(what.name);
    all.info(input_info, {{"address", label_text(what.address)}});
    add_link(all, link);
    add_stream(all, of, now);
    add_pids(all, of.stream().counts());
    add_tables(all, of);
    add_findings(all, of);
    add_services(all, of, now);
    if (const auto offset = of.clock_offset(now)) all.add(clock_offset, *offset);
    for (const auto& [bounded, count] : of.left_out()) {
        all.add(left_out, count, {{"what", std::string(bounded)}});
    }
    return all.take();
}

metrics_page::metrics_page() {
    std::vector<MetricFamily> heads = without_samples();
    for (std::size_t i = 0; i < metrics; ++i) heads[i].help = rows[i].help;
    ClientMetric version;
    version.label.push_back({"version", SI_EXPORTER_VERSION});
    version.gauge.value = 1;
    heads[build_info].metric.push_back(std::move(version));
    for (MetricFamily& head : heads) families_.push_back(text_of(std::move(head)));
}

void metrics_page::add(std::vector<MetricFamily> of_input) {
    for (std::size_t i = 0; i < metrics; ++i) {
        if (of_input[i].metric.empty()) continue;
        const std::string text = text_of(std::move(of_input[i]));
        // Behind the line that tells the type once more.
        families_[i].append(text, text.find('\n') + 1);
    }
}

std::string metrics_page::text() const {
    std::size_t size = 0;
    for (const std::string& family : families_) size += family.size();
    std::string all;
    all.reserve(size);
    for (const std::string& family : families_) all += family;
    return all;
}

std::string page_of(const std::vector<std::shared_ptr<watched_input>>& inputs) {
    metrics_page page;
    for (const auto& input : inputs) {
        std::vector<MetricFamily> shown;
        input->look([&](const monitor& of, const watched_input::link& link) {
            shown = metrics_of(input->what(), of, link, now());
        });
        page.add(std::move(shown));
    }
    return page.text();
}

}  // namespace orvix::si_exporter
