#pragma once

#include <section_feed/section_collector.h>

#include <bitset>
#include <cstdint>
#include <map>
#include <string>

namespace orvix::si_inspect {

/// What was met in all inputs together.
struct totals {
    std::uint64_t packets = 0;
    std::bitset<0x2000> pids;  ///< those that were met
    std::uint64_t skipped_bytes = 0;
    std::uint64_t sync_losses = 0;

    struct table_counts {
        std::uint64_t sections = 0;  ///< admitted, repeats included
        std::uint64_t shown = 0;     ///< handed to the writer
    };
    std::map<std::string, table_counts> tables;  ///< by "pat", "pmt", ...

    std::uint64_t not_decoded = 0;  ///< sections of tables that the library does not decode
    std::uint64_t passed_over = 0;  ///< different sections without section_syntax_indicator
    /// By PID and verdict. Bare sections count under `no_pid`.
    std::map<std::uint16_t, std::map<section_feed::verdict, std::uint64_t>> refused;
    /// By PID and reason.
    std::map<std::uint16_t, std::map<section_feed::drop_reason, std::uint64_t>> dropped;

    static constexpr std::uint16_t no_pid = 0xFFFF;

    /// Whether everything that was there was also read.
    bool complete() const { return refused.empty() && dropped.empty() && skipped_bytes == 0; }
};

/// "PID 0x0012 (18)"
std::string name_of_pid(std::uint16_t pid);

/// The totals as aligned lines.
std::string to_text(const totals& counts);

}  // namespace orvix::si_inspect
