#include "table_versions.h"

#include <broadcast/findings/wording.h>
#include <broadcast/table_ids.h>

#include <algorithm>
#include <string_view>
#include <utility>

extern "C" {
#include <bitstream/dvb/si.h>
#include <bitstream/mpeg/psi.h>
}

namespace orvix::broadcast {

namespace {

constexpr unsigned int versions = 32;
constexpr unsigned int sections_of_a_segment = 8;

// When one section has come so often, the others of its table have had two rounds to come in.
constexpr unsigned int times_to_miss_another = 3;

/// What tells it from the same table of another transport stream.
std::uint32_t stream_of(const std::uint8_t* section) {
    const std::uint8_t table_id = section[0];
    if (table_ids::is_sdt(table_id)) return sdt_get_onid(section);
    if (!table_ids::is_eit(table_id)) return 0;
    return std::uint32_t{eit_get_onid(section)} << 16 | eit_get_tsid(section);
}

/// Of all but version_number and CRC_32.
std::size_t hash_of(const sighting& seen) {
    constexpr std::size_t behind_version = 6;
    const auto* const bytes = reinterpret_cast<const char*>(seen.bytes);
    const std::size_t end = std::max<std::size_t>(seen.size - PSI_CRC_SIZE, behind_version);
    return std::hash<std::string_view>()({bytes + behind_version, end - behind_version});
}

finding_subject subject_of(const sighting& seen) {
    const std::uint8_t table_id = seen.bytes[0];
    finding_subject about;
    about.pid = seen.where.pid;
    about.item = table_id;
    const std::uint16_t extension = psi_get_tableidext(seen.bytes);
    if (table_id == table_ids::pmt || table_ids::is_eit(table_id)) {
        about.service_id = extension;
    } else {
        about.item |= std::uint64_t{extension} << 8;
    }
    return about;
}

}  // namespace

void table_versions::take(const sighting& seen) {
    const bool has_version = seen.size >= PSI_HEADER_SIZE_SYNTAX1 && psi_get_syntax(seen.bytes) &&
                             seen.bytes[0] != table_ids::tot;
    if (!has_version || seen.where.crc_error) return;
    if (!psi_get_current(seen.bytes)) return take_not_yet_valid(seen);
    check_number(seen);

    const table_key key = {seen.where.pid.value_or(0xFFFF), seen.bytes[0],
                           psi_get_tableidext(seen.bytes), stream_of(seen.bytes)};
    auto found = tables_.find(key);
    if (found == tables_.end()) {
        if (!bound_.admits(kept_)) return;
        found = tables_.emplace(key, table()).first;
        found->second.version_number = psi_get_version(seen.bytes);
    }
    table& known = found->second;
    if (psi_get_version(seen.bytes) != known.version_number) begin_version(known, seen);
    if (seen.is_new) take_content(known, seen);
    look_for_missing(known, seen);
}

void table_versions::forget(std::uint16_t pid) {
    auto known = tables_.lower_bound({pid, 0, 0, 0});
    while (known != tables_.end() && std::get<0>(known->first) == pid) {
        kept_ -= known->second.sections.size() + known->second.before.size();
        known = tables_.erase(known);
    }
}

void table_versions::forget() {
    tables_.clear();
    kept_ = 0;
}

void table_versions::take_not_yet_valid(const sighting& seen) {
    to_.occurs({finding_kind::not_yet_valid, subject_of(seen), {}, {}, {}}, [&] {
        return wording::table_of(seen.bytes) +
               " is sent before it is valid (current_next_indicator 0): receivers pass it over";
    });
}

void table_versions::check_number(const sighting& seen) {
    const unsigned int number = psi_get_section(seen.bytes);
    const unsigned int last = psi_get_lastsection(seen.bytes);
    if (number <= last) return;
    to_.occurs({finding_kind::section_numbers, subject_of(seen), {}, {}, {}}, [&] {
        return "section_number " + std::to_string(number) + " of " + wording::table_of(seen.bytes) +
               " is above its last_section_number " + std::to_string(last);
    });
}

void table_versions::begin_version(table& known, const sighting& seen) {
    const unsigned int version = psi_get_version(seen.bytes);
    const unsigned int expected = (known.version_number + 1) % versions;
    if (version != expected) {
        const unsigned int before = known.version_number;
        to_.occurs({finding_kind::version_jump, subject_of(seen), {}, {}, {}}, [&] {
            return "version_number of " + wording::table_of(seen.bytes) + " went from " +
                   std::to_string(before) + " to " + std::to_string(version) + ", not to " +
                   std::to_string(expected);
        });
    }
    kept_ -= known.before.size();
    known.before = std::exchange(known.sections, {});
    known.times.clear();
    known.differs = false;
    known.has_missed = false;
    known.version_number = version;
}

void table_versions::take_content(table& known, const sighting& seen) {
    const std::uint8_t number = psi_get_section(seen.bytes);
    const std::size_t hash = hash_of(seen);
    const auto in_place = known.sections.find(number);
    if (in_place != known.sections.end()) {
        if (std::exchange(in_place->second, hash) == hash) return;
        to_.occurs({finding_kind::content_without_version, subject_of(seen), {}, {}, {}}, [&] {
            return "section " + std::to_string(number) + " of " + wording::table_of(seen.bytes) +
                   " changed, but its version_number stayed " +
                   std::to_string(known.version_number) + ": receivers miss the change";
        });
        return;
    }
    if (!bound_.admits(kept_)) return;
    known.sections.emplace(number, hash);
    ++kept_;

    const auto before = known.before.find(number);
    known.differs = known.differs || before == known.before.end() || before->second != hash;
    if (known.differs) return;
    known.before.erase(before);
    --kept_;
    if (!known.before.empty()) return;
    to_.occurs({finding_kind::version_without_content, subject_of(seen), {}, {}, {}}, [&] {
        return "version_number of " + wording::table_of(seen.bytes) + " became " +
               std::to_string(known.version_number) + ", but nothing else changed";
    });
}

/// Sections of a schedule that are left out between segments are never sent.
void table_versions::look_for_missing(table& known, const sighting& seen) {
    const unsigned int number = psi_get_section(seen.bytes);
    const auto times = known.times.find(static_cast<std::uint8_t>(number));
    if (times == known.times.end()) {
        if (known.sections.count(static_cast<std::uint8_t>(number)) == 0) return;  // no room for it
        known.times.emplace(static_cast<std::uint8_t>(number), 1);
        return;
    }
    ++times->second;
    if (times->second != times_to_miss_another || known.has_missed) return;

    const bool by_segment = table_ids::is_schedule(seen.bytes[0]);
    const unsigned int first =
        by_segment ? number / sections_of_a_segment * sections_of_a_segment : 0;
    const unsigned int last =
        by_segment ? eit_get_segment_last_sec_number(seen.bytes) : psi_get_lastsection(seen.bytes);
    for (unsigned int missing = first; missing <= last; ++missing) {
        if (known.times.count(static_cast<std::uint8_t>(missing)) != 0) continue;
        known.has_missed = true;
        return to_.occurs({finding_kind::section_numbers, subject_of(seen), {}, {}, {}}, [&] {
            return "section " + std::to_string(missing) + " of " + wording::table_of(seen.bytes) +
                   " does not come, although it goes up to section " + std::to_string(last);
        });
    }
}

}  // namespace orvix::broadcast
