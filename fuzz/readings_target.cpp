// One section at a time, from its bytes to the broadcast's reading beside the receiver's. The
// section's length is made right and its CRC_32 is not asked for, so that more gets through the
// gate.

#include <broadcast/readings/readings.h>
#include <broadcast/readings/refused_reading.h>
#include <broadcast/table_decoder.h>
#include <parse_exactly.h>
#include <section_feed/section_gate.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "gate_promise.h"

namespace {

using orvix::section_feed::verdict;

// What readings hold of a section they hold in proportion: at most so many entries for each byte.
constexpr std::size_t most_entries_per_byte = 1;

void read(const orvix::test::exact_block& section) {
    const orvix::section_feed::gate_result gate =
        orvix::section_feed::check_section(section.data(), section.size(), {/*check_crc=*/false});
    if (!gate.admitted()) {
        const bool is_well_formed =
            orvix::broadcast::is_well_formed({gate, section.data(), section.size()});
        if (is_well_formed && gate.why == verdict::length_mismatch) std::abort();
        return;
    }
    orvix::broadcast::table_decoder decoder;
    const auto table = decoder.decode(section.data(), section.size());
    if (!table) return;
    const orvix::broadcast::readings found =
        orvix::broadcast::read_broadcast(section.data(), section.size(), *table);
    const std::size_t entries = found.skipped.size() + found.differences.size();
    if (entries > most_entries_per_byte * section.size()) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    orvix::fuzz::silence_log();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t up_to_section_length = 3;
    if (size < up_to_section_length) return 0;
    orvix::test::bytes section(data, data + size);
    const std::size_t section_length = size - up_to_section_length;
    section[1] = static_cast<std::uint8_t>((section[1] & 0xF0) | (section_length >> 8 & 0x0F));
    section[2] = static_cast<std::uint8_t>(section_length);
    read(orvix::test::exact_block(section));
    return 0;
}
