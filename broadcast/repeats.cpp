#include "repeats.h"

#include <string>
#include <string_view>

namespace orvix::broadcast {

namespace {

// Memory stays bounded whatever the stream says; a broadcast's whole week of events is far below.
constexpr std::size_t most_places_of_a_pid = 100'000;

constexpr std::uint8_t tdt = 0x70;
constexpr std::uint8_t tot = 0x73;
constexpr std::uint8_t sdt_actual = 0x42;
constexpr std::uint8_t sdt_other = 0x46;
constexpr std::uint8_t first_eit = 0x4E;
constexpr std::uint8_t last_eit = 0x6F;

std::uint64_t hash(std::string_view bytes) { return std::hash<std::string_view>()(bytes); }

/// How many bytes behind the long header say which table this is: original_network_id of an SDT,
/// transport_stream_id and original_network_id of an EIT.
std::size_t identifier_bytes(std::uint8_t table_id) {
    if (table_id == sdt_actual || table_id == sdt_other) return 2;
    return table_id >= first_eit && table_id <= last_eit ? 4 : 0;
}

/// Whatever of the section stays the same from one version to the next.
std::uint64_t place_of(std::string_view section) {
    const auto table_id = static_cast<std::uint8_t>(section[0]);
    std::string place(1, section[0]);
    constexpr std::size_t long_header = 8;
    if (section.size() >= long_header) {
        constexpr char current_next_indicator = 0x01;
        place += section.substr(3, 2);  // table_id_extension
        place += static_cast<char>(section[5] & current_next_indicator);
        place += section[6];  // section_number
        place += section.substr(long_header, identifier_bytes(table_id));
    }
    return hash(place);
}

}  // namespace

bool repeats::is_new(std::uint16_t pid, const std::uint8_t* section, std::size_t size) {
    if (section[0] == tdt || section[0] == tot) return true;
    content_by_place& known = by_pid_[pid];
    if (known.size() >= most_places_of_a_pid) known.clear();

    const std::string_view bytes(reinterpret_cast<const char*>(section), size);
    const std::uint64_t content = hash(bytes);
    const auto [found, added] = known.try_emplace(place_of(bytes), content);
    if (added) return true;
    const bool changed = found->second != content;
    found->second = content;
    return changed;
}

void repeats::forget(std::uint16_t pid) { by_pid_.erase(pid); }

}  // namespace orvix::broadcast
