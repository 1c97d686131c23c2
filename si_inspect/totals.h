#pragma once

#include <broadcast/bare_sections.h>
#include <broadcast/completeness.h>
#include <broadcast/multiplex.h>
#include <inputs/network_counts.h>
#include <section_feed/section_collector.h>

#include <bitset>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvix::si_inspect {

/// What was met in all inputs together.
struct totals {
    std::uint64_t packets = 0;
    std::bitset<0x2000> pids;  ///< those that were met
    /// By PID; of all PIDs, also of those whose sections nobody wants.
    std::map<std::uint16_t, std::uint64_t> transport_errors;
    std::map<std::uint16_t, std::uint64_t> continuity_errors;
    std::uint64_t skipped_bytes = 0;
    std::uint64_t sync_losses = 0;

    struct table_counts {
        std::uint64_t sections = 0;  ///< admitted, repeats included
        std::uint64_t shown = 0;     ///< handed to the writer
    };
    std::map<std::string_view, table_counts> tables;  ///< by "pat", "pmt", ...

    /// Sections of tables that the library does not decode, by PID and table_id.
    std::map<std::uint16_t, std::map<std::uint8_t, std::uint64_t>> not_decoded;
    std::uint64_t passed_over = 0;  ///< different sections without section_syntax_indicator
    /// By PID and verdict. Bare sections count under `no_pid`.
    std::map<std::uint16_t, std::map<section_feed::verdict, std::uint64_t>> refused;
    /// By PID and reason.
    std::map<std::uint16_t, std::map<section_feed::drop_reason, std::uint64_t>> dropped;

    static constexpr std::uint16_t no_pid = 0xFFFF;

    /// What did not fit into the bounds of what is kept, by what it is.
    std::map<std::string_view, std::uint64_t> left_out;

    /// Of all inputs that came from a network; none without one.
    std::optional<inputs::network_counts> network;

    /// What has not come of an input, where that is looked for.
    struct missing_of_input {
        std::string file;  ///< empty where only one input is read
        broadcast::missing_parts missing;
    };
    std::optional<std::vector<missing_of_input>> missing;

    /// Adds what a whole input had.
    void add(const broadcast::multiplex& stream);
    void add(const broadcast::bare_sections& file);
    void add(const std::vector<broadcast::bound>& bounds);
    void add(const inputs::network_counts& of_input);

    /// Whether everything that was there was also read.
    bool complete() const {
        const bool came_whole = !network || (network->malformed == 0 && network->overflowed == 0 &&
                                             network->rtp.lost == 0);
        return came_whole && refused.empty() && dropped.empty() && transport_errors.empty() &&
               continuity_errors.empty() && skipped_bytes == 0 && left_out.empty();
    }
    /// Whether all that an input should have has come.
    bool has_missing() const;
};

/// "PID 0x0012 (18)"
std::string name_of_pid(std::uint16_t pid);

/// The totals as aligned lines.
std::string to_text(const totals& counts);

}  // namespace orvix::si_inspect
