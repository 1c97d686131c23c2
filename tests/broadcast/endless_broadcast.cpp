#include "endless_broadcast.h"

#include <isdb_sections.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace orvix::test {

namespace {

constexpr std::uint16_t stream_id = 0x02E1;
constexpr std::uint16_t clock_pid = 0x00FF;
constexpr std::uint16_t first_day = 61365;  // a Modified Julian Date
constexpr unsigned int days_of_schedule = 8;
constexpr unsigned int segments_of_day = 8;
constexpr unsigned int events_of_segment = 6;
constexpr unsigned int events_of_day = segments_of_day * events_of_segment;
constexpr unsigned int seconds_of_event = 1800;
constexpr unsigned int steps_of_hour = 3600 / endless_broadcast::seconds_of_step;

std::uint16_t service_id(std::uint16_t service) {
    return static_cast<std::uint16_t>(0x5C20 + service);
}
std::uint16_t pmt_pid(std::uint16_t service) { return static_cast<std::uint16_t>(0x100 + service); }

/// Six BCD digits.
std::uint32_t bcd_of(unsigned int seconds) {
    const auto bcd = [](unsigned int two_digits) { return two_digits / 10 << 4 | two_digits % 10; };
    return bcd(seconds / 3600) << 16 | bcd(seconds / 60 % 60) << 8 | bcd(seconds % 60);
}

/// Names have the same length for thousands of events, so that they take the same memory.
bytes event_of(std::uint16_t service, unsigned int number, std::uint8_t running_status) {
    const std::string name =
        "Programa " + std::to_string(1000 + number) + " do canal " + std::to_string(service);
    const std::string text = "O que acontece no programa " + std::to_string(1000 + number) +
                             ", contado a quem pensa em ligar o televisor mais tarde.";
    return event(static_cast<std::uint16_t>(number),
                 utc_time(static_cast<std::uint16_t>(first_day + number / events_of_day),
                          bcd_of(number % events_of_day * seconds_of_event)),
                 bcd_of(seconds_of_event), running_status, 0,
                 describe_short_event("por", name, text) + describe_content({0x30, 0x00}) +
                     describe_parental_ratings(parental_rating("BRA", 2)));
}

std::vector<bytes> present_following(std::uint16_t service, unsigned int number) {
    std::vector<bytes> sections;
    for (std::uint8_t section = 0; section < 2; ++section) {
        const long_header header = {static_cast<std::uint8_t>(number % 32), 1, section, 1};
        const eit_identifiers ids = {0x4E, service_id(service), stream_id, stream_id, 1, 0x4E};
        const std::uint8_t running_status = section == 0 ? 4 : 1;
        sections.push_back(
            eit_section(ids, event_of(service, number + section, running_status), header));
    }
    return sections;
}

/// Every other event has a second stream.
bytes pmt_of(std::uint16_t service, unsigned int number) {
    const bytes video = elementary_stream(0x1B, 0x0200);
    const long_header header = {static_cast<std::uint8_t>(number % 32)};
    return pmt_section(service_id(service), clock_pid, {},
                       number % 2 == 0 ? video : video + elementary_stream(0x11, 0x0201), header);
}

/// The section of a segment of three hours, counted from the midnight before `today`.
bytes schedule(std::uint16_t service, unsigned int today, unsigned int segment) {
    constexpr unsigned int segments_of_table = 32;
    constexpr unsigned int sections_of_segment = 8;
    const auto table_id = static_cast<std::uint8_t>(0x50 + segment / segments_of_table);
    const auto number =
        static_cast<std::uint8_t>(segment % segments_of_table * sections_of_segment);
    const long_header header = {static_cast<std::uint8_t>(today % 32), 1, number, 248};
    const eit_identifiers ids = {table_id, service_id(service), stream_id, stream_id, number, 0x51};
    bytes events;
    const unsigned int first = today * events_of_day + segment * events_of_segment;
    for (unsigned int i = 0; i < events_of_segment; ++i) {
        events = events + event_of(service, first + i, 0);
    }
    return eit_section(ids, events, header);
}

}  // namespace

/// Enough for the tables and a PCR.
std::size_t endless_broadcast::packets_of_second() const { return 3 + services_ * 3u / 4; }

void endless_broadcast::write_tables() {
    const unsigned int now = step_ * seconds_of_step;
    const unsigned int present = now / seconds_of_event;
    const auto today = static_cast<std::uint16_t>(first_day + present / events_of_day);

    bytes programs;
    bytes described;
    for (std::uint16_t s = 0; s < services_; ++s) {
        programs = programs + program(service_id(s), pmt_pid(s));
        described = described + service(service_id(s), 4, 0,
                                        describe_service(1, "Rede", "Canal " + std::to_string(s)));
    }
    tables_.section(0x0000, pat_section(stream_id, programs));
    tables_.section(0x0011, sdt_section(stream_id, stream_id, described));
    tables_.section(0x0010, nit_section(stream_id, {},
                                        transport_stream(stream_id, stream_id,
                                                         describe_ts_information(3, "Rede"))));
    tables_.section(0x0014, tot_section(utc_time(today, bcd_of(now % 86'400)),
                                        describe_local_time_offsets(local_time_offset(
                                            "BRA", 2, 1, 0x0000, utc_time(first_day, 0), 0x0000))));
    for (std::uint16_t s = 0; s < services_; ++s) {
        tables_.section(pmt_pid(s), pmt_of(s, present));
        tables_.sections(0x0012, present_following(s, present));
    }
}

void endless_broadcast::write_schedule() {
    constexpr unsigned int segments = days_of_schedule * segments_of_day;
    const unsigned int today = step_ / steps_of_day;
    const unsigned int all = services_ * segments;
    const unsigned int sections = (all + steps_of_hour - 1) / steps_of_hour;
    for (unsigned int i = 0; i < sections; ++i) {
        const unsigned int turn = step_ * sections + i;
        tables_.section(0x0012, schedule(static_cast<std::uint16_t>(turn % services_), today,
                                         turn / services_ % segments));
    }
}

void endless_broadcast::lose_and_damage() {
    std::vector<bytes>& packets = tables_.packets();
    if (step_ % steps_of_hour == 100) packets.erase(packets.begin());
    if (step_ % steps_of_hour == 200) packets.at(1).at(20) ^= 0x01;
}

/// A PCR in each second, and null packets up to a constant bit rate.
std::vector<bytes> endless_broadcast::with_clock() {
    const std::size_t in_second = packets_of_second();
    auto next = tables_.packets().begin();
    clock_.packets().clear();
    for (unsigned int second = 0; second < seconds_of_step; ++second) {
        constexpr std::uint64_t ticks_of_second = 27'000'000;
        constexpr std::uint64_t pcr_end = (std::uint64_t{1} << 33) * 300;
        const std::uint64_t seconds = std::uint64_t{step_} * seconds_of_step + second;
        adaptation_field adaptation;
        adaptation.pcr = seconds * ticks_of_second % pcr_end;
        clock_.packet_without_payload(clock_pid, adaptation);
        for (std::size_t i = 1; i < in_second; ++i) {
            if (next != tables_.packets().end()) {
                clock_.packets().push_back(*next++);
            } else {
                clock_.null_packets();
            }
        }
    }
    if (next != tables_.packets().end()) throw std::logic_error("no room for the tables");
    return clock_.packets();
}

bytes endless_broadcast::next_step() {
    tables_.packets().clear();
    write_tables();
    write_schedule();
    lose_and_damage();
    const bytes stream = join_packets(with_clock());
    ++step_;
    return stream;
}

}  // namespace orvix::test
