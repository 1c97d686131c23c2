#include "refused_reading.h"

#include "section_loops.h"

namespace orvix::broadcast {

namespace {

using section_feed::gate_result;
using section_feed::verdict;

constexpr std::uint8_t tdt_table_id = 0x70;
constexpr std::uint8_t tot_table_id = 0x73;

/// Whether the parser's own look at the size refuses the section.
bool is_refused_by_receiver(const refusal& what) {
    switch (what.section[0]) {
        case tdt_table_id:
            return what.size < 9;
        case tot_table_id:
            return what.size < 10;
        default:
            return what.size < 7;
    }
}

std::string with_well_formed(const refusal& what, const std::string& sentence) {
    const bool is_well_formed = find_loops(what.section, what.size).well_formed;
    return is_well_formed ? "the section is well formed, but " + sentence : sentence;
}

}  // namespace

std::string receiver_would(const refusal& what) {
    switch (what.why.why) {
        case verdict::admitted:
        case verdict::not_decoded:
            return {};
        case verdict::length_mismatch:
            return "the receiver refuses it too";
        case verdict::crc_mismatch: {
            const gate_result rest =
                section_feed::check_section(what.section, what.size, {/*check_crc=*/false});
            if (!rest.admitted()) {
                return "the receiver checks no CRC_32: " +
                       receiver_would({rest, what.section, what.size});
            }
            return "the receiver checks no CRC_32 and reads it as it is";
        }
        case verdict::too_short:
            if (is_refused_by_receiver(what)) return "the receiver refuses it too";
            [[fallthrough]];
        case verdict::overrun:
            return with_well_formed(
                what, "the receiver reads on behind its end, whatever stands there in memory");
        case verdict::endless:
            return with_well_formed(what,
                                    "the receiver reads it without end, until no memory is left");
    }
    return {};
}

}  // namespace orvix::broadcast
