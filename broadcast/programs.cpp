#include "programs.h"

#include <algorithm>
#include <set>

namespace orvix::broadcast {

namespace {

constexpr std::int32_t private_sections = 0x05;  // a stream_type

}  // namespace

void programs::take(const si_parser::pat& section) {
    if (section.current_next_indicator == 0) return;

    listing::service_ids listed;
    for (const auto& [program_number, pid] : section.program_map) {
        const auto number = static_cast<std::uint16_t>(program_number);
        program* const p = find_or_add(number);
        if (p == nullptr) continue;
        set_pmt_pid(*p, static_cast<std::uint16_t>(pid));
        listed.push_back(number);
    }
    const std::uint32_t transport_stream_id = section.table_id_extension;
    for (const std::uint16_t gone : listing_.take(section, transport_stream_id, listed)) {
        give_up(gone);
    }
}

programs::program* programs::find_or_add(std::uint16_t program_number) {
    const auto known = programs_.find(program_number);
    if (known != programs_.end()) return &known->second;
    return limit_.admits(programs_.size()) ? &programs_[program_number] : nullptr;
}

void programs::give_up(std::uint16_t program_number) {
    const auto gone = programs_.find(program_number);
    program& p = gone->second;
    if (is_one_seg_pmt_pid(*p.pmt_pid)) return;
    leave_pmt_pid(p);
    set_application_pids(p, {});
    programs_.erase(gone);
}

void programs::set_pmt_pid(program& p, std::uint16_t pid) {
    if (p.pmt_pid == pid) return;
    refer(pid);
    leave_pmt_pid(p);
    p.pmt_pid = pid;
}

void programs::take(const si_parser::pmt& table, std::uint16_t pid) {
    if (table.current_next_indicator == 0) return;
    const auto number = static_cast<std::uint16_t>(table.program_number);
    if (programs_.count(number) == 0 && !is_one_seg_pmt_pid(pid)) return;
    program* const p = find_or_add(number);
    if (p == nullptr) return;
    if (!p->pmt_pid) set_pmt_pid(*p, pid);
    if (p->pmt_pid != pid) return;

    std::set<std::uint16_t> named;
    for (const auto& stream : table.streams) {
        if (stream.stream_type != private_sections) continue;
        named.insert(static_cast<std::uint16_t>(stream.elementary_PID));
    }
    set_application_pids(*p, {named.begin(), named.end()});
}

void programs::set_application_pids(program& p, std::vector<std::uint16_t> pids) {
    for (const std::uint16_t pid : pids) {
        refer(pid);
        ++application_references_[pid];
    }
    p.application_pids.swap(pids);
    for (const std::uint16_t before : pids) {
        --application_references_[before];
        release(before);
    }
}

bool programs::has_applications_on(std::uint16_t service_id, std::uint16_t pid) const {
    const auto p = programs_.find(service_id);
    if (p == programs_.end()) return false;
    const std::vector<std::uint16_t>& pids = p->second.application_pids;
    return std::binary_search(pids.begin(), pids.end(), pid);
}

std::optional<std::uint16_t> programs::pmt_pid_of(std::uint16_t service_id) const {
    const auto p = programs_.find(service_id);
    return p == programs_.end() ? std::nullopt : p->second.pmt_pid;
}

void programs::leave_pmt_pid(const program& p) {
    if (!p.pmt_pid) return;
    handlers_.on_pmt_gone(*p.pmt_pid);
    release(*p.pmt_pid);
}

void programs::refer(std::uint16_t pid) {
    if (references_[pid]++ == 0) handlers_.on_referred(pid);
}

void programs::release(std::uint16_t pid) {
    if (--references_[pid] == 0) handlers_.on_released(pid);
}

}  // namespace orvix::broadcast
