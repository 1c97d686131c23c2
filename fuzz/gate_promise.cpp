#include "gate_promise.h"

#include <log/orvix_log.h>
#include <parse_admitted.h>
#include <section_feed/section_gate.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "allocation_count.h"

namespace orvix::fuzz {

namespace {

using section_feed::check_section;
using section_feed::gate_options;
using section_feed::gate_result;

// As section_gate.h has it; and the table object itself.
constexpr std::size_t most_bytes_per_byte = 64 * 1024;
constexpr std::size_t bytes_of_a_table = 512;

// Tells the fuzzer how much memory a section took, so that it looks for the section that takes the
// most: each step of 64 bytes per byte counts as new code reached.
constexpr std::size_t memory_step = 64;
__attribute__((section("__libfuzzer_extra_counters"))) std::uint8_t memory_steps[256];

[[noreturn]] void broken(const char* promise, std::size_t value, std::size_t size) {
    std::fprintf(stderr, "%s (%zu) for a section of %zu bytes\n", promise, value, size);
    std::abort();
}

gate_result check_without_allocating(const test::exact_block& section, gate_options options) {
    const allocation_count count;
    const gate_result result = check_section(section.data(), section.size(), options);
    if (count.bytes() != 0) broken("the gate allocated", count.bytes(), section.size());
    return result;
}

void parse(const test::exact_block& section) {
    const allocation_count count;
    try {
        const auto table = test::make_table(section.data()[0]);
        table->parse(section.data(), test::told_size(section));
    } catch (const std::exception& e) {
        broken(e.what(), 0, section.size());
    }
    const std::size_t per_byte = count.bytes() / section.size();
    std::fill_n(memory_steps, std::min(per_byte / memory_step, std::size(memory_steps)), 1);
    if (count.bytes() > bytes_of_a_table + most_bytes_per_byte * section.size()) {
        broken("the parser allocated too much", count.bytes(), section.size());
    }
}

}  // namespace

void hold_gate_to_its_promise(const std::uint8_t* section, std::size_t size) {
    const test::exact_block block(test::bytes(section, section + size));
    const gate_result strict = check_without_allocating(block, {});
    const gate_result result = check_without_allocating(block, gate_options{false});
    if (strict.admitted() && !result.admitted()) broken("refused without its CRC_32", 0, size);
    if (strict.admitted() != strict.text().empty()) broken("a refusal without a reason", 0, size);
    if (result.admitted() != result.text().empty()) broken("a refusal without a reason", 0, size);
    if (*to_string(strict.why) == '\0') broken("a verdict without a name", 0, size);
    if (result.admitted()) parse(block);
}

void silence_log() { OrvixLog::reporting_level() = OrvixLog::NONE; }

}  // namespace orvix::fuzz
