#include "corpora.h"

#include <isdb_sections.h>
#include <section_feed/section_gate.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

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

// --- In bulk ---

bytes dense_pat(unsigned int programmes) {
    bytes programs = program(0, 0x10);
    for (unsigned int i = 0; i < programmes; ++i) {
        programs = programs + program(static_cast<std::uint16_t>(0x5C20 + i),
                                      static_cast<std::uint16_t>(0x100 + i));
    }
    return pat_section(0x02E1, programs);
}

bytes dense_sdt(unsigned int count) {
    bytes services;
    for (unsigned int i = 0; i < count; ++i) {
        const auto id = static_cast<std::uint16_t>(0x5C20 + i * 5);  // low five bits in no order
        services = services + service(id, 4, 0,
                                      describe_service(0x01, "Empresa Paulista de Televis\xE3o",
                                                       "Canal " + std::to_string(id)) +
                                          unknown(0xCF, 8));
    }
    return sdt_section(0x02E1, 0x02E1, services);
}

bytes dense_nit(unsigned int count) {
    bytes streams;
    for (unsigned int i = 0; i < count; ++i) {
        const auto id = static_cast<std::uint16_t>(0x02E1 + i);
        streams = streams +
                  transport_stream(id, id,
                                   unknown(0x41, 9) +
                                       describe_ts_information(
                                           static_cast<std::uint8_t>(2 + i), "Serra Azul Digital",
                                           {{0x0F, {0x5C20, 0x5C21}}, {0xAF, {0x5C38}}}) +
                                       unknown(0xFA, 4) + unknown(0xFB, 2));
    }
    return nit_section(0x02E1, descriptor(0x40, raw("Serra Azul")) + unknown(0xFE, 2), streams);
}

/// A schedule's section: few events with long texts.
bytes dense_eit(unsigned int count) {
    const std::string text =
        "Dona Est\xE2ncia descobre que o filho n\xE3o voltou da capital e manda o capataz atr\xE1"
        "s dele. Na "
        "fazenda, a colheita atrasa, as m\xE1quinas param e o banco cobra a d\xEDvida. Elenco: "
        "Rita Prado, Jo\xE3o Lessa, Ant\xF4nio Vale.";
    bytes events;
    for (unsigned int i = 0; i < count; ++i) {
        events =
            events +
            event(static_cast<std::uint16_t>(200 + i), utc_time(61365, 0x120000), 0x010000, 0, 0,
                  describe_short_event("por", "O Rio que Corre: \xFAltimos cap\xEDtulos", text) +
                      describe_component(0x01, 0xB3, 0x00, "por",
                                         "V\xED"
                                         "deo principal") +
                      describe_component(0x06, 0x03, 0x10, "por", "Est\xE9reo") +
                      describe_content({0x32, 0xFF, 0x31, 0xFF}) +
                      describe_parental_ratings(parental_rating("BRA", 0x13)) + unknown(0xC7, 2));
    }
    return eit_section({0x50, 0x5C20, 0x02E1, 0x02E1, 0, 0x50}, events);
}

bytes dense_ait(unsigned int count) {
    bytes applications;
    for (unsigned int i = 0; i < count; ++i) {
        applications =
            applications +
            application(
                10, static_cast<std::uint16_t>(i), 1,
                describe_application(
                    application_profile(1, 1, 0, 0) + application_profile(2, 1, 0, 0), 1, 3, 1,
                    {1}) +
                    describe_application_names(application_name("por", "Resultados da rodada") +
                                               application_name("eng", "Results of the day")) +
                    describe_object_carousel(1, 0x40) +
                    describe_ginga_location(0x07, "/aplicacoes/futebol/rodada", "",
                                            "principal/resultados.ncl") +
                    describe_icon("/aplicacoes/futebol/icone.png", 1));
    }
    return ait_section(0x0009, {}, applications);
}

bytes dense_pmt(unsigned int count) {
    bytes streams;
    for (unsigned int i = 0; i < count; ++i) {
        streams = streams + elementary_stream(0x0F, static_cast<std::uint16_t>(0x111 + i),
                                              describe_stream_identifier(0x10) + unknown(0x7C, 2));
    }
    return pmt_section(0x5C20, 0x111, {}, streams);
}

bytes dense_tot(unsigned int count) {
    bytes offsets;
    for (unsigned int i = 0; i < count; ++i) {
        offsets = offsets + local_time_offset("BRA", static_cast<std::uint8_t>(i), 1, 0x0000,
                                              utc_time(61420, 0x000000), 0x0000);
    }
    return tot_section(utc_time(61365, 0x143000), describe_local_time_offsets(offsets));
}

