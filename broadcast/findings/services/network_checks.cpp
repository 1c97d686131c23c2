#include "network_checks.h"

#include <broadcast/findings/wording.h>
#include <broadcast/programs.h>
#include <broadcast/readings/section_loops.h>
#include <broadcast/table_ids.h>

#include <string>

extern "C" {
#include <bitstream/dvb/si.h>
#include <bitstream/mpeg/psi.h>
}

namespace orvix::broadcast {

namespace {

constexpr std::uint16_t pat_pid = 0x0000;
constexpr std::uint16_t network_pid = 0x0010;
constexpr std::uint16_t service_pid = 0x0011;
constexpr std::uint16_t event_pid = 0x0012;

// Descriptors of the NIT that biTStream does not know.
constexpr std::uint8_t ts_information = 0xCD;
constexpr std::uint8_t partial_reception = 0xFB;

// What has not come for so long does not come any more: schedules take the longest.
constexpr double silence = 30;

constexpr unsigned int one_seg_kind = 3;
unsigned int kind_of(std::uint16_t service_id) { return service_id >> 3 & 3u; }

/// Only then the other bits of a service_id mean something.
bool is_of_network(std::uint16_t service_id, std::uint16_t original_network_id) {
    constexpr std::uint16_t bits_of_network = 0x07FF;
    return service_id >> 5 == (original_network_id & bits_of_network);
}

std::string transport_stream(std::uint16_t id) {
    return "transport_stream_id " + wording::hex(id, 4);
}
std::string network_of_origin(std::uint16_t id) {
    return "original_network_id " + wording::hex(id, 4);
}

}  // namespace

// --- What the tables say ---

void network_checks::take(const sighting& seen) {
    const std::uint8_t table_id = seen.bytes[0];
    if (table_ids::is_eit_actual(table_id)) return take_eit(seen);
    if (!seen.is_new || seen.table == nullptr || !psi_get_current(seen.bytes)) return;
    if (table_id == table_ids::pat && seen.where.pid == pat_pid) take_pat(seen);
    if (table_id == table_ids::sdt_actual) take_sdt(seen);
    if (table_id == table_ids::nit_actual) take_nit(seen);
}

/// Where one table has changed, the NIT comes last.
void network_checks::wait_for_others() {
    pace_.changed(to_.now(), to_.limit_of(finding_kind::nit_rare));
}

void network_checks::take_pat(const sighting& seen) {
    const pat_header now = {psi_get_tableidext(seen.bytes), psi_get_version(seen.bytes)};
    const bool is_same = pat_ && pat_->transport_stream_id == now.transport_stream_id &&
                         pat_->version_number == now.version_number;
    if (pat_ && !is_same) wait_for_others();
    pat_ = now;
}

void network_checks::take_sdt(const sighting& seen) {
    const identifiers now = {psi_get_tableidext(seen.bytes), sdt_get_onid(seen.bytes)};
    if (sdt_ && *sdt_ != now) wait_for_others();
    sdt_ = now;
}

void network_checks::take_nit(const sighting& seen) {
    const std::uint16_t network_id = psi_get_tableidext(seen.bytes);
    const std::uint8_t version_number = psi_get_version(seen.bytes);
    const bool is_same = network_ && network_->network_id == network_id &&
                         network_->version_number == version_number;
    if (network_ && !is_same) wait_for_others();
    if (!is_same) network_ = network{network_id, version_number, 0, {}, 0};
    network_->last_section_number = psi_get_lastsection(seen.bytes);

    std::vector<network_stream>& in_place = network_->sections[psi_get_section(seen.bytes)];
    network_->streams -= in_place.size();
    in_place.clear();
    for (const sent_record& record : find_loops(seen.bytes, seen.size).records) {
        if (!stream_bound_.admits(network_->streams)) continue;
        network_stream stream;
        stream.is = {nitn_get_tsid(record.entry), nitn_get_onid(record.entry)};
        for_each_descriptor(record.descriptors, [&](span d) {
            stream.has_number = stream.has_number || d.u8(0) == ts_information;
            if (d.u8(0) != partial_reception) return;
            for (span ids = d.behind(DESC_HEADER_SIZE); ids.size() >= 2; ids = ids.behind(2)) {
                stream.one_seg.push_back(static_cast<std::uint16_t>(ids.u16(0)));
            }
        });
        in_place.push_back(std::move(stream));
        ++network_->streams;
    }
}

bool network_checks::is_strange(const identifiers& of_events) const {
    return (pat_ && of_events.transport_stream_id != pat_->transport_stream_id) ||
           (sdt_ && of_events.original_network_id != sdt_->original_network_id);
}

void network_checks::take_eit(const sighting& seen) {
    if (seen.size < EIT_HEADER_SIZE) return;
    const identifiers is = {eit_get_tsid(seen.bytes), eit_get_onid(seen.bytes)};
    if (!is_strange(is)) return;
    const bool is_known = strange_events_.count(is) != 0;
    if (!is_known && !events_bound_.admits(strange_events_.size())) return;
    strange_events_[is] = {psi_get_tableidext(seen.bytes), seen.seconds};
}

template <typename Visit>
void network_checks::for_each_network_stream(Visit visit) const {
    if (!network_) return;
    for (const auto& [section_number, streams] : network_->sections) {
        for (const network_stream& stream : streams) visit(stream);
    }
}

bool network_checks::has_whole_network() const {
    return network_ && network_->is_whole() && stream_bound_.left_out == 0;
}

// --- What that comes to ---

void network_checks::packets_passed() {
    if (pace_.is_due(to_.now())) review();
}

void network_checks::end() {
    if (pace_.is_settled(to_.now())) review();
}

void network_checks::review() {
    if (!stream_ || !pat_ || !stream_->known_programs.has_whole_pat()) return;
    const std::set<std::uint16_t> one_seg = one_seg_services();
    std::uint64_t looked_at =
        strange_events_.size() + one_seg.size() + (network_ ? network_->streams : 0);
    to_.begin_review();
    check_network_pid();
    if (has_whole_network()) check_network();
    if (sdt_) check_sdt();
    check_events();
    stream_->known_programs.for_each_service([&](std::uint16_t service_id) {
        ++looked_at;
        check_one_seg(service_id, *stream_->known_programs.pmt_pid_of(service_id),
                      one_seg.count(service_id) != 0);
    });
    looked_at += to_.end_review({finding_kind::network_pid, finding_kind::stream_not_in_nit,
                                 finding_kind::ids_differ, finding_kind::no_number,
                                 finding_kind::one_seg_pid});
    pace_.reviewed(to_.now(), looked_at);
}

void network_checks::check_network_pid() {
    const std::optional<std::uint16_t> named = stream_->known_programs.pmt_pid_of(0);
    if (named == network_pid) return;
    to_.stands({finding_kind::network_pid, {named, {}, 0}, {}, {}, {}}, [&] {
        const std::string says = named ? "says that the NIT is on " + wording::pid(*named)
                                       : "does not say where the NIT is (program_number 0)";
        return "the PAT " + says + ": it belongs on " + wording::pid(network_pid);
    });
}

void network_checks::check_network() {
    const std::uint16_t own = pat_->transport_stream_id;
    bool has_number = false;
    bool is_listed = false;
    std::optional<std::uint16_t> other_origin;
    for_each_network_stream([&](const network_stream& stream) {
        if (stream.is.transport_stream_id != own) return;
        has_number = has_number || stream.has_number;
        if (sdt_ && stream.is.original_network_id != sdt_->original_network_id) {
            other_origin = stream.is.original_network_id;
        } else {
            is_listed = true;
        }
    });

    if (!is_listed) {
        to_.stands({finding_kind::stream_not_in_nit, {network_pid, {}, 0}, {}, {}, {}}, [&] {
            return "the NIT has no entry for this transport stream, " + transport_stream(own) +
                   (sdt_ ? " of " + network_of_origin(sdt_->original_network_id) : "");
        });
    }
    if (!is_listed && other_origin) {
        to_.stands({finding_kind::ids_differ, {network_pid, {}, 0}, {}, {}, {}}, [&] {
            return "the NIT has " + transport_stream(own) + " with " +
                   network_of_origin(*other_origin) + ", the SDT with " +
                   wording::hex(sdt_->original_network_id, 4);
        });
    }
    if (!has_number) {
        to_.stands({finding_kind::no_number, {network_pid, {}, 0}, {}, {}, {}}, [&] {
            return "the NIT has no TS information descriptor for " + transport_stream(own) +
                   ": viewers get no channel numbers";
        });
    }
}

void network_checks::check_sdt() {
    if (sdt_->transport_stream_id == pat_->transport_stream_id) return;
    to_.stands({finding_kind::ids_differ, {service_pid, {}, 0}, {}, {}, {}}, [&] {
        return "the PAT has " + transport_stream(pat_->transport_stream_id) + ", the SDT has " +
               wording::hex(sdt_->transport_stream_id, 4);
    });
}

void network_checks::check_events() {
    const std::optional<double> now = to_.now().seconds;
    for (auto events = strange_events_.begin(); events != strange_events_.end();) {
        const identifiers& is = events->first;
        const strange_events& strange = events->second;
        const bool has_ended = now && strange.seconds && *now - *strange.seconds > silence;
        if (has_ended || !is_strange(is)) {
            events = strange_events_.erase(events);
            continue;
        }
        const std::uint64_t item =
            std::uint64_t{is.transport_stream_id} << 16 | is.original_network_id;
        to_.stands({finding_kind::ids_differ, {event_pid, {}, item}, {}, {}, {}}, [&] {
            return "the EIT of " + wording::service(strange.service_id) + " is of " +
                   transport_stream(is.transport_stream_id) + " and " +
                   network_of_origin(is.original_network_id) + ", but this is " +
                   wording::hex(pat_->transport_stream_id, 4) + " by the PAT" +
                   (sdt_ ? " and " + wording::hex(sdt_->original_network_id, 4) + " by the SDT"
                         : "");
        });
        ++events;
    }
}

/// By the NIT.
std::set<std::uint16_t> network_checks::one_seg_services() const {
    std::set<std::uint16_t> all;
    for_each_network_stream([&](const network_stream& stream) {
        const bool is_own = stream.is.transport_stream_id == pat_->transport_stream_id;
        if (is_own) all.insert(stream.one_seg.begin(), stream.one_seg.end());
    });
    return all;
}

void network_checks::check_one_seg(std::uint16_t service_id, std::uint16_t pid, bool is_listed) {
    const bool has_kind = kind_of(service_id) == one_seg_kind;
    const bool is_by_id = has_kind && sdt_ && is_of_network(service_id, sdt_->original_network_id);
    const bool is_inside = is_one_seg_pmt_pid(pid);
    const finding_subject about = {pid, service_id, 0};
    if (!is_inside && (is_listed || is_by_id)) {
        to_.stands({finding_kind::one_seg_pid, about, {}, {}, {}}, [&] {
            return wording::service(service_id) + " is a 1-seg service by " +
                   (is_listed ? "the NIT's partial reception descriptor" : "its service_id") +
                   ", but its PMT is on " + wording::pid(pid) +
                   ": 1-seg receivers look for it on " + "0x1FC8 to 0x1FCF";
        });
    }
    if (is_inside && !is_listed && !has_kind && has_whole_network()) {
        to_.stands({finding_kind::one_seg_pid, about, {}, {}, {}}, [&] {
            return "the PMT of " + wording::service(service_id) + " is on " + wording::pid(pid) +
                   ", where those of 1-seg services are, but neither its service_id nor the "
                   "NIT's " +
                   "partial reception descriptor says that it is one";
        });
    }
}

}  // namespace orvix::broadcast
