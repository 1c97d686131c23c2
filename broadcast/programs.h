#pragma once

#include <si_parser/pat.h>
#include <si_parser/pmt.h>

#include <cstdint>
#include <map>
#include <set>

namespace orvix::broadcast {

/// What PAT and PMTs say about where the other tables are: the PIDs of the PMTs, and in them the
/// streams that may carry AITs.
class programs {
public:
    /// Takes a PAT's section. Programmes that are gone are given up when all sections of a new
    /// version are there: returns the PIDs of their PMTs.
    std::set<std::uint16_t> take(const si_parser::pat& section);
    /// Takes a PMT.
    void take(const si_parser::pmt& table, std::uint16_t pid);

    /// PIDs of all PMTs, of the NIT where the PAT names one, and of all streams that may carry
    /// AITs.
    std::set<std::uint16_t> pids() const;
    /// The services whose PMT names this PID as a stream that may carry an AIT.
    std::set<std::uint16_t> services_of(std::uint16_t pid) const;

private:
    struct program {
        std::uint16_t pmt_pid = 0;
        std::set<std::uint16_t> application_pids;
    };
    using program_map = std::map<std::uint16_t, std::uint16_t>;  ///< PID by program_number

    std::set<std::uint16_t> forget_missing_programs();

    std::uint32_t transport_stream_id_ = 0;
    std::uint32_t version_number_ = 0;
    std::map<std::uint32_t, program_map> pat_sections_;  ///< of the newest version, by number
    std::map<std::uint16_t, program> programs_;          ///< by program_number
};

}  // namespace orvix::broadcast