/// What is on air and what follows, of one service.
bytes present_or_following() {
    return eit_section(
        {0x4E, 0x5C20, 0x02E1, 0x02E1, 1, 0x4E},
        event(100, utc_time(61365, 0x120000), 0x010000, 4, 0,
              describe_short_event("por", "Caf\xE9 da Manh\xE3",
                                   "As not\xED"
                                   "cias do dia, a previs\xE3o do tempo e o tr\xE2nsito.") +
                  describe_component(0x01, 0xB3, 0x00, "por") +
                  describe_component(0x06, 0x03, 0x10, "por") + describe_content({0x00, 0xFF}) +
                  describe_parental_ratings(parental_rating("BRA", 0x02))));
}

/// Ten seconds of a multiplex with three services, each table as often as stations repeat it.
std::vector<sample> mix() {
    const std::vector<std::pair<int, sample>> times = {
        {100, {"PAT", pat()}}, {150, {"PMT", pmt()}},
        {5, {"SDT", sdt()}},   {2, {"NIT", nit()}},
        {3, {"TOT", tot()}},   {10, {"AIT", ait()}},
        {10, {"EIT", eit()}},  {30, {"EIT", present_or_following()}}};
    std::vector<sample> all;
    for (const auto& [count, s] : times) all.insert(all.end(), static_cast<std::size_t>(count), s);
    // One after another in turn, as they arrive, not table by table.
    std::vector<sample> in_turn;
    constexpr std::size_t step = 89;  // no divisor of the count
    for (std::size_t i = 0; i < all.size(); ++i) in_turn.push_back(all[i * step % all.size()]);
    return in_turn;
}

std::string table_of(std::uint8_t table_id) {
    if (table_id == 0x00) return "PAT";
    if (table_id == 0x02) return "PMT";
    if (table_id == 0x40 || table_id == 0x41) return "NIT";
    if (table_id == 0x42 || table_id == 0x46) return "SDT";
    if (table_id >= 0x4E && table_id <= 0x6F) return "EIT";
    if (table_id == 0x70) return "TDT";
    if (table_id == 0x73) return "TOT";
    if (table_id == 0x74) return "AIT";
    return {};
}

}  // namespace

std::vector<corpus> broadcast_corpora() {
    return {{"PAT", {{"PAT", pat()}}},
            {"PMT", {{"PMT", pmt()}}},
            {"SDT", {{"SDT", sdt()}}},
            {"NIT", {{"NIT", nit()}}},
            {"EIT", {{"EIT", eit()}}},
            {"TDT", {{"TDT", tdt()}}},
            {"TOT", {{"TOT", tot()}}},
            {"AIT", {{"AIT", ait()}}},
            {"PAT-dense", {{"PAT", dense_pat(40)}}},
            {"SDT-dense", {{"SDT", dense_sdt(24)}}},
            {"NIT-dense", {{"NIT", dense_nit(12)}}},
            {"EIT-dense", {{"EIT", dense_eit(10)}}},
            {"AIT-dense", {{"AIT", dense_ait(6)}}},
            {"mix", mix()}};
}

std::vector<corpus> growing_corpora() {
    struct growing {
        std::string table;
        bytes (*section)(unsigned int entries);
        unsigned int most;
    };
    const std::vector<growing> tables = {{"PAT", dense_pat, 250}, {"PMT", dense_pmt, 20},
                                         {"SDT", dense_sdt, 64},  {"NIT", dense_nit, 40},
                                         {"EIT", dense_eit, 10},  {"TOT", dense_tot, 19},
                                         {"AIT", dense_ait, 20}};
    constexpr unsigned int steps = 5;
    std::vector<corpus> corpora;
    for (const growing& g : tables) {
        for (unsigned int step = 1; step <= steps; ++step) {
            const unsigned int entries = g.most * step / steps;
            corpora.push_back(
                {g.table + "+" + std::to_string(entries), {{g.table, g.section(entries)}}});
        }
    }
    return corpora;
}

std::vector<corpus> file_corpora(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + file);
    const bytes all{std::istreambuf_iterator<char>(in), {}};
    std::vector<corpus> corpora;
    corpus mix{"mix", {}};
    for (std::size_t at = 0; at + 3 <= all.size();) {
        const std::size_t size = ((all[at + 1] & 0x0Fu) << 8 | all[at + 2]) + 3u;
        if (at + size > all.size()) throw std::runtime_error(file + " ends in a section");
        const auto first = all.begin() + static_cast<std::ptrdiff_t>(at);
        const sample s{table_of(all[at]), {first, first + static_cast<std::ptrdiff_t>(size)}};
        at += size;
        if (s.table.empty() || !section_feed::check_section(s.section.data(), size).admitted()) {
            continue;
        }
        auto own = std::find_if(corpora.begin(), corpora.end(),
                                [&](const corpus& c) { return c.name == s.table; });
        if (own == corpora.end()) own = corpora.insert(own, {s.table, {}});
        own->samples.push_back(s);
        mix.samples.push_back(s);
    }
    corpora.push_back(mix);
    return corpora;
}

}  // namespace orvix::bench
