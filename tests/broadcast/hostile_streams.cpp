#include "hostile_streams.h"

#include <isdb_sections.h>

#include <stdexcept>

namespace orvix::test {

namespace {

constexpr std::uint16_t pat_pid = 0x0000;
constexpr std::uint16_t nit_pid = 0x0010;
constexpr std::uint16_t sdt_pid = 0x0011;
constexpr std::uint16_t eit_pid = 0x0012;

constexpr std::uint16_t network = 0x02E1;
constexpr std::uint16_t some_service = 0x5C20;
constexpr std::uint8_t present_following = 0x4E;
constexpr std::uint8_t first_schedule = 0x50;
constexpr std::uint8_t last_schedule = 0x5F;

std::uint16_t low16(std::uint32_t value) { return static_cast<std::uint16_t>(value); }
std::uint8_t low8(std::uint32_t value) { return static_cast<std::uint8_t>(value); }
std::uint8_t version_of(std::uint32_t number) { return number % 32; }

// --- Times and texts ---

/// Six BCD digits.
std::uint32_t hhmmss(std::uint32_t seconds_of_day) {
    const auto bcd = [](std::uint32_t value) { return value / 10 << 4 | value % 10; };
    return bcd(seconds_of_day / 3600) << 16 | bcd(seconds_of_day / 60 % 60) << 8 |
           bcd(seconds_of_day % 60);
}

/// So many seconds after 2020-01-01.
bytes moment(std::uint32_t seconds) {
    constexpr std::uint32_t first_day = 58849;
    constexpr std::uint32_t day = 86400;
    return utc_time(low16(first_day + seconds / day), hhmmss(seconds % day));
}

bytes named(const std::string& name) { return describe_short_event("por", name, ""); }

std::string numbered(std::uint32_t number) { return "Programa " + std::to_string(number); }

/// The event that begins `number` times ten minutes after the first one, and lasts as long.
bytes ten_minutes(std::uint16_t event_id, std::uint32_t number, const bytes& descriptors) {
    return event(event_id, moment(number * 600), 0x001000, 0, 0, descriptors);
}

// --- Tables ---

bytes eit_of(std::uint16_t service_id, std::uint8_t table_id, const bytes& events,
             const long_header& header = {}) {
    return eit_section(
        {table_id, service_id, network, network, header.last_section_number, table_id}, events,
        header);
}

/// What is present on `some_service`.
sent_section present(const bytes& event, std::uint32_t number) {
    return {eit_pid, eit_of(some_service, present_following, event, {version_of(number), 1, 0, 1})};
}

/// Section `number` of as many as a service's schedule has, and then of the next service's.
sent_section schedule_section(std::uint32_t number, const bytes& events) {
    constexpr std::uint32_t tables = last_schedule - first_schedule + 1;
    const std::uint32_t table = number / 256 % tables;
    const std::uint32_t service = number / 256 / tables;
    return {eit_pid, eit_of(low16(some_service + service), low8(first_schedule + table), events,
                            {0, 1, low8(number), 255})};
}

constexpr std::uint32_t programs_of_a_section = 1000;

/// Programmes number*1000 and so on, each with a PID among all that a PMT may have.
bytes pat_of_a_thousand(std::uint32_t number, std::uint8_t version = 0) {
    bytes programs;
    for (std::uint32_t i = 0; i < programs_of_a_section; ++i) {
        const std::uint32_t program_number = number * programs_of_a_section + i + 1;
        programs = std::move(programs) +
                   program(low16(program_number), low16(0x0020 + program_number % 0x1FC0));
    }
    return pat_section(network, programs, {version, 1, low8(number), 255});
}

constexpr std::uint32_t eight_pats = 8;
constexpr std::uint32_t their_programs = eight_pats * programs_of_a_section;

sent_section pmt_of(std::uint32_t program_number, std::uint16_t elementary_pid,
                    const long_header& header = {}) {
    return {low16(0x0020 + program_number % 0x1FC0),
            pmt_section(low16(program_number), 0x1FFF, {}, elementary_stream(0x1B, elementary_pid),
                        header)};
}

// --- Programmes and their PIDs ---

sent_section pat_of_256_sections(std::uint32_t number) {
    if (number < 256) return {pat_pid, pat_of_a_thousand(number)};
    return {pat_pid, pat_section(network, program(low16(number), low16(0x0020 + number % 0x1FC0)),
                                 {version_of(number), 1, low8(number), 255})};
}

sent_section pmts_of_many_programs(std::uint32_t number) {
    if (number < eight_pats) return {pat_pid, pat_of_a_thousand(number)};
    return pmt_of(number % their_programs + 1, low16(0x0020 + number / 7 % 0x1FC0),
                  {version_of(number / their_programs)});
}

sent_section repeats_beside_many_programs(std::uint32_t number) {
    if (number < eight_pats) return {pat_pid, pat_of_a_thousand(number)};
    return {sdt_pid, sdt_section(network, network, service(some_service, 4, 0))};
}

sent_section programs_ever_new(std::uint32_t number) {
    return {pat_pid,
            pat_section(low16(number / 65535),
                        program(low16(number % 65535 + 1), low16(0x0020 + number % 0x1FC0)),
                        {version_of(number), 1, 0, 0})};
}

// --- Repeats ---

sent_section places_on_many_pids(std::uint32_t number) {
    if (number < eight_pats) return {pat_pid, pat_of_a_thousand(number)};
    const std::uint32_t round = number / their_programs;
    return pmt_of(number % their_programs + 1, 0x0021, {0, 1, low8(round), 255});
}

sent_section places_on_one_pid(std::uint32_t number) {
    return {eit_pid, eit_of(low16(number), low8(first_schedule + number / 65536 % 16),
                            ten_minutes(1, number, {}))};
}

// --- What is on air ---

sent_section present_event_toggles(std::uint32_t number) {
    return present(ten_minutes(1, 1, named(number % 2 == 0 ? "Jornal" : "O Jornal")), number);
}

sent_section present_event_repeats(std::uint32_t /*number*/) {
    return present(ten_minutes(1, 1, named("Jornal")), 0);
}

sent_section present_events_ever_new(std::uint32_t number) {
    return present(ten_minutes(low16(number), number, named(numbered(number))), number);
}

sent_section present_event_slips(std::uint32_t number) {
    return present(event(1, moment(number), 0x001000, 0, 0, named("Jogo")), number);
}

sent_section present_events_without_times(std::uint32_t number) {
    return present(
        event(low16(number), utc_time(0xFFFF, 0xFFFFFF), 0xFFFFFF, 0, 0, named(numbered(number))),
        number);
}

/// For each half hour and service: what is present, what follows, and two of the 64 sections of
/// eight days, which begin anew every midnight.
sent_section many_days(std::uint32_t number) {
    constexpr std::uint32_t services = 20;
    constexpr std::uint32_t sections_of_a_service = 4;
    constexpr std::uint32_t slots_of_a_day = 48;
    constexpr std::uint32_t slots_of_a_section = 6;
    const auto service_id = low16(some_service + number / sections_of_a_service % services);
    const std::uint32_t slot = number / sections_of_a_service / services;
    const auto programme = [service_id](std::uint32_t of_slot) {
        const std::string name = numbered(of_slot) + " do " + std::to_string(service_id);
        return event(low16(of_slot), moment(of_slot * 1800), 0x003000, 0, 0,
                     describe_short_event("por", name, std::string(150, 'a')) +
                         describe_content({0x31, 0xFF}) +
                         describe_parental_ratings(parental_rating("BRA", 0x02)));
    };

    const std::uint32_t which = number % sections_of_a_service;
    if (which < 2) {
        return {eit_pid, eit_of(service_id, present_following, programme(slot + which),
                                {version_of(slot), 1, low8(which), 1})};
    }
    const std::uint32_t today = slot / slots_of_a_day;
    const std::uint32_t segment = (slot * 2 + which) % 64;
    bytes events;
    for (std::uint32_t i = 0; i < slots_of_a_section; ++i) {
        events = std::move(events) +
                 programme(today * slots_of_a_day + segment * slots_of_a_section + i);
    }
    return {eit_pid, eit_section({low8(first_schedule + segment / 32), service_id, network, network,
                                  low8(segment % 32 * 8), first_schedule + 1},
                                 events, {version_of(today), 1, low8(segment % 32 * 8), 248})};
}

// --- Schedules ---

sent_section empty_eits_of_new_services(std::uint32_t number) {
    return {eit_pid, eit_section({present_following, low16(number), network,
                                  low16(network + number / 65536), 0, present_following},
                                 {})};
}

sent_section one_event_id_at_many_times(std::uint32_t number) {
    constexpr std::uint32_t events_of_a_section = 100;
    bytes events;
    for (std::uint32_t i = 0; i < events_of_a_section; ++i) {
        events =
            std::move(events) + ten_minutes(1, number * events_of_a_section + i, named("Jornal"));
    }
    return schedule_section(number, events);
}

/// Every second event lasts for four days and covers those around it.
sent_section one_event_id_at_times_that_overlap(std::uint32_t number) {
    constexpr std::uint32_t events_of_a_section = 100;
    bytes events;
    for (std::uint32_t i = 0; i < events_of_a_section; ++i) {
        const std::uint32_t duration = i % 2 == 0 ? 0x990000 : 0x000100;
        const std::uint32_t start = (number * events_of_a_section + i) * 600;
        events = std::move(events) + event(1, moment(start), duration, 0, 0, named("Jornal"));
    }
    return schedule_section(number, events);
}

sent_section schedules_of_many_services(std::uint32_t number) {
    bytes events;
    for (std::uint32_t i = 0; i < 8; ++i) {
        const std::uint32_t n = number * 8 + i;
        events = std::move(events) +
                 ten_minutes(low16(n), n,
                             describe_short_event("por", numbered(n), std::string(200, 'a')));
    }
    return {eit_pid, eit_of(low16(number), low8(first_schedule + number / 65536 % 16), events)};
}

sent_section schedule_of_one_service(std::uint32_t number) {
    bytes events;
    for (std::uint32_t i = 0; i < 50; ++i) {
        const std::uint32_t n = number * 50 + i;
        events = std::move(events) + ten_minutes(low16(n), n, named(numbered(n)));
    }
    constexpr std::uint32_t tables = last_schedule - first_schedule + 1;
    return {eit_pid, eit_of(some_service, low8(first_schedule + number / 256 % tables), events,
                            {version_of(number / 256 / tables), 1, low8(number), 255})};
}

/// Of ever new services. Each event is as long as its header and seven bytes, but its name and text
/// are read on into the events behind it: some 400 bytes each.
sent_section texts_that_overlap(std::uint32_t number) {
    constexpr std::uint32_t events_of_a_section = 180;
    constexpr std::uint8_t name_length = 255;
    bytes events;
    for (std::uint32_t i = 0; i < events_of_a_section; ++i) {
        const std::uint32_t n = number * events_of_a_section + i;
        events = std::move(events) +
                 event(low16(n | 0xA0A0), moment(n % 1'000'000 * 600), 0x990000, 0, 0,
                       descriptor(0x4D, raw("\xE1\xE9\xED") + bytes{name_length, 0xF3}));
    }
    const bytes room_for_the_last =
        event(0, moment(0), 0, 0, 0,
              descriptor(0x42, bytes(255, 0xE7)) + descriptor(0x42, bytes(255, 0xE7)));
    return {eit_pid, eit_of(low16(number), low8(first_schedule + number / 65536 % 16),
                            events + room_for_the_last)};
}

/// A table of 256 sections that ends after its first one, in the same version, and grows again.
sent_section tables_that_shrink_and_grow(std::uint32_t number) {
    if (number % 512 < 256) {
        return {eit_pid, eit_of(some_service, first_schedule,
                                ten_minutes(low16(number), number % 512, named("Jornal")),
                                {version_of(number / 512), 1, low8(number), 255})};
    }
    return {eit_pid, eit_of(some_service, first_schedule,
                            ten_minutes(low16(number), 0, named(numbered(number))),
                            {version_of(number / 512), 1, 0, 0})};
}

// --- Names and numbers ---

sent_section sdts_of_other_streams(std::uint32_t number) {
    const std::uint32_t stream = number / 512 * 256 + number % 256;
    if (number % 512 < 256) {
        return {sdt_pid, sdt_section(low16(stream), low16(network + stream / 65536),
                                     service(low16(stream), 4, 0,
                                             describe_service(1, "", numbered(stream))))};
    }
    return {eit_pid, eit_section({0x60, low16(stream), low16(stream),
                                  low16(network + stream / 65536), 0, 0x60},
                                 ten_minutes(1, 1, named("Jornal")))};
}

sent_section names_that_change(std::uint32_t number) {
    bytes services;
    for (std::uint32_t i = 0; i < 100; ++i) {
        services = std::move(services) +
                   service(low16(number * 100 + i), 4, 0, describe_service(1, "", numbered(i)));
    }
    return {sdt_pid, sdt_section(network, network, services, {version_of(number)})};
}

sent_section nits_of_many_streams(std::uint32_t number) {
    bytes streams;
    for (std::uint32_t i = 0; i < 50; ++i) {
        const std::uint32_t n = number * 50 + i;
        streams = std::move(streams) +
                  transport_stream(low16(n), low16(network + n / 65536),
                                   describe_ts_information(low8(n), "TV", {{0x0F, {low16(n)}}}));
    }
    return {nit_pid, nit_section(network, {}, streams, {version_of(number)})};
}

// --- What is shown of a section ---

/// As a descriptor of a service of six bytes, an IP transport that takes its URLs from the services
/// behind it, each of which does the same.
sent_section descriptors_that_overlap(std::uint32_t number) {
    bytes services;
    for (int i = 0; i < 60; ++i) {
        services = std::move(services) + bytes{0xFF, 0x00, 0x02, 0x00, 0x01, 0x02};
    }
    return {sdt_pid, sdt_section(low16(number), network,
                                 services + service(0xFF00, 0, 0,
                                                    descriptor(0x09, bytes(255)) +
                                                        descriptor(0x09, bytes(20))))};
}

/// Each with an overrun of its own.
sent_section refusals_all_different(std::uint32_t number) {
    const std::uint32_t stuffing = number % 200;
    bytes section =
        long_section(0x40, network,
                     section_writer()
                         .bits(4, 0xF)
                         .bits(12, 0)
                         .bits(4, 0xF)
                         .bits(12, 500 + number / 200 % 3500)  // transport_stream_loop_length
                         .append(transport_stream(1, network, descriptor(0x42, bytes(stuffing)))));
    return {nit_pid, section};
}

}  // namespace

const std::vector<hostile_stream>& hostile_streams() {
    static const std::vector<hostile_stream> all = {
        {"pat-of-256-sections",
         "256 sections of 1000 programmes, then ever new sections in their places",
         pat_of_256_sections},
        {"pmts-of-many-programs", "8000 programmes, whose PMTs change without end",
         pmts_of_many_programs},
        {"repeats-beside-many-programs", "8000 programmes, then one section again and again",
         repeats_beside_many_programs},
        {"programs-ever-new", "a PAT that names another programme each time", programs_ever_new},
        {"places-on-many-pids", "sections in ever new places, on 8000 PIDs", places_on_many_pids},
        {"places-on-one-pid", "sections in ever new places, on one PID", places_on_one_pid},
        {"present-event-toggles", "the present event has two contents in turn",
         present_event_toggles},
        {"present-event-repeats", "one present event, always the same", present_event_repeats},
        {"present-events-ever-new", "another event is present each time", present_events_ever_new},
        {"present-event-slips", "the present event begins a second later each time",
         present_event_slips},
        {"present-events-without-times", "other events are present, their times undefined",
         present_events_without_times},
        {"many-days", "an ordinary multiplex of twenty services, but without end", many_days},
        {"empty-eits-of-new-services", "EITs without events, each of another service",
         empty_eits_of_new_services},
        {"one-event-id-at-many-times", "a schedule whose events all have one event_id",
         one_event_id_at_many_times},
        {"one-event-id-at-times-that-overlap", "the same, and every other event lasts four days",
         one_event_id_at_times_that_overlap},
        {"schedules-of-many-services", "events of ever new services", schedules_of_many_services},
        {"schedule-of-one-service", "ever new events of one service", schedule_of_one_service},
        {"texts-that-overlap", "events whose texts are read out of the events behind them",
         texts_that_overlap},
        {"tables-that-shrink-and-grow", "a table of 256 sections, then of one, and so on",
         tables_that_shrink_and_grow},
        {"sdts-of-other-streams", "SDTs of ever new streams, and an event of each service",
         sdts_of_other_streams},
        {"names-that-change", "an SDT that names other services each time", names_that_change},
        {"nits-of-many-streams", "NITs of ever new streams", nits_of_many_streams},
        {"descriptors-that-overlap", "descriptors that are read out of those behind them",
         descriptors_that_overlap},
        {"refusals-all-different", "sections that the gate refuses, each for a reason of its own",
         refusals_all_different},
    };
    return all;
}

const hostile_stream& hostile_stream_of(const std::string& name) {
    for (const hostile_stream& stream : hostile_streams()) {
        if (stream.name == name) return stream;
    }
    throw std::out_of_range("no hostile stream " + name);
}

}  // namespace orvix::test
