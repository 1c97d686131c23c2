#include "samples.h"

#include <isdb_sections.h>

namespace orvix::bench {

using namespace test;

namespace {

/// A descriptor that the parser does not know, with a body of `size` bytes.
bytes unknown(std::uint8_t tag, std::size_t size) { return descriptor(tag, bytes(size, 0xFF)); }

bytes pat() {
    return pat_section(0x02E1, program(0, 0x10) + program(0x5C20, 0x100) + program(0x5C21, 0x101) +
                                   program(0x5C38, 0x1FC8));
}

bytes pmt() {
    const auto component = [](std::uint8_t tag) { return describe_stream_identifier(tag); };
    return pmt_section(0x5C20, 0x111, unknown(0xC1, 1),
                       elementary_stream(0x1B, 0x111, component(0x00) + unknown(0x28, 4)) +
                           elementary_stream(0x11, 0x112, component(0x10) + unknown(0x7C, 2)) +
                           elementary_stream(0x11, 0x113, component(0x11) + unknown(0x7C, 2)) +
                           elementary_stream(0x06, 0x114, component(0x30) + unknown(0xFD, 3)) +
                           elementary_stream(0x05, 0x115, component(0x41) + unknown(0xFD, 5)) +
                           elementary_stream(0x0B, 0x116, component(0x40) + unknown(0xFD, 2)));
}

bytes sdt() {
    const auto entry = [](std::uint16_t id, std::uint8_t type, const std::string& name) {
        return service(id, 4, 0, describe_service(type, "TV Serra Azul", name) + unknown(0xCF, 8));
    };
    return sdt_section(0x02E1, 0x02E1,
                       entry(0x5C20, 0x01, "Serra Azul HD") + entry(0x5C21, 0x01, "Serra Azul 2") +
                           entry(0x5C38, 0xC0, "Serra Azul M\xF3vel"));
}

bytes nit() {
    return nit_section(
        0x02E1, descriptor(0x40, raw("Serra Azul")) + unknown(0xFE, 2),
        transport_stream(0x02E1, 0x02E1,
                         unknown(0x41, 9) +
                             describe_ts_information(13, "Serra Azul",
                                                     {{0x0F, {0x5C20, 0x5C21}}, {0xAF, {0x5C38}}}) +
                             unknown(0xFA, 4) + unknown(0xFB, 2)));
}

bytes eit() {
    bytes events;
    for (std::uint16_t i = 0; i < 6; ++i) {
        events =
            events +
            event(static_cast<std::uint16_t>(100 + i), utc_time(61365, 0x120000), 0x010000, 4, 0,
                  describe_short_event("por", "Caf\xE9 da Manh\xE3",
                                       "As not\xED"
                                       "cias do dia, a previs\xE3o do tempo e o tr\xE2nsito.") +
                      describe_component(0x05, 0xB3, 0x00, "por") + describe_content({0x00, 0xFF}) +
                      describe_parental_ratings(parental_rating("BRA", 0x02)) + unknown(0xC4, 9));
    }
    return eit_section({0x4E, 0x5C20, 0x02E1, 0x02E1, 0, 0x4E}, events);
}

bytes tdt() { return tdt_section(utc_time(61365, 0x143000)); }

bytes tot() {
    return tot_section(utc_time(61365, 0x143000),
                       describe_local_time_offsets(local_time_offset(
                           "BRA", 1, 1, 0x0000, utc_time(61420, 0x000000), 0x0000)));
}

bytes ait() {
    return ait_section(
        0x0009, {},
        application(10, 1, 1,
                    describe_application(application_profile(1, 1, 0, 0), 1, 3, 1, {1}) +
                        describe_application_names(application_name("por", "Enquete")) +
                        describe_object_carousel(1, 0x40) +
                        describe_ginga_location(0x07, "/", "", "enquete/main.ncl")));
}

}  // namespace

std::vector<sample> samples() {
    return {{"PAT", pat()}, {"PMT", pmt()}, {"SDT", sdt()}, {"NIT", nit()},
            {"EIT", eit()}, {"TDT", tdt()}, {"TOT", tot()}, {"AIT", ait()}};
}

}  // namespace orvix::bench
