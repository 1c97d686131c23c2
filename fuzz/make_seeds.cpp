// Writes the seeds of the corpora into a folder: one folder in it for each target.

#include <isdb_sections.h>
#include <rich_sections.h>
#include <small_broadcast.h>
#include <stream_writer.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <string>

namespace {

using namespace orvix::test;  // NOLINT: seeds are written in the words of the writers

bytes each_descriptor_in_a_service() {
    const bytes remote = remote_connection(1, 2, 3);
    bytes services;
    for (const bytes& d : {
             describe_service(1, "a", "b"),
             describe_stream_identifier(7),
             describe_component(1, 2, 3, "por", "a"),
             describe_ts_information(31, "a", {{0x0F, {1, 2}}, {0xAF, {3}}}),
             describe_short_event("por", "a", "b"),
             describe_content({0x10, 0x01}),
             describe_parental_ratings(parental_rating("BRA", 2)),
             describe_local_time_offsets(local_time_offset("BRA", 1, 1, 0x0300, bytes(5), 0)),
             describe_application(application_profile(1, 1, 0, 0), 1, 3, 1, {0x01}),
             describe_application_names(application_name("por", "a")),
             describe_object_carousel(1, 0x40),
             describe_data_carousel(1, 0x40, remote),
             describe_ip_transport(1, 1, url("a") + url("bc"), remote),
             describe_ginga_location(0x07, "a", "b", "c"),
             describe_icon("a", 1),
         }) {
        services = services + service(1, 4, 0, d);
    }
    return sdt_section(1, 1, services);
}

/// Services of six bytes each: the descriptor in the one-byte loop of a service is an IP transport
/// that takes its length and its URLs from the services behind it. The last service is long enough
/// for all of them.
bytes overlapping_ip_transports() {
    bytes services;
    for (int i = 0; i < 60; ++i) services = services + bytes{0xFF, 0x00, 0x02, 0x00, 0x01, 0x02};
    return sdt_section(
        1, 1,
        services +
            service(0xFF00, 0, 0, descriptor(0x09, bytes(255)) + descriptor(0x09, bytes(20))));
}

std::map<std::string, std::vector<bytes>> sections() {
    std::map<std::string, std::vector<bytes>> of_target = {
        {"pat", {rich_pat(), pat_section(1, {})}},
        {"pmt", {rich_pmt(), pmt_section(1, 2, {}, elementary_stream(0x1B, 3))}},
        {"sdt", {rich_sdt(), each_descriptor_in_a_service(), overlapping_ip_transports()}},
        {"nit", {rich_nit(), nit_section(1, {}, {})}},
        {"eit", {rich_eit(), eit_section({}, {})}},
        {"tdt", {rich_tdt()}},
        {"tot", {rich_tot(), tot_section(utc_time(0xEB00, 0), {})}},
        {"ait", {rich_ait(), ait_section(1, {}, application(1, 1, 1))}},
    };
    std::vector<bytes> all;
    for (const auto& [target, seeds] : of_target) all.insert(all.end(), seeds.begin(), seeds.end());
    of_target["all"] = all;
    of_target["readings"] = all;
    return of_target;
}

std::vector<bytes> streams() {
    constexpr std::uint8_t whole = 0xFF;
    constexpr std::uint8_t with_crc = 1;
    const std::vector<bytes> tables = rich_sections();
    stream_writer packed;
    packed.sections(0x10, tables).null_packets().duplicate_packet();
    stream_writer apart;
    apart.sections(0x11, tables, layout::one_per_packet, adaptation_field{true, 1, 3});
    apart.skip_counter(0x11).section(0x11, tables[0]).packet_without_payload(0x11);
    std::vector<bytes> seeds;
    for (const std::size_t size : {188u, 192u, 204u}) {
        seeds.push_back(bytes{whole, with_crc} + packed.stream(size));
        seeds.push_back(bytes{40, 0} + apart.stream(size));
    }
    return seeds;
}

/// A small broadcast with a clock, its tables every so often.
std::vector<bytes> broadcasts() {
    constexpr std::uint8_t in_pieces = 200;
    constexpr unsigned int rounds = 3;
    const stream_writer tables = all_tables();
    stream_writer timed;
    for (unsigned int round = 0; round < rounds; ++round) {
        for (unsigned int i = 0; i < tables.packets().size(); ++i) {
            adaptation_field adaptation;
            adaptation.pcr = (round * tables.packets().size() + i) * 2'000'000;
            timed.packet_without_payload(0x0100, adaptation);
            timed.packets().push_back(tables.packets()[i]);
            set_continuity_counter(timed.last_packet(), round);
        }
    }
    return {bytes{in_pieces} + timed.stream(), bytes{in_pieces} + tables.stream()};
}

void write(const std::filesystem::path& folder, const std::vector<bytes>& seeds) {
    std::filesystem::create_directories(folder);
    for (std::size_t i = 0; i < seeds.size(); ++i) {
        std::ofstream out(folder / ("seed-" + std::to_string(i)), std::ios::binary);
        out.exceptions(std::ios::failbit | std::ios::badbit);
        out.write(reinterpret_cast<const char*>(seeds[i].data()),
                  static_cast<std::streamsize>(seeds[i].size()));
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: make_seeds FOLDER\n";
        return 2;
    }
    const std::filesystem::path folder = argv[1];
    try {
        for (const auto& [target, seeds] : sections()) write(folder / target, seeds);
        write(folder / "stream", streams());
        write(folder / "broadcast", broadcasts());
    } catch (const std::exception& e) {
        std::cerr << "make_seeds: " << folder.string() << ": " << e.what() << '\n';
        return 1;
    }
    return 0;
}
