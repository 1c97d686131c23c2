#include "work.h"

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

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace orvix::bench {

namespace {

constexpr std::uint8_t versions = 32;
constexpr std::uint16_t pid = 0x11;

struct decoder {
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
    ++static_cast<decoder*>(data)->tables;
    dvbpsi_pat_delete(table);
}

void on_pmt(void* data, dvbpsi_pmt_t* table) {
    ++static_cast<decoder*>(data)->tables;
    decode(table->p_first_descriptor);
    for (auto* es = table->p_first_es; es != nullptr; es = es->p_next) {
        decode(es->p_first_descriptor);
    }
    dvbpsi_pmt_delete(table);
}

void on_sdt(void* data, dvbpsi_sdt_t* table) {
    ++static_cast<decoder*>(data)->tables;
    for (auto* service = table->p_first_service; service != nullptr; service = service->p_next) {
        decode(service->p_first_descriptor);
    }
    dvbpsi_sdt_delete(table);
}

void on_nit(void* data, dvbpsi_nit_t* table) {
    ++static_cast<decoder*>(data)->tables;
    decode(table->p_first_descriptor);
    for (auto* ts = table->p_first_ts; ts != nullptr; ts = ts->p_next) {
        decode(ts->p_first_descriptor);
    }
    dvbpsi_nit_delete(table);
}

void on_eit(void* data, dvbpsi_eit_t* table) {
    ++static_cast<decoder*>(data)->tables;
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
        case 0x50:
            dvbpsi_eit_attach(handle, table_id, extension, on_eit, data);
            break;
        default:
            break;
    }
}

void attach(decoder& p, const sample& s) {
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

void detach(decoder& p, const sample& s) {
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

class peer : public work {
public:
    explicit peer(const sample& s) : sample_(s), packets_(in_all_versions(s)) {
        attach(decoder_, s);
    }
    ~peer() override {
        detach(decoder_, sample_);
        if (decoder_.tables + 1 < sections_) {
            std::fputs("libdvbpsi did not decode every section\n", stderr);
            std::abort();
        }
    }
    peer(const peer&) = delete;
    peer& operator=(const peer&) = delete;

    void run() override {
        for (test::bytes& packet : packets_[sections_ % versions]) {
            packet[3] = static_cast<std::uint8_t>((packet[3] & 0xF0u) | counter_);
            counter_ = (counter_ + 1) % 16;
            dvbpsi_packet_push(decoder_.handle, packet.data());
        }
        ++sections_;
    }

private:
    sample sample_;
    std::vector<std::vector<test::bytes>> packets_;
    decoder decoder_;
    unsigned int counter_ = 0;
    std::uint64_t sections_ = 0;
};

}  // namespace

bool peer_decodes(const corpus& c) {
    static const std::set<std::string> tables = {"PAT", "PMT", "SDT", "NIT", "EIT"};
    return c.samples.size() == 1 && tables.count(c.samples.front().table) != 0;
}

std::unique_ptr<work> make_peer(const corpus& c) {
    return std::make_unique<peer>(c.samples.front());
}

}  // namespace orvix::bench
