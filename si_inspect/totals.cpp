#include "totals.h"

#include <broadcast/names.h>

#include <algorithm>
#include <vector>

#include "display.h"
#include "writers/fields.h"
#include "writers/text/missing_text.h"

namespace orvix::si_inspect {

namespace {

std::string count_of(std::uint64_t count, const std::string& what) {
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

/// One line for each PID: "PID 0x0012 (18): 3 discontinuity, 1 unfinished".
template <typename Reason>
void add_by_pid(std::vector<std::pair<std::string, std::string>>& lines, const std::string& name,
                const std::map<std::uint16_t, std::map<Reason, std::uint64_t>>& counts) {
    for (const auto& [pid, reasons] : counts) {
        std::string list;
        for (const auto& [reason, count] : reasons) {
            list += (list.empty() ? "" : ", ") + std::to_string(count) + ' ' + to_string(reason);
        }
        const std::string where = pid == totals::no_pid ? "" : name_of_pid(pid) + ": ";
        lines.emplace_back(name, where + list);
    }
}

/// One line for each PID: "PID 0x0111 (273): 3".
void add_by_pid(std::vector<std::pair<std::string, std::string>>& lines, const std::string& name,
                const std::map<std::uint16_t, std::uint64_t>& counts) {
    for (const auto& [pid, count] : counts) {
        lines.emplace_back(name, name_of_pid(pid) + ": " + std::to_string(count));
    }
}

/// "1234 datagrams", and what was wrong with them.
std::string in_words(const inputs::network_counts& network) {
    std::string words = count_of(network.datagrams, "datagram");
    const auto add = [&words](std::uint64_t count, const char* what) {
        if (count > 0) words += ", " + std::to_string(count) + ' ' + what;
    };
    add(network.malformed, "malformed");
    add(network.overflowed, "too many for the receive buffer");
    add(network.rtp.lost, "lost by RTP");
    add(network.rtp.reordered, "reordered");
    add(network.rtp.late, "too late");
    add(network.rtp.duplicates, "repeated");
    add(network.rtp.restarts, "restarts");
    return words;
}

}  // namespace

bool totals::has_missing() const {
    return missing && std::any_of(missing->begin(), missing->end(), [](const auto& of_input) {
               return !of_input.missing.parts.empty();
           });
}

void totals::add(const broadcast::multiplex& stream) {
    packets += stream.reader().packets();
    constexpr std::uint16_t largest_pid = 0x1FFF;
    for (std::uint16_t pid = 0; pid <= largest_pid; ++pid) {
        const section_feed::packet_counts& counts = stream.counts().of(pid);
        if (counts.packets > 0) pids.set(pid);
        if (counts.transport_errors > 0) transport_errors[pid] += counts.transport_errors;
        if (counts.continuity_errors > 0) continuity_errors[pid] += counts.continuity_errors;
    }
    skipped_bytes += stream.reader().skipped_bytes();
    sync_losses += stream.reader().sync_losses();
    for (const auto& [pid, of_pid] : stream.collector().counts()) {
        for (std::size_t i = 0; i < section_feed::drop_reasons; ++i) {
            if (of_pid.dropped[i] == 0) continue;
            dropped[pid][static_cast<section_feed::drop_reason>(i)] += of_pid.dropped[i];
        }
    }
    add(stream.bounds());
}

void totals::add(const broadcast::bare_sections& file) {
    if (file.is_unfinished()) ++dropped[no_pid][section_feed::drop_reason::unfinished];
    add(file.bounds());
}

void totals::add(const std::vector<broadcast::bound>& bounds) {
    for (const broadcast::bound& b : bounds) {
        if (b.left_out > 0) left_out[b.what] += b.left_out;
    }
}

void totals::add(const inputs::network_counts& of_input) {
    if (!network) network.emplace();
    *network += of_input;
}

std::string name_of_pid(std::uint16_t pid) {
    return "PID " + hex_number(pid, 4) + " (" + std::to_string(pid) + ")";
}

std::string to_text(const totals& counts) {
    std::vector<std::pair<std::string, std::string>> lines;
    if (counts.network) lines.emplace_back("network", in_words(*counts.network));
    if (counts.packets > 0) {
        lines.emplace_back("packets", std::to_string(counts.packets) + " on " +
                                          count_of(counts.pids.count(), "PID"));
    }
    for (const auto& [table, count] : counts.tables) {
        lines.emplace_back(std::string(table), count_of(count.sections, "section") + ", " +
                                                   std::to_string(count.shown) + " shown");
    }
    for (const auto& [pid, tables] : counts.not_decoded) {
        std::string list;
        for (const auto& [table_id, count] : tables) {
            list += (list.empty() ? "" : ", ") + std::to_string(count) + ' ' +
                    std::string(broadcast::names::table_id(table_id)) + " (" +
                    hex_number(table_id, 2) + ")";
        }
        const std::string where = pid == totals::no_pid ? "" : name_of_pid(pid) + ": ";
        lines.emplace_back("not decoded", where + list);
    }
    if (counts.passed_over > 0) {
        lines.emplace_back("passed over", count_of(counts.passed_over, "section") +
                                              " without section_syntax_indicator");
    }
    add_by_pid(lines, "transport errors", counts.transport_errors);
    add_by_pid(lines, "continuity errors", counts.continuity_errors);
    add_by_pid(lines, "refused", counts.refused);
    add_by_pid(lines, "dropped", counts.dropped);
    if (counts.skipped_bytes > 0) {
        std::string skipped = count_of(counts.skipped_bytes, "byte");
        if (counts.sync_losses > 0)
            skipped += ", sync lost " + count_of(counts.sync_losses, "time");
        lines.emplace_back("skipped", skipped);
    }

    for (const auto& [what, count] : counts.left_out) {
        lines.emplace_back("left out", std::to_string(count) + ' ' + std::string(what));
    }

    if (counts.missing) {
        for (const totals::missing_of_input& of_input : *counts.missing) {
            const std::string where = of_input.file.empty() ? "" : printable(of_input.file) + ": ";
            for (const std::string& words : in_words(of_input.missing)) {
                lines.emplace_back("missing", where + words);
            }
        }
    }

    std::size_t width = 0;
    for (const auto& line : lines) width = std::max(width, line.first.size());
    std::string text;
    for (const auto& [name, value] : lines) text += padded(name, width) + "  " + value + '\n';
    return text;
}

}  // namespace orvix::si_inspect
