#pragma once

#include <si_parser/pat.h>
#include <si_parser/pmt.h>

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "bound.h"
#include "listing.h"

namespace orvix::broadcast {

/// On these PIDs a receiver of 1-seg services looks for PMTs, without a PAT.
constexpr std::uint32_t first_one_seg_pmt_pid = 0x1FC8;
constexpr std::uint32_t last_one_seg_pmt_pid = 0x1FCF;
constexpr bool is_one_seg_pmt_pid(std::uint32_t pid) {
    return pid >= first_one_seg_pmt_pid && pid <= last_one_seg_pmt_pid;
}

/// What PAT and PMTs say about where the other tables are: the PIDs of the PMTs, and in them the
/// streams that may carry AITs. A section costs what it adds and takes away, not what is known.
class programs {
public:
    struct pid_handlers {
        std::function<void(std::uint16_t pid)> on_referred;  ///< by a first programme
        std::function<void(std::uint16_t pid)> on_released;  ///< by the last one
        /// A programme has no PMT on this PID any more. If it comes back, its PMT is to be read
        /// anew.
        std::function<void(std::uint16_t pid)> on_pmt_gone;
    };
    explicit programs(pid_handlers handlers) : handlers_(std::move(handlers)) {}

    /// Takes a PAT's section. Programmes that are gone are given up when all sections of a new
    /// version are there, those of 1-seg PIDs never.
    void take(const si_parser::pat& section);
    /// Takes a PMT, if the PAT names this PID for it or a 1-seg receiver finds it there.
    void take(const si_parser::pmt& table, std::uint16_t pid);

    /// Whether all sections of a PAT have come.
    bool has_whole_pat() const { return listing_.has_come_whole(); }
    /// Whether any PMT names this PID as a stream that may carry an AIT.
    bool has_applications_on(std::uint16_t pid) const { return application_references_[pid] > 0; }
    /// Whether the service's PMT names this PID as a stream that may carry an AIT.
    bool has_applications_on(std::uint16_t service_id, std::uint16_t pid) const;

    /// Where the service's PMT is looked for; none for a service that is not listed.
    std::optional<std::uint16_t> pmt_pid_of(std::uint16_t service_id) const;
    /// Whether the PAT names this PID, or a PMT as that of an AIT.
    bool refers_to(std::uint16_t pid) const { return references_[pid] > 0; }
    /// How many programmes have a PMT or should have one.
    std::size_t services() const { return programs_.size() - programs_.count(0); }
    /// Calls `visit` with the service_id of each programme that has a PMT or should have one.
    template <typename Visit>
    void for_each_service(Visit visit) const {
        for (const auto& [program_number, known] : programs_) {
            const bool is_nit = program_number == 0;
            if (!is_nit) visit(program_number);
        }
    }

    /// Further programmes are not followed.
    const bound& limit() const { return limit_; }

private:
    struct program {
        std::optional<std::uint16_t> pmt_pid;
        std::vector<std::uint16_t> application_pids;
    };

    program* find_or_add(std::uint16_t program_number);
    void give_up(std::uint16_t program_number);
    void set_pmt_pid(program& p, std::uint16_t pid);
    void leave_pmt_pid(const program& p);
    void set_application_pids(program& p, std::vector<std::uint16_t> pids);
    void refer(std::uint16_t pid);
    void release(std::uint16_t pid);

    pid_handlers handlers_;
    listing listing_;                                                ///< of the PAT
    std::unordered_map<std::uint16_t, program> programs_;            ///< by program_number
    std::array<std::uint32_t, 0x2000> references_ = {};              ///< by PID, of any kind
    std::array<std::uint32_t, 0x2000> application_references_ = {};  ///< by PID, of PMTs
    // One for each PID there is; a multiplex has below a hundred.
    bound limit_ = {"programmes", 0x2000};
};

}  // namespace orvix::broadcast
