#include "broadcast.h"

#include <stream_writer.h>

#include <functional>

namespace orvix::sample {

using test::section_writer;
using test::stream_writer;

namespace {

/// Time passes in steps: of a stream that carries the clock, each has one packet. The others have
/// one in a second.
constexpr unsigned int milliseconds_of_tick = 100;
constexpr unsigned int milliseconds_between_packets = 1000;

struct table_on_air {
    const char* name;  ///< as in the description's milliseconds_between
    std::uint16_t pid = 0;
    std::function<std::vector<bytes>(std::time_t now)> sections;
};

std::uint16_t pid_of(const json& description, const char* key) {
    return static_cast<std::uint16_t>(number(description.at(key)));
}

std::vector<table_on_air> tables_of(const json& station) {
    using sections = std::vector<bytes>;
    std::vector<table_on_air> tables;
    tables.push_back({"pat", 0x0000, [&](std::time_t) { return sections{make_pat(station)}; }});
    for (const json& service : station.at("services")) {
        tables.push_back({"pmt", pid_of(service, "pmt_pid"),
                          [&](std::time_t) { return sections{make_pmt(station, service)}; }});
        const std::uint16_t eit_pid = pid_of(service, "eit_pid");
        tables.push_back({"eit_present_following", eit_pid, [&](std::time_t now) {
                              return make_eit_present_following(station, service, now);
                          }});
        if (!service.at("has_schedule").get<bool>()) continue;
        tables.push_back({"eit_schedule", eit_pid,
                          [&](std::time_t) { return make_eit_schedule(station, service); }});
    }
    tables.push_back({"nit", 0x0010, [&](std::time_t) { return sections{make_nit(station)}; }});
    tables.push_back({"sdt", 0x0011, [&](std::time_t) { return sections{make_sdt(station)}; }});
    tables.push_back({"ait", pid_of(station.at("application"), "pid"),
                      [&](std::time_t) { return sections{make_ait(station)}; }});
    tables.push_back({"tdt", 0x0014, [](std::time_t now) { return sections{make_tdt(now)}; }});
    tables.push_back(
        {"tot", 0x0014, [&](std::time_t now) { return sections{make_tot(station, now)}; }});
    return tables;
}

/// A PES packet of padding, where sound or picture would be.
bytes padding() {
    constexpr std::size_t padding_bytes = 160;
    return section_writer()
        .bits(24, 0x000001)  // packet_start_code_prefix
        .bits(8, 0xBE)       // stream_id: padding_stream
        .bits(16, padding_bytes)
        .append(bytes(padding_bytes, 0xFF));
}

/// Of a service: sound, captions, the carousel, but neither the clock nor tables.
std::vector<std::uint16_t> streams_of(const json& station, const json& service) {
    std::vector<std::uint16_t> pids;
    for (const json& stream : service.at("streams")) {
        const std::uint16_t pid = pid_of(stream, "pid");
        const bool is_another =
            pid != pid_of(service, "pcr_pid") && pid != pid_of(station.at("application"), "pid");
        if (is_another) pids.push_back(pid);
    }
    return pids;
}

test::adaptation_field clock_reference(unsigned int milliseconds) {
    constexpr std::uint64_t ticks_of_millisecond = 27000;
    test::adaptation_field field;
    field.pcr = milliseconds * ticks_of_millisecond;
    return field;
}

}  // namespace

bytes make_broadcast(const json& station) {
    const std::vector<table_on_air> tables = tables_of(station);
    const std::time_t clock = clock_time(station.at("clock"));
    const unsigned int end = number(station.at("seconds")) * 1000;
    const std::size_t packets_per_second = number(station.at("packets_per_second"));

    stream_writer stream;
    for (unsigned int now = 0; now < end; now += milliseconds_of_tick) {
        // Rare tables begin one tick after the other, so that they do not all come at once.
        unsigned int first = 0;
        for (const table_on_air& table : tables) {
            const unsigned int between = number(station.at("milliseconds_between").at(table.name));
            if (now % between == first % between) {
                stream.sections(table.pid, table.sections(clock + now / 1000));
            }
            first += milliseconds_of_tick;
        }
        for (const json& service : station.at("services")) {
            stream.packet(pid_of(service, "pcr_pid"), true, padding(), clock_reference(now));
            if (now % milliseconds_between_packets != 0) continue;
            for (const std::uint16_t pid : streams_of(station, service)) {
                stream.packet(pid, true, padding());
            }
        }
        const std::size_t due = packets_per_second * (now + milliseconds_of_tick) / 1000;
        if (stream.packets().size() < due) stream.null_packets(due - stream.packets().size());
    }
    return stream.stream();
}

}  // namespace orvix::sample
