#include "bit_rates.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <utility>

namespace orvix::broadcast {

namespace {

constexpr std::uint16_t null_pid = 0x1FFF;

/// What comes on the PIDs that need no reference (ISO/IEC 13818-1, ABNT NBR 15603-1).
std::string_view reserved_pid(std::uint16_t pid) {
    switch (pid) {
        case 0x0000:
            return "PAT";
        case 0x0001:
            return "CAT";
        case 0x0010:
            return "NIT";
        case 0x0011:
            return "SDT, BAT";
        case 0x0012:
            return "EIT";
        case 0x0013:
            return "RST";
        case 0x0014:
            return "TOT, TDT";
        case 0x001E:
            return "DIT";
        case 0x001F:
            return "SIT";
        case 0x0020:
            return "LIT";
        case 0x0021:
            return "ERT";
        case 0x0022:
            return "PCAT";
        case 0x0023:
            return "SDTT";
        case 0x0024:
            return "BIT";
        case 0x0025:
            return "NBIT, LDT";
        case 0x0026:
        case 0x0027:
            return "EIT";
        case 0x0028:
            return "SDTT";
        case 0x0029:
            return "CDT";
        case null_pid:
            return "null packets";
        default:
            return "";
    }
}

struct use {
    std::vector<std::uint16_t> service_ids;
    std::string what;

    void add(std::uint16_t service_id, const std::string& words) {
        if (service_ids.empty() || service_ids.back() != service_id) {
            service_ids.push_back(service_id);
        }
        if (what.empty()) what = words;
    }
};

/// By PID.
std::map<std::uint16_t, use> uses_of(const told_services& all) {
    std::map<std::uint16_t, use> uses;
    for (const told_service& service : all.services) {
        const std::uint16_t id = service.service_id;
        if (service.program_map_pid) uses[*service.program_map_pid].add(id, "PMT");
        if (service.streams) {
            for (const service_stream& s : *service.streams) {
                uses[s.elementary_pid].add(id, in_words(s));
            }
        }
        if (service.pcr_pid) uses[*service.pcr_pid].add(id, "PCR");
    }
    return uses;
}

pid_share share_of(std::uint16_t pid, std::uint64_t packets,
                   const std::map<std::uint16_t, use>& uses) {
    pid_share share;
    share.pid = pid;
    share.packets = packets;
    const auto used = uses.find(pid);
    const std::string_view reserved = reserved_pid(pid);
    if (!reserved.empty()) {
        share.owner = pid == null_pid ? pid_owner::nobody : pid_owner::all;
        share.what = reserved;
    } else if (used != uses.end()) {
        share.service_ids = used->second.service_ids;
        share.owner =
            share.service_ids.size() == 1 ? pid_owner::one_service : pid_owner::several_services;
        share.what = used->second.what;
    }
    return share;
}

/// The shares of those who own something, in the order of their keys.
std::vector<owner_share> owners_of(const std::vector<pid_share>& pids) {
    std::map<std::pair<pid_owner, std::uint16_t>, std::uint64_t> packets;
    for (const pid_share& p : pids) {
        const bool is_of_one = p.owner == pid_owner::one_service;
        packets[{p.owner, is_of_one ? p.service_ids.front() : std::uint16_t{0}}] += p.packets;
    }
    std::vector<owner_share> owners;
    for (const auto& [key, count] : packets) {
        owner_share share = {key.first, std::nullopt, count};
        if (key.first == pid_owner::one_service) share.service_id = key.second;
        owners.push_back(share);
    }
    return owners;
}

}  // namespace

stream_shares share_out(const section_feed::stream_counts& counts, const told_services& all) {
    const std::map<std::uint16_t, use> uses = uses_of(all);
    stream_shares shares;
    for (const std::uint16_t pid : counts.pids()) {
        const std::uint64_t packets = counts.of(pid).packets;
        shares.packets += packets;
        shares.pids.push_back(share_of(pid, packets, uses));
    }
    std::sort(shares.pids.begin(), shares.pids.end(), [](const pid_share& a, const pid_share& b) {
        return a.packets != b.packets ? a.packets > b.packets : a.pid < b.pid;
    });
    shares.owners = owners_of(shares.pids);
    return shares;
}

double bits_per_second(std::uint64_t packets, double seconds) {
    constexpr double bits_of_packet = 188 * 8;
    return static_cast<double>(packets) * bits_of_packet / seconds;
}

}  // namespace orvix::broadcast
