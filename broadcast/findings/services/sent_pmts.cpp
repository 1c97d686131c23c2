#include "sent_pmts.h"

#include <broadcast/programs.h>
#include <broadcast/readings/section_loops.h>
#include <broadcast/table_ids.h>

#include <utility>

extern "C" {
#include <bitstream/dvb/si.h>
#include <bitstream/mpeg/psi.h>
}

namespace orvix::broadcast {

namespace {

// Descriptors that biTStream does not know.
constexpr std::uint8_t application_signalling = 0x6F;
constexpr std::uint8_t data_component = 0xFD;
constexpr std::uint8_t component = 0x50;
constexpr std::uint8_t stream_identifier = 0x52;

constexpr std::uint16_t ait_data_component = 0x00A3;
constexpr std::size_t data_component_size = DESC_HEADER_SIZE + 2;

void add_descriptor(sent_stream& to, span d) {
    switch (d.u8(0)) {
        case component:
            if (d.size() >= DESC50_HEADER_SIZE) {
                to.component_tag = desc50_get_component_tag(d.begin());
            }
            break;
        case stream_identifier:
            if (d.size() >= DESC52_HEADER_SIZE) {
                to.component_tag = desc52_get_component_tag(d.begin());
            }
            break;
        case application_signalling:
            to.announces_applications = true;
            break;
        case data_component:
            to.announces_applications =
                to.announces_applications ||
                (d.size() >= data_component_size && d.u16(DESC_HEADER_SIZE) == ait_data_component);
            break;
        default:
            break;
    }
}

std::vector<sent_stream> streams_of(const section_loops& loops) {
    std::vector<sent_stream> all;
    all.reserve(loops.records.size());
    for (const sent_record& record : loops.records) {
        sent_stream stream;
        stream.elementary_pid = pmtn_get_pid(record.entry);
        stream.stream_type = pmtn_get_streamtype(record.entry);
        for_each_descriptor(record.descriptors, [&](span d) { add_descriptor(stream, d); });
        all.push_back(stream);
    }
    return all;
}

}  // namespace

/// Of 1-seg services without a PAT, too.
bool sent_pmts::is_expected(std::uint16_t service_id, std::uint16_t pid) const {
    const std::optional<std::uint16_t> named = stream_->known_programs.pmt_pid_of(service_id);
    return named ? *named == pid : is_one_seg_pmt_pid(pid);
}

void sent_pmts::take(const std::uint8_t* section, std::size_t size,
                     std::optional<std::uint16_t> pid, std::optional<double> seconds) {
    const bool is_pmt = size >= PMT_HEADER_SIZE && section[0] == table_ids::pmt;
    if (!stream_ || !pid || !is_pmt || !psi_get_current(section)) return;
    const std::uint16_t service_id = pmt_get_program(section);
    if (!is_expected(service_id, *pid)) return;

    const section_loops loops = find_loops(section, size);
    const auto known = pmts_.find(service_id);
    if (!loops.well_formed) {
        if (known != pmts_.end()) pmts_.erase(known);  // nobody can tell what it says now
        return;
    }
    if (known == pmts_.end() && !bound_.admits(pmts_.size())) return;
    const std::uint8_t version_number = psi_get_version(section);
    if (known != pmts_.end() && known->second.version_number != version_number) changed_ = seconds;
    pmts_[service_id] = {*pid, version_number, streams_of(loops)};
}

}  // namespace orvix::broadcast
