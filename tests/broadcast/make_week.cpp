// make_week DAYS: writes the tables of an ordinary multiplex over so many days (at most 30; 3.5 is
// fine) as packets of 188 bytes to the standard output: twenty services, an event every half hour,
// a schedule of eight days. See scripts/soak.

#include <isdb_sections.h>
#include <stream_writer.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>

namespace {

using namespace orvix::test;

constexpr std::uint16_t stream_id = 0x02E1;
constexpr std::uint16_t services = 20;
constexpr std::uint16_t first_day = 61365;  // a Modified Julian Date
constexpr unsigned int days_of_schedule = 8;
constexpr unsigned int segments_of_day = 8;
constexpr unsigned int events_of_segment = 6;
constexpr unsigned int events_of_day = segments_of_day * events_of_segment;
constexpr unsigned int seconds_of_event = 1800;
// Tables come rarely, so that a week stays small: what they say changes as on air.
constexpr unsigned int seconds_of_step = 10;
constexpr unsigned int schedule_sections_of_step = 4;

std::uint16_t service_id(std::uint16_t service) {
    return static_cast<std::uint16_t>(0x5C20 + service);
}
std::uint16_t pmt_pid(std::uint16_t service) { return static_cast<std::uint16_t>(0x100 + service); }

/// Six BCD digits.
std::uint32_t bcd_of(unsigned int seconds) {
    const auto bcd = [](unsigned int two_digits) { return two_digits / 10 << 4 | two_digits % 10; };
    return bcd(seconds / 3600) << 16 | bcd(seconds / 60 % 60) << 8 | bcd(seconds % 60);
}

bytes event_of(std::uint16_t service, unsigned int number, std::uint8_t running_status) {
    const std::string name =
        "Programa " + std::to_string(number) + " do canal " + std::to_string(service);
    const std::string text = "O que acontece no programa " + std::to_string(number) +
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

void write_step(stream_writer& stream, unsigned int step) {
    const unsigned int now = step * seconds_of_step;
    const unsigned int present = now / seconds_of_event;
    const unsigned int today = present / events_of_day;

    bytes programs;
    bytes described;
    for (std::uint16_t s = 0; s < services; ++s) {
        programs = programs + program(service_id(s), pmt_pid(s));
        described = described + service(service_id(s), 4, 0,
                                        describe_service(1, "Rede", "Canal " + std::to_string(s)));
    }
    stream.section(0x0000, pat_section(stream_id, programs));
    stream.section(0x0011, sdt_section(stream_id, stream_id, described));
    stream.section(0x0010, nit_section(stream_id, {},
                                       transport_stream(stream_id, stream_id,
                                                        describe_ts_information(3, "Rede"))));
    stream.section(0x0014, tot_section(utc_time(static_cast<std::uint16_t>(first_day + today),
                                                bcd_of(now % 86'400)),
                                       describe_local_time_offsets(local_time_offset(
                                           "BRA", 2, 1, 0x0000, utc_time(first_day, 0), 0x0000))));
    for (std::uint16_t s = 0; s < services; ++s) {
        stream.section(pmt_pid(s),
                       pmt_section(service_id(s), 0x0200, {}, elementary_stream(0x1B, 0x0200)));
        stream.sections(0x0012, present_following(s, present));
    }
    for (unsigned int i = 0; i < schedule_sections_of_step; ++i) {
        const unsigned int turn = step * schedule_sections_of_step + i;
        stream.section(0x0012, schedule(static_cast<std::uint16_t>(turn % services), today,
                                        turn / services % (days_of_schedule * segments_of_day)));
    }
}

void write(double days) {
    if (!(days > 0 && days <= 30)) throw std::runtime_error("from 0 to 30 days");
    const auto steps = static_cast<unsigned int>(days * 86'400 / seconds_of_step);
    stream_writer stream;
    for (unsigned int step = 0; step < steps; ++step) {
        write_step(stream, step);
        const bytes packets = stream.stream();
        stream.packets().clear();
        if (std::fwrite(packets.data(), 1, packets.size(), stdout) != packets.size()) {
            throw std::runtime_error("standard output: cannot be written");
        }
    }
    if (std::fflush(stdout) != 0) throw std::runtime_error("standard output: cannot be written");
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 2) throw std::runtime_error("usage: make_week DAYS");
    write(std::strtod(argv[1], nullptr));
    return 0;
} catch (const std::exception& e) {
    std::fprintf(stderr, "make_week: %s\n", e.what());
    return 1;
}
