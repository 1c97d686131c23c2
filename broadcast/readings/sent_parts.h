#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "span.h"

// What sections say about the tables that they are parts of, and about other tables: as sent, also
// where a receiver reads it otherwise or not at all.
namespace orvix::broadcast {

/// The long header of a section.
struct sent_header {
    std::uint8_t table_id = 0;
    std::uint16_t table_id_extension = 0;
    std::uint8_t version_number = 0;
    bool current_next_indicator = false;
    std::uint8_t section_number = 0;
    std::uint8_t last_section_number = 0;
};
/// None where the section has no such header, or ends in it.
std::optional<sent_header> header_of(span section);

/// The programmes of a PAT's section, by number, without the network's.
std::vector<std::uint16_t> programmes_of(span pat);

/// Which EITs an SDT announces for a service.
struct announced_eits {
    std::uint16_t service_id = 0;
    bool present_following = false;
    bool schedule = false;
};
std::vector<announced_eits> announced_in(span sdt);

/// Where a section of an EIT stands among the others of its service.
struct sent_segment {
    std::uint8_t segment_last_section_number = 0;
    std::uint8_t last_table_id = 0;
};
/// None where the section ends before it.
std::optional<sent_segment> segment_of(span eit);

}  // namespace orvix::broadcast
