#include "table_contents.h"

#include <broadcast/table_ids.h>
#include <sodium.h>

#include <tuple>

namespace orvix::broadcast {

namespace {

constexpr std::size_t long_header = 8;
constexpr std::size_t crc_bytes = 4;

std::uint32_t place_of(span section, std::optional<std::uint16_t> pid) {
    const std::uint8_t table_id = section.begin()[0];
    if (table_id == table_ids::ait) return pid.value_or(0);
    const span body = section.behind(long_header);
    if (table_ids::is_sdt(table_id) && body.size() >= 2) return body.u16(0);
    if (table_ids::is_eit(table_id) && body.size() >= 4) return body.u16(0) << 16 | body.u16(2);
    return 0;
}

/// Of all but the version_number and the CRC_32, which follows from the rest.
table_contents::digest digest_of(span section) {
    constexpr std::size_t version_at = 5;
    table_contents::digest digest;
    crypto_generichash_state state;
    crypto_generichash_init(&state, nullptr, 0, digest.size());
    crypto_generichash_update(&state, section.begin(), version_at);
    const span rest = section.first(section.size() - crc_bytes).behind(version_at + 1);
    crypto_generichash_update(&state, rest.begin(), rest.size());
    crypto_generichash_final(&state, digest.data(), digest.size());
    return digest;
}

}  // namespace

bool operator<(const table_contents::table_key& a, const table_contents::table_key& b) {
    return std::tie(a.table_id, a.table_id_extension, a.place) <
           std::tie(b.table_id, b.table_id_extension, b.place);
}

void table_contents::take(const sighting& seen) {
    if (!seen.is_new || seen.where.crc_error) return;
    const span section(seen.bytes, seen.size);
    const std::optional<sent_header> header = header_of(section);
    if (!header || !header->current_next_indicator) return;
    const bool is_pat_elsewhere = header->table_id == 0 && seen.where.pid.value_or(0) != 0;
    if (is_pat_elsewhere) return;

    const table_key key = {header->table_id, header->table_id_extension,
                           place_of(section, seen.where.pid)};
    const auto known = tables_.find(key);
    const bool has_place =
        known != tables_.end() && known->second.contents.count(header->section_number) != 0;
    if (!has_place && !limit_.admits(sections_)) return;

    table& in_place = known != tables_.end() ? known->second : tables_[key];
    if (in_place.sections.take(*header)) {
        sections_ -= in_place.contents.size();
        in_place.contents.clear();
    }
    in_place.version_number = header->version_number;
    sections_ += in_place.contents.count(header->section_number) == 0 ? 1 : 0;
    in_place.contents[header->section_number] = digest_of(section);
}

bool table_contents::has_whole(std::uint8_t table_id) const {
    for (auto t = tables_.lower_bound({table_id, 0, 0});
         t != tables_.end() && t->first.table_id == table_id; ++t) {
        if (t->second.is_whole()) return true;
    }
    return false;
}

std::bitset<0x2000> table_contents::pids_of_whole_aits() const {
    std::bitset<0x2000> pids;
    for (auto t = tables_.lower_bound({table_ids::ait, 0, 0});
         t != tables_.end() && t->first.table_id == table_ids::ait; ++t) {
        if (t->second.is_whole()) pids.set(t->first.place);
    }
    return pids;
}

bool table_contents::has_any(std::uint8_t first_table_id, std::uint8_t last_table_id,
                             std::uint16_t table_id_extension) const {
    for (unsigned int id = first_table_id; id <= last_table_id; ++id) {
        const auto table_id = static_cast<std::uint8_t>(id);
        const auto t = tables_.lower_bound({table_id, table_id_extension, 0});
        if (t != tables_.end() && t->first.table_id == table_id &&
            t->first.table_id_extension == table_id_extension) {
            return true;
        }
    }
    return false;
}

}  // namespace orvix::broadcast
