#include "repeats.h"

#include <sodium.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "table_ids.h"

namespace orvix::broadcast {

namespace {

/// How many bytes behind the long header say which table this is: original_network_id of an SDT,
/// transport_stream_id and original_network_id of an EIT.
std::size_t identifier_bytes(std::uint8_t table_id) {
    if (table_ids::is_sdt(table_id)) return 2;
    return table_ids::is_eit(table_id) ? 4 : 0;
}

/// Whatever of the section stays the same from one version to the next.
std::array<unsigned char, 16> place_of(const std::uint8_t* section, std::size_t size) {
    constexpr std::size_t long_header = 8;
    constexpr unsigned char current_next_indicator = 0x01;
    std::array<unsigned char, 16> place = {section[0]};
    if (size < long_header) return place;
    place[1] = 1;  // unlike one without the header
    place[2] = section[3];
    place[3] = section[4];  // table_id_extension
    place[4] = section[5] & current_next_indicator;
    place[5] = section[6];  // section_number
    const std::size_t identifiers = std::min(identifier_bytes(section[0]), size - long_header);
    std::copy_n(section + long_header, identifiers, place.begin() + 6);
    return place;
}

}  // namespace

std::size_t repeats::keyed_hash::operator()(const place_bytes& place) const {
    std::array<unsigned char, crypto_shorthash_BYTES> hash;
    crypto_shorthash(hash.data(), place.data(), place.size(), key->data());
    std::size_t value;
    std::memcpy(&value, hash.data(), sizeof value);
    return value;
}

repeats::repeats() {
    if (sodium_init() < 0) throw std::runtime_error("no random numbers to be had");
    crypto_shorthash_keygen(key_.data());
}

bool repeats::is_new(std::uint16_t pid, const std::uint8_t* section, std::size_t size) {
    if (section[0] == table_ids::tdt || section[0] == table_ids::tot) return true;

    content_by_place& known = by_pid_.try_emplace(pid, 0, keyed_hash{&key_}).first->second;
    content now;
    now.size = size;
    crypto_shorthash_siphashx24(now.hash.data(), section, size, key_.data());

    const place_bytes place = place_of(section, size);
    const auto found = known.find(place);
    if (found == known.end()) {
        if (places_.admits(kept_)) {
            known.emplace(place, now);
            ++kept_;
        }
        return true;
    }
    const bool changed = found->second.hash != now.hash || found->second.size != now.size;
    found->second = now;
    return changed;
}

void repeats::forget(std::uint16_t pid) {
    const auto found = by_pid_.find(pid);
    if (found == by_pid_.end()) return;
    kept_ -= found->second.size();
    by_pid_.erase(found);
}

}  // namespace orvix::broadcast
