#include <log/orvix_log.h>
#include <si_parser/sdt.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "big_endian.h"
#include "recycling.h"

namespace orvix::si_parser {

sdt::sdt() = default;

sdt::~sdt() = default;

void sdt::clear() {
    recycling::give_back_lists(services);
    services.clear();
    psi_table::clear();
}

namespace {

/// Sorts services as their operator< does. Records are costly to move and their keys are not: the
/// keys are sorted, each with its record's place below it, and then each record goes where it
/// belongs at once.
void sort(std::vector<sdt::sdt_service_info_t>& services) {
    if (std::is_sorted(services.begin(), services.end())) return;  // as most stations send them
    constexpr std::size_t most_in_a_section = (4098 - 15) / 5 + 1;
    std::array<uint32_t, most_in_a_section> keys;
    const std::size_t count = std::min(services.size(), keys.size());
    for (std::size_t i = 0; i < count; ++i) {
        const uint32_t service_id = services[i].service_id;
        keys[i] = low5(service_id) << 27 | (service_id >> 5) << 16 | static_cast<uint32_t>(i);
    }
    std::sort(keys.begin(), keys.begin() + count);

    for (std::size_t i = 0; i < count; ++i) {
        // Places before `i` are done: what stood there moved to where its own key was.
        std::size_t from = keys[i] & 0xFFFF;
        while (from < i) from = keys[from] & 0xFFFF;
        if (from != i) std::swap(services[i], services[from]);
    }
}

}  // namespace

void sdt::parse(unsigned char* buffer, unsigned int size) {
    const bool section_syntax_indicator = bit(buffer[1], 7);
    if (!section_syntax_indicator) return;
    const recycling memory;
    clear();
    parse_header(buffer, size);
    ORVIX_LOG(DEBUG, "sdt", "SDT parse size " << size);
    transport_stream_id = u16(buffer + 3);
    original_network_id = u16(buffer + 8);

    const unsigned int end = size - 4;
    unsigned int offset = 11;
    while (offset < end) {
        unsigned char* const entry = buffer + offset;

        sdt_service_info_t service;
        service.service_id = u16(entry);
        ORVIX_LOG(DEBUG, "sdt", "offset " << offset);
        ORVIX_LOG(DEBUG, "sdt", "service id " << service.service_id);
        // The two highest bits, not the two lowest, where the broadcast puts these flags. On air
        // they are reserved and set, so both flags read 1; receivers depend on it, so it stays.
        service.EIT_schedule_flag = bits(entry[2], 7, 7);
        service.EIT_present_following_flag = bits(entry[2], 6, 6);
        service.running_status = bits(entry[3], 7, 5);
        service.free_CA_mode = bits(entry[3], 4, 4);
        const unsigned int descriptors_loop_length = length12(entry + 3);
        ORVIX_LOG(DEBUG, "sdt", "desc length " << descriptors_loop_length);
        _parse_descriptors_into(entry + 5, descriptors_loop_length, service.descriptors);
        services.push_back(std::move(service));

        offset += 5 + descriptors_loop_length;
    }
    ORVIX_LOG(DEBUG, "sdt", "done parsing SDT ");

    sort(services);
}

bool sdt::sdt_service_info_t::operator<(const sdt_service_info_t& other) const {
    const uint32_t number = low5(service_id);
    const uint32_t other_number = low5(other.service_id);
    if (number != other_number) return number < other_number;
    return service_id < other.service_id;
}

}  // namespace orvix::si_parser
