#include "refusal_outcome.h"

namespace orvix::broadcast {

using section_feed::gate_result;
using section_feed::verdict;

namespace {

constexpr std::string_view reads_on = "reads past the section's end, whatever stands there";
constexpr std::string_view throws = "drops it: parse throws std::runtime_error";

/// Of a section that ends within fields of a fixed size.
std::string_view outcome_of_short(const gate_result& why) {
    const std::string_view table = why.table;
    const std::uint32_t size = why.limit;
    if (table == "TDT") return throws;
    constexpr std::uint32_t smallest_tot = 10;
    if (table == "TOT") return size < smallest_tot ? throws : reads_on;
    // The one case in which only the CRC_32 is missing.
    if (why.field == std::string_view("CRC_32")) {
        return "passes it over: it has no section_syntax_indicator";
    }
    constexpr std::uint32_t has_indicator = 2;
    constexpr std::uint32_t smallest_header = 7;
    return size >= has_indicator && size < smallest_header ? throws : reads_on;
}

}  // namespace

std::string_view refusal_outcome(const gate_result& why) {
    switch (why.why) {
        case verdict::too_short:
            return outcome_of_short(why);
        case verdict::length_mismatch:
            return throws;
        case verdict::crc_mismatch:
            return "takes what it says, if the demultiplexer lets it through: the library looks at "
                   "no CRC_32";
        case verdict::overrun:
            return reads_on;
        case verdict::endless:
            return "never ends, and takes all memory";
        case verdict::not_decoded:
        case verdict::admitted:
            break;
    }
    return "does nothing with it";
}

}  // namespace orvix::broadcast
