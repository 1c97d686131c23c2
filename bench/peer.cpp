#include "peer.h"

extern "C" {
#include <dvbpsi/dvbpsi.h>
//
#include <dvbpsi/psi.h>
//
#include <dvbpsi/descriptor.h>
//
#include <dvbpsi/demux.h>
#include <dvbpsi/dr_48.h>
#include <dvbpsi/dr_4d.h>
#include <dvbpsi/dr_50.h>
#include <dvbpsi/dr_52.h>
#include <dvbpsi/dr_54.h>
#include <dvbpsi/dr_55.h>
#include <dvbpsi/eit.h>
#include <dvbpsi/nit.h>
#include <dvbpsi/pat.h>
#include <dvbpsi/pmt.h>
#include <dvbpsi/sdt.h>
}

#include <stream_writer.h>

#include <stdexcept>

namespace orvix::bench {

namespace {

constexpr std::uint8_t versions = 32;
constexpr std::uint16_t pid = 0x11;

struct peer {
    dvbpsi_t* handle = nullptr;
    std::uint64_t tables = 0;
};

void decode(dvbpsi_descriptor_t* first) {
    for (dvbpsi_descriptor_t* d = first; d != nullptr; d = d->p_next) {
        switch (d->i_tag) {
            case 0x48:
                dvbpsi_DecodeServiceDr(d);
                break;
            case 0x4D:
                dvbpsi_DecodeShortEventDr(d);
                break;
            case 0x50:
                dvbpsi_DecodeComponentDr(d);
                break;
            case 0x52:
                dvbpsi_DecodeStreamIdentifierDr(d);
                break;
            case 0x54:
                dvbpsi_DecodeContentDr(d);
                break;
            case 0x55:
                dvbpsi_DecodeParentalRatingDr(d);
                break;
            default:
                break;
        }
    }
}

void on_pat(void* data, dvbpsi_pat_t* table) {
    ++static_cast<peer*>(data)->tables;
    dvbpsi_pat_delete(table);
}

void on_pmt(void* data, dvbpsi_pmt_t* table) {
    ++static_cast<peer*>(data)->tables;
    decode(table->p_first_descriptor);
    for (auto* es = table->p_first_es; es != nullptr; es = es->p_next) {
        decode(es->p_first_descriptor);
    }
    dvbpsi_pmt_delete(table);
}

void on_sdt(void* data, dvbpsi_sdt_t* table) {
    ++static_cast<peer*>(data)->tables;
    for (auto* service = table->p_first_service; service != nullptr; service = service->p_next) {
        decode(service->p_first_descriptor);
    }
    dvbpsi_sdt_delete(table);
}

void on_nit(void* data, dvbpsi_nit_t* table) {
    ++static_cast<peer*>(data)->tables;
    decode(table->p_first_descriptor);
    for (auto* ts = table->p_first_ts; ts != nullptr; ts = ts->p_next) {
        decode(ts->p_first_descriptor);
    }
    dvbpsi_nit_delete(table);
}

void on_eit(void* data, dvbpsi_eit_t* table) {
    ++static_cast<peer*>(data)->tables;
    for (auto* event = table->p_first_event; event != nullptr; event = event->p_next) {
        decode(event->p_first_descriptor);
    }
    dvbpsi_eit_delete(table);
}

void on_subtable(dvbpsi_t* handle, std::uint8_t table_id, std::uint16_t extension, void* data) {
    switch (table_id) {
        case 0x40:
            dvbpsi_nit_attach(handle, table_id, extension, on_nit, data);
            break;
        case 0x42:
            dvbpsi_sdt_attach(handle, table_id, extension, on_sdt, data);
            break;
        case 0x4E:
            dvbpsi_eit_attach(handle, table_id, extension, on_eit, data);
            break;
        default:
            break;
    }
}

void attach(peer& p, const sample& s) {
    p.handle = dvbpsi_new(nullptr, DVBPSI_MSG_NONE);
    if (s.table == "PAT") {
        dvbpsi_pat_attach(p.handle, on_pat, &p);
    } else if (s.table == "PMT") {
        const auto program_number = static_cast<std::uint16_t>(s.section[3] << 8 | s.section[4]);
        dvbpsi_pmt_attach(p.handle, program_number, on_pmt, &p);
    } else {
        dvbpsi_AttachDemux(p.handle, on_subtable, &p);
    }
}

void detach(peer& p, const sample& s) {
    if (s.table == "PAT") {
        dvbpsi_pat_detach(p.handle);
    } else if (s.table == "PMT") {
        dvbpsi_pmt_detach(p.handle);
    } else {
        dvbpsi_DetachDemux(p.handle);
    }
    dvbpsi_delete(p.handle);
}

/// The section in every version, each in packets of its own. An EIT stands there twice: libdvbpsi
/// takes it as complete when its first section comes again.
std::vector<std::vector<test::bytes>> in_all_versions(const sample& s) {
    test::bytes section = s.section;
    test::stream_writer writer;
    std::vector<std::vector<test::bytes>> all;
    for (std::uint8_t version = 0; version < versions; ++version) {
        section[5] = static_cast<std::uint8_t>((section[5] & 0xC1) | version << 1);
        test::repair_crc(section);
        const std::size_t before = writer.packets().size();
        writer.section(pid, section);
        if (s.table == "EIT") writer.section(pid, section);
        all.emplace_back(writer.packets().begin() + static_cast<std::ptrdiff_t>(before),
                         writer.packets().end());
    }
    return all;
}

}  // namespace

bool peer_decodes(const sample& s) {
    return s.table == "PAT" || s.table == "PMT" || s.table == "SDT" || s.table == "NIT" ||
           s.table == "EIT";
}

void run_peer(benchmark::State& state, const sample& s) {
    auto packets = in_all_versions(s);
    peer p;
    attach(p, s);
    unsigned int counter = 0;
    std::size_t version = 0;
    std::uint64_t sections = 0;
    for (auto _ : state) {
        for (test::bytes& packet : packets[version]) {
            packet[3] = static_cast<std::uint8_t>((packet[3] & 0xF0u) | counter);
            counter = (counter + 1) % 16;
            dvbpsi_packet_push(p.handle, packet.data());
        }
        version = (version + 1) % versions;
        ++sections;
    }
    detach(p, s);
    if (p.tables + 1 < sections) state.SkipWithError("libdvbpsi did not decode every section");
}

}  // namespace orvix::bench
