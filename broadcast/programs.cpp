#include "programs.h"

namespace orvix::broadcast {

namespace {

constexpr std::int32_t private_sections = 0x05;  // a stream_type

}  // namespace

std::set<std::uint16_t> programs::take(const si_parser::pat& section) {
    if (section.current_next_indicator == 0) return {};
    if (section.version_number != version_number_ ||
        section.table_id_extension != transport_stream_id_) {
        pat_sections_.clear();
        version_number_ = section.version_number;
        transport_stream_id_ = section.table_id_extension;
    }

    program_map& listed = pat_sections_[section.section_number];
    listed.clear();
    for (const auto& [program_number, pid] : section.program_map) {
        const auto number = static_cast<std::uint16_t>(program_number);
        listed[number] = static_cast<std::uint16_t>(pid);
        programs_[number].pmt_pid = static_cast<std::uint16_t>(pid);
    }
    const bool whole = pat_sections_.size() > section.last_section_number;
    return whole ? forget_missing_programs() : std::set<std::uint16_t>();
}

std::set<std::uint16_t> programs::forget_missing_programs() {
    std::set<std::uint16_t> gone;
    for (auto p = programs_.begin(); p != programs_.end();) {
        bool listed = false;
        for (const auto& [number, map] : pat_sections_) listed |= map.count(p->first) != 0;
        if (listed) {
            ++p;
        } else {
            gone.insert(p->second.pmt_pid);
            p = programs_.erase(p);
        }
    }
    return gone;
}

void programs::take(const si_parser::pmt& table, std::uint16_t pid) {
    if (table.current_next_indicator == 0) return;
    const auto found = programs_.find(static_cast<std::uint16_t>(table.program_number));
    if (found == programs_.end() || found->second.pmt_pid != pid) return;
    found->second.application_pids.clear();
    for (const auto& stream : table.streams) {
        if (stream.stream_type != private_sections) continue;
        found->second.application_pids.insert(static_cast<std::uint16_t>(stream.elementary_PID));
    }
}

std::set<std::uint16_t> programs::pids() const {
    std::set<std::uint16_t> all;
    for (const auto& [number, p] : programs_) {
        all.insert(p.pmt_pid);
        all.insert(p.application_pids.begin(), p.application_pids.end());
    }
    return all;
}

std::set<std::uint16_t> programs::services_of(std::uint16_t pid) const {
    std::set<std::uint16_t> services;
    for (const auto& [number, p] : programs_) {
        if (p.application_pids.count(pid) != 0) services.insert(number);
    }
    return services;
}

}  // namespace orvix::broadcast
