// One section at a time: whatever the gate admits is parsed. FUZZED_TABLE_IDS lists the table_ids
// that the mutator writes.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>

#include "gate_promise.h"
#include "section_mutator.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t max_size);

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    orvix::fuzz::silence_log();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    orvix::fuzz::hold_gate_to_its_promise(data, size);
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t max_size, unsigned int seed) {
    static constexpr std::uint8_t table_ids[] = {FUZZED_TABLE_IDS};
    std::minstd_rand random(seed);

    const bool any_bytes = random() % 4 == 0;
    if (any_bytes) size = LLVMFuzzerMutate(data, size, max_size);
    orvix::test::bytes section(data, data + size);
    if (!any_bytes) orvix::fuzz::mutate_fields(section, random);

    if (section.size() > max_size) section.resize(max_size);
    if (!section.empty()) {
        const bool is_of_target = std::find(std::begin(table_ids), std::end(table_ids),
                                            section[0]) != std::end(table_ids);
        if (!is_of_target) section[0] = table_ids[random() % std::size(table_ids)];
    }
    orvix::fuzz::repair(section, random);
    std::copy(section.begin(), section.end(), data);
    return section.size();
}
