#pragma once

// One section of each table with every field in use and every descriptor in its place.

#include <isdb_sections.h>

#include <string>
#include <vector>

namespace orvix::test {

/// Makes section_length right for the section's size.
inline void repair_section_length(bytes& section) {
    const std::size_t section_length = section.size() - 3;
    section[1] = static_cast<std::uint8_t>((section[1] & 0xF0) | (section_length >> 8 & 0x0F));
    section[2] = static_cast<std::uint8_t>(section_length);
}

inline bytes rich_pat() {
    return pat_section(0x0720, program(0, 0x0010) + program(0xE400, 0x0100) +
                                   program(0xE418, 0x1FC8) + program(0xFFFF, 0x1FFF));
}

inline bytes rich_pmt() {
    return pmt_section(
        0xE400, 0x0111, descriptor(0x09, {0x00, 0x05, 0xE1, 0x23}) + describe_stream_identifier(9),
        elementary_stream(0x1B, 0x0111,
                          describe_stream_identifier(0) + descriptor(0x28, {0x64, 0x00, 0x28})) +
            elementary_stream(
                0x11, 0x0112,
                describe_stream_identifier(0x10) + describe_component(2, 3, 0x10, "por", "Som")) +
            elementary_stream(0x06, 0x0130, describe_component(3, 1, 0x30, "por")) +
            elementary_stream(0x05, 0x0140));
}

inline bytes rich_sdt() {
    return sdt_section(
        0x0720, 0x0720,
        service(0xE418, 4, 0, describe_service(0xC0, "", "TV Exemplo 1-Seg")) +
            service(0xE400, 4, 1,
                    describe_service(0x01, "Rede Exemplo", "TV Exemplo \x1D\x21 HD") +
                        descriptor(0xCF, {0x01, 0x02}) + descriptor(0x5D)) +
            service(0xE401, 0, 0));
}

inline bytes rich_nit() {
    return nit_section(
        0x0720, descriptor(0x40, raw("Rede Exemplo")) + descriptor(0xFE, {0x03, 0x01}),
        transport_stream(0x0720, 0x0720,
                         descriptor(0xFA, {0x58, 0xAF, 0x2A, 0x4E}) +
                             describe_ts_information(
                                 31, "TV Exemplo", {{0x0F, {0xE400, 0xE401}}, {0xAF, {0xE418}}})) +
            transport_stream(0x0721, 0x0720));
}

inline bytes rich_eit() {
    const bytes start = utc_time(0xEB00, 0x203000);
    eit_identifiers identifiers;
    identifiers.table_id = 0x50;
    identifiers.service_id = 0xE400;
    identifiers.transport_stream_id = 0x0720;
    identifiers.original_network_id = 0x0720;
    identifiers.segment_last_section_number = 1;
    identifiers.last_table_id = 0x51;
    return eit_section(identifiers,
                       event(0x1001, start, 0x014500, 4, 0,
                             describe_short_event("por", "Jornal",
                                                  "As not\xED"
                                                  "cias do dia \x1D\x46") +
                                 describe_component(1, 0xB3, 0, "por",
                                                    "V\xED"
                                                    "deo") +
                                 describe_content({0x00, 0xFF, 0x10, 0x01}) +
                                 describe_parental_ratings(parental_rating("BRA", 0x14) +
                                                           parental_rating("ARG", 0x02))) +
                           event(0x1002, bytes(5, 0xFF), 0xFFFFFF, 0, 1, describe_content({0x20})) +
                           event(0x1003, start, 0x003000, 1, 0));
}

inline bytes rich_tdt() { return tdt_section(utc_time(0xEB00, 0x123456)); }

inline bytes rich_tot() {
    const bytes change = utc_time(0xEB10, 0x030000);
    return tot_section(
        utc_time(0xEB00, 0x123456),
        describe_local_time_offsets(local_time_offset("BRA", 1, 1, 0x0300, change, 0x0200) +
                                    local_time_offset("BRA", 2, 1, 0x0400, change, 0x0300)));
}

inline bytes rich_ait() {
    // The parser takes the loop's length as an offset from table_id: what stands behind that byte
    // is not read, so that something must stand there.
    bytes more;
    for (std::uint16_t id = 3; id < 25; ++id) more = more + application(0x0000000C, id, 0x01);
    // A URL as long as this is read inside the section, whatever the walk makes of it.
    const bytes urls = url("http://exemplo.tv.br/" + std::string(180, 'a'));
    const bytes remote = remote_connection(0x0720, 0x0721, 0xE400);
    return ait_section(
        0x0009, describe_ip_transport(3, 1, urls) + describe_object_carousel(1, 0x40),
        application(0x0000000A, 0x0001, 0x01,
                    describe_application(
                        application_profile(0x0001, 1, 0, 0) + application_profile(0x0002, 2, 1, 0),
                        1, 3, 0xFE, {0x01, 0x02}) +
                        describe_application_names(application_name("por", "Guia") +
                                                   application_name("eng", "")) +
                        describe_ginga_location(0x07, "/", "", "main.ncl") +
                        describe_icon("icons/", 0x0001)) +
            application(0x0000000B, 0x0002, 0x02,
                        describe_data_carousel(2, 0x41, remote) +
                            describe_ip_transport(4, 0, {}, remote) +
                            describe_transport_protocol(0x0003, 5, {}, {0x00}) +
                            describe_ginga_location(0x04, "base", "ext:lib", "br.Main")) +
            more);
}

inline std::vector<bytes> rich_sections() {
    return {rich_pat(), rich_pmt(), rich_sdt(), rich_nit(),
            rich_eit(), rich_tdt(), rich_tot(), rich_ait()};
}

}  // namespace orvix::test
