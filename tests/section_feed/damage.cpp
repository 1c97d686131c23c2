#include "damage.h"

#include <section_feed/section_collector.h>
#include <stream_writer.h>

#include <algorithm>
#include <numeric>
#include <optional>
#include <random>

#include "sized_sections.h"

namespace orvix::test {

namespace {

constexpr std::uint8_t sync_byte = 0x47;
constexpr std::uint8_t time_and_date_table = 0x70;
constexpr std::size_t protected_packets = 8;  // at both ends, and between two tears

/// std::mt19937 gives the same numbers everywhere; the distributions of the library do not.
class dice {
public:
    explicit dice(std::uint32_t seed) : random_(seed) {}
    std::size_t below(std::size_t limit) { return random_() % limit; }
    std::size_t between(std::size_t least, std::size_t most) {
        return least + below(most - least + 1);
    }
    bool happens(double probability) {
        return static_cast<double>(random_()) < probability * 4294967296.0;
    }

private:
    std::mt19937 random_;
};

bool contains_sync_byte(const bytes& data) {
    return std::find(data.begin(), data.end(), sync_byte) != data.end();
}

// --- What is sent ---

struct sent_section {
    std::uint16_t pid = 0;
    std::vector<std::size_t> packets;  // that carry a byte of it
};

struct broadcast {
    std::vector<bytes> packets;
    std::vector<bytes> sections;
    std::vector<sent_section> sent;  // by section
    std::size_t begin = 0;           // damage happens to packets [begin, end)
    std::size_t end = 0;
};

const std::vector<std::uint16_t> pids = {0x0000, 0x0011, 0x0012, 0x0100, 0x0101, 0x1FC8};

/// Without 0x47: what looks like a packet by accident would be no fault of the reader's.
bytes next_section(dice& random, std::uint32_t& number) {
    for (;;) {
        const std::size_t most = random.happens(0.1) ? 4096 : random.happens(0.3) ? 1024 : 300;
        bytes section = sized_eit(number++, random.between(32, most));
        if (!contains_sync_byte(section)) return section;
    }
}

/// Looks the bytes of every section up in the payloads of its PID.
void locate_sections(broadcast& sent) {
    std::map<std::uint16_t, bytes> payload;
    std::map<std::uint16_t, std::vector<std::size_t>> packet_of_byte;
    for (std::size_t i = 0; i < sent.packets.size(); ++i) {
        const bytes& packet = sent.packets[i];
        const bool has_adaptation_field = (packet[3] & 0x20) != 0;
        const bool payload_unit_start_indicator = (packet[1] & 0x40) != 0;
        std::size_t at = has_adaptation_field ? std::size_t{5} + packet[4] : 4;
        if (payload_unit_start_indicator) ++at;
        for (; at < packet_bytes; ++at) {
            payload[pid_of(packet)].push_back(packet[at]);
            packet_of_byte[pid_of(packet)].push_back(i);
        }
    }
    std::map<std::uint16_t, std::size_t> searched;
    for (std::size_t i = 0; i < sent.sections.size(); ++i) {
        const std::uint16_t pid = sent.sent[i].pid;
        const bytes& all = payload[pid];
        const bytes& section = sent.sections[i];
        const auto found = std::search(all.begin() + static_cast<std::ptrdiff_t>(searched[pid]),
                                       all.end(), section.begin(), section.end());
        const auto first = static_cast<std::size_t>(found - all.begin());
        searched[pid] = first + section.size();
        auto& packets = sent.sent[i].packets;
        packets.assign(&packet_of_byte[pid][first], &packet_of_byte[pid][first] + section.size());
        packets.erase(std::unique(packets.begin(), packets.end()), packets.end());
    }
}

broadcast make_broadcast(dice& random) {
    broadcast result;
    std::uint32_t number = 1;
    std::vector<stream_writer> writers(pids.size());
    const auto add = [&](std::size_t which, std::size_t count, layout how,
                         const std::optional<adaptation_field>& adaptation) {
        std::vector<bytes> group;
        for (std::size_t i = 0; i < count; ++i) {
            group.push_back(next_section(random, number));
            result.sections.push_back(group.back());
            result.sent.push_back({pids[which], {}});
        }
        writers[which].sections(pids[which], group, how, adaptation);
    };
    for (std::size_t which = 0; which < pids.size(); ++which) {
        for (int group = 0; group < 6; ++group) {
            std::optional<adaptation_field> adaptation;
            if (random.happens(0.2))
                adaptation = adaptation_field{false, 27000000, random.below(50)};
            add(which, random.between(1, 6),
                random.happens(0.7) ? layout::packed : layout::one_per_packet, adaptation);
        }
    }
    std::vector<std::size_t> taken(pids.size(), 0);
    std::vector<std::size_t> open(pids.size());
    std::iota(open.begin(), open.end(), std::size_t{0});

    stream_writer all;
    all.null_packets(protected_packets);
    result.begin = all.packets().size();
    while (!open.empty()) {
        if (random.happens(0.1)) all.null_packets();
        const std::size_t chosen = random.below(open.size());
        const std::size_t which = open[chosen];
        all.packets().push_back(writers[which].packets()[taken[which]++]);
        if (taken[which] == writers[which].packets().size()) {
            open.erase(open.begin() + static_cast<std::ptrdiff_t>(chosen));
        }
    }
    result.end = all.packets().size();
    // One section more on every PID shows what was lost last.
    for (std::size_t which = 0; which < pids.size(); ++which) {
        add(which, 1, layout::packed, {});
        const auto& packets = writers[which].packets();
        all.packets().insert(all.packets().end(),
                             packets.begin() + static_cast<std::ptrdiff_t>(taken[which]),
                             packets.end());
    }
    all.null_packets(protected_packets);
    result.packets = all.packets();
    locate_sections(result);
    return result;
}

// --- What becomes of it ---

struct received_packet {
    bytes packet;
    std::size_t origin = 0;
    bool touched = false;
};

/// Bytes that are lost from the joined packets, or inserted there.
struct tear {
    std::size_t at = 0;
    std::size_t lost = 0;
    bytes inserted;
};

void swap_packets(std::vector<received_packet>& packets, dice& random, double rate,
                  const broadcast& sent) {
    for (std::size_t i = sent.begin; i + 1 < sent.end; ++i) {
        if (!random.happens(rate)) continue;
        // Packets of different PIDs may overtake each other.
        if (pid_of(packets[i].packet) == pid_of(packets[i + 1].packet)) {
            packets[i].touched = packets[i + 1].touched = true;
        }
        std::swap(packets[i], packets[i + 1]);
    }
}

std::vector<received_packet> lose_and_double(const std::vector<received_packet>& packets,
                                             dice& random, const damage_rates& rates,
                                             const broadcast& sent) {
    std::vector<received_packet> result;
    for (std::size_t i = 0; i < packets.size(); ++i) {
        const bool safe = i < sent.begin || i >= sent.end;
        if (!safe && random.happens(rates.lost)) continue;
        result.push_back(packets[i]);
        if (!safe && random.happens(rates.doubled)) result.push_back(packets[i]);
    }
    return result;
}

void flip_bits(std::vector<received_packet>& packets, dice& random, double rate, std::size_t end) {
    for (std::size_t i = protected_packets; i < end; ++i) {
        while (random.happens(rate)) {
            packets[i].packet[random.between(1, packet_bytes - 1)] ^=
                static_cast<std::uint8_t>(1 << random.below(8));
            packets[i].touched = true;
        }
    }
}

/// Damage to where the packets stand. A packet reaches from its sync byte to the next one.
std::vector<tear> tear_packets(std::vector<received_packet>& packets, dice& random, double rate,
                               std::size_t end, std::size_t packet_size) {
    const std::size_t time_code = packet_size == 192 ? 4 : 0;
    std::vector<tear> tears;
    for (std::size_t i = protected_packets; i + protected_packets < end; ++i) {
        if (!random.happens(rate)) continue;
        std::size_t last = i;
        const std::size_t sync = time_code + i * packet_size;
        switch (random.below(4)) {
            case 0:
                packets[i].packet[0] ^= static_cast<std::uint8_t>(1 << random.below(8));
                packets[i].touched = true;
                break;
            case 1:  // between two packets
                tears.push_back({sync - time_code, 0, bytes(random.between(1, 3000), 0x55)});
                break;
            case 2: {  // into a packet
                const std::size_t at = random.between(1, packet_size - 1);
                tears.push_back({sync + at, 0, bytes(random.between(1, 600), 0x55)});
                packets[i].touched = true;
                break;
            }
            default: {
                const std::size_t at = random.below(packet_size);
                const std::size_t lost = random.between(1, 600);
                tears.push_back({sync + at, lost, {}});
                last = i + (at + lost - 1) / packet_size;
                for (std::size_t k = i; k <= last; ++k) packets[k].touched = true;
                break;
            }
        }
        i = last + protected_packets;
    }
    return tears;
}

bytes torn(const bytes& joined, const std::vector<tear>& tears) {
    bytes stream;
    std::size_t copied = 0;
    const auto copy_to = [&](std::size_t to) {
        stream.insert(stream.end(), joined.begin() + static_cast<std::ptrdiff_t>(copied),
                      joined.begin() + static_cast<std::ptrdiff_t>(to));
    };
    for (const tear& t : tears) {
        copy_to(t.at);
        stream.insert(stream.end(), t.inserted.begin(), t.inserted.end());
        copied = t.at + t.lost;
    }
    copy_to(joined.size());
    return stream;
}

/// Where a byte of the joined packets stands in the torn stream; nowhere if it is lost.
std::optional<std::size_t> place_after(std::size_t at, const std::vector<tear>& tears) {
    std::size_t place = at;
    for (const tear& t : tears) {
        if (at < t.at) break;
        if (at < t.at + t.lost) return {};
        place = place + t.inserted.size() - t.lost;
    }
    return place;
}

struct arrival {
    std::size_t origin = 0;
    bool touched = false;
};

bool is_undisturbed(const sent_section& section, const std::vector<arrival>& on_its_pid,
                    const std::vector<bool>& touched_origins) {
    for (const std::size_t origin : section.packets) {
        if (touched_origins[origin]) return false;
    }
    std::size_t at = 0;
    while (at < on_its_pid.size() &&
           (on_its_pid[at].touched || on_its_pid[at].origin != section.packets.front())) {
        ++at;
    }
    for (const std::size_t origin : section.packets) {
        const auto is_next = [&] {
            return at < on_its_pid.size() && !on_its_pid[at].touched &&
                   on_its_pid[at].origin == origin;
        };
        if (!is_next()) return false;
        while (is_next()) ++at;
    }
    return true;
}

std::map<std::uint16_t, std::uint64_t> count_gaps(const broadcast& sent,
                                                  const std::vector<received_packet>& received) {
    std::vector<bool> arrived(sent.packets.size(), false);
    for (const received_packet& r : received) arrived[r.origin] = true;
    std::map<std::uint16_t, std::uint64_t> gaps;
    std::map<std::uint16_t, bool> began;
    std::map<std::uint16_t, bool> in_gap;
    for (std::size_t i = 0; i < sent.packets.size(); ++i) {
        const std::uint16_t pid = pid_of(sent.packets[i]);
        if (arrived[i]) {
            // What is missing before the first packet of a PID is no gap.
            if (began[pid] && in_gap[pid]) ++gaps[pid];
            began[pid] = true;
        }
        in_gap[pid] = !arrived[i];
    }
    gaps.erase(null_pid);
    return gaps;
}

}  // namespace

damaged_broadcast make_damaged_broadcast(std::uint32_t seed, const damage_rates& rates,
                                         std::size_t packet_size) {
    dice random(seed);
    const broadcast sent = make_broadcast(random);

    std::vector<received_packet> received;
    for (std::size_t i = 0; i < sent.packets.size(); ++i) {
        received.push_back({sent.packets[i], i, false});
    }
    swap_packets(received, random, rates.swapped, sent);
    received = lose_and_double(received, random, rates, sent);
    const std::size_t end = received.size() - (sent.packets.size() - sent.end);
    flip_bits(received, random, rates.flipped, end);
    const std::vector<tear> tears = tear_packets(received, random, rates.torn, end, packet_size);

    std::vector<bytes> packets;
    for (const received_packet& r : received) packets.push_back(r.packet);
    damaged_broadcast result;
    result.stream = torn(join_packets(packets, packet_size), tears);
    result.pids = pids;
    result.sections = sent.sections;

    // Each packet counts for the PID that it shows now.
    std::map<std::uint16_t, std::vector<arrival>> arrivals;
    std::vector<bool> touched_origins(sent.packets.size(), false);
    for (std::size_t i = 0; i < received.size(); ++i) {
        if (received[i].touched) touched_origins[received[i].origin] = true;
        const std::size_t sync = (packet_size == 192 ? 4 : 0) + i * packet_size;
        if (const auto place = place_after(sync, tears)) {
            const bytes header(&result.stream[*place], &result.stream[*place] + 4);
            arrivals[pid_of(header)].push_back({received[i].origin, received[i].touched});
        }
    }
    for (const sent_section& section : sent.sent) {
        result.undisturbed.push_back(
            is_undisturbed(section, arrivals[section.pid], touched_origins));
    }
    result.gaps = count_gaps(sent, received);
    return result;
}

reception receive(const damaged_broadcast& broadcast, std::uint32_t seed) {
    using namespace section_feed;
    reception result;
    std::map<bytes, std::size_t> times;
    section_collector collector([&](const section& s) {
        // A Time and Date Table has no CRC_32: a flipped bit can make one of anything.
        if (s.bytes[0] == time_and_date_table) return;
        ++result.sections;
        ++times[bytes(s.bytes, s.bytes + s.size)];
    });
    for (const std::uint16_t pid : broadcast.pids) collector.follow(pid);

    dice random(seed);
    packet_reader reader;
    packet p;
    for (std::size_t at = 0; at < broadcast.stream.size();) {
        const std::size_t most = random.happens(0.5) ? 300 : 10000;
        const std::size_t count = std::min(random.between(1, most), broadcast.stream.size() - at);
        reader.push(&broadcast.stream[at], count);
        while (reader.next(p)) collector.push(p);
        at += count;
    }
    reader.finish();
    while (reader.next(p)) collector.push(p);
    collector.finish();

    result.counted_losses = reader.skipped_bytes();
    for (const auto& [pid, counts] : collector.counts()) {
        for (const std::uint64_t n : counts.refused) result.counted_losses += n;
        for (const std::uint64_t n : counts.dropped) result.counted_losses += n;
        const auto gaps = counts.dropped[static_cast<std::size_t>(drop_reason::discontinuity)];
        if (gaps != 0) result.discontinuities[pid] = gaps;
    }
    for (std::size_t i = 0; i < broadcast.sections.size(); ++i) {
        const auto found = times.find(broadcast.sections[i]);
        const std::size_t n = found == times.end() ? 0 : found->second;
        if (broadcast.undisturbed[i] && n != 1) {
            result.faults.push_back("undisturbed section " + std::to_string(i) + " came " +
                                    std::to_string(n) + " times");
        }
        if (found != times.end()) times.erase(found);
    }
    if (!times.empty()) {
        result.faults.push_back(std::to_string(times.size()) + " sections came that were not sent");
    }
    return result;
}

}  // namespace orvix::test
