#pragma once

// Sections and streams of a small broadcast that several tests share.

#include <isdb_sections.h>
#include <stream_writer.h>

namespace orvix::test {

constexpr std::uint16_t hd_service = 0x5C20;
constexpr std::uint16_t mobile_service = 0x5C38;
constexpr std::uint16_t hd_pmt_pid = 0x0110;
constexpr std::uint16_t mobile_pmt_pid = 0x1FC8;
constexpr std::uint16_t ait_pid = 0x0140;
constexpr std::uint16_t multiplex_id = 0x02E1;

/// 2026-11-21, as a Modified Julian Date.
constexpr std::uint16_t day = 61365;

inline bytes pat(const long_header& header = {}) {
    return pat_section(multiplex_id,
                       program(0, 0x0010) + program(hd_service, hd_pmt_pid) +
                           program(mobile_service, mobile_pmt_pid),
                       header);
}

inline bytes hd_pmt(const long_header& header = {}) {
    return pmt_section(hd_service, 0x0100, {},
                       elementary_stream(0x1B, 0x0111, describe_stream_identifier(0x00)) +
                           elementary_stream(0x11, 0x0112, describe_stream_identifier(0x10)) +
                           elementary_stream(0x05, ait_pid),
                       header);
}

inline bytes mobile_pmt() {
    return pmt_section(mobile_service, 0x0200, {}, elementary_stream(0x1B, 0x0201));
}

inline bytes sdt(const long_header& header = {}) {
    return sdt_section(
        multiplex_id, multiplex_id,
        service(hd_service, 4, 0, describe_service(0x01, "Manac\xE1", "Manac\xE1 HD")) +
            service(mobile_service, 1, 1),
        header);
}

inline bytes nit() {
    return nit_section(
        0x02E1, {},
        transport_stream(multiplex_id, multiplex_id,
                         describe_ts_information(3, "Manac\xE1", {{0x0F, {hd_service}}})));
}

inline bytes eit(std::uint16_t service_id = hd_service, const long_header& header = {}) {
    const bytes told = describe_short_event("por", "Jornal",
                                            "As not\xED"
                                            "cias do dia.") +
                       describe_content({0x01, 0xFF}) +
                       describe_parental_ratings(parental_rating("BRA", 0x63));
    return eit_section({0x4E, service_id, multiplex_id, multiplex_id, 1, 0x4E},
                       event(0x0A01, utc_time(day, 0x194500), 0x014530, 4, 0, told) +
                           event(0x0A02, utc_time(0xFFFF, 0xFFFFFF), 0xFFFFFF, 0, 0),
                       header);
}

inline bytes tdt() { return tdt_section(utc_time(day, 0x203000)); }

inline bytes tot() {
    return tot_section(utc_time(day, 0x203001),
                       describe_local_time_offsets(local_time_offset(
                           "BRA", 2, 1, 0x0300, utc_time(day, 0x000000), 0x0200)));
}

inline bytes ait() {
    const bytes told = describe_application(application_profile(1, 1, 2, 3), 1, 3, 5, {7}) +
                       describe_application_names(application_name("por", "Jogo") +
                                                  application_name("eng", "Milh\xE3o")) +
                       describe_object_carousel(7, 0x40) +
                       describe_ginga_location(0x07, "/", "", "main.ncl");
    return ait_section(0x0009, {}, application(0x0000000A, 0x0001, 1, told));
}

inline bytes all_sections() {
    return pat() + hd_pmt() + nit() + sdt() + eit() + tdt() + tot() + ait();
}

/// Every table once, where a broadcast has it.
inline stream_writer all_tables() {
    stream_writer stream;
    stream.section(0x0000, pat())
        .section(hd_pmt_pid, hd_pmt())
        .section(mobile_pmt_pid, mobile_pmt())
        .section(0x0010, nit())
        .section(0x0011, sdt())
        .section(0x0012, eit())
        .section(0x0012, eit(mobile_service))
        .section(0x0014, tdt())
        .section(0x0014, tot())
        .section(ait_pid, ait());
    return stream;
}

}  // namespace orvix::test
