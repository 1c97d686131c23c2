#pragma once

#include <broadcast/services.h>
#include <broadcast/times.h>

#include <cstdint>
#include <string>

#include "writers/html/html.h"
#include "writers/html/page.h"

// The parts of the page, one source file each. Each is a section with a heading.
namespace orvix::si_inspect {

markup html_style();
void write_findings(html& to, const page& all);
void write_services(html& to, const page& all, broadcast::utc_offset offset);
void write_guide(html& to, const page& all, broadcast::utc_offset offset);
void write_bit_rates(html& to, const page& all);
void write_intervals(html& to, const page& all);
void write_tables(html& to, const page& all);

// What several of them say.

/// "0x0111 (273)"
std::string id_text(std::uint32_t value);
/// "12.50"
std::string fixed(double value, int decimals);
/// "1.50 Mbit/s"
std::string bit_rate_text(double bits_per_second);
/// "3.1 TV Manacá HD", or the service_id as far as these are not told.
void write_service(html& to, const broadcast::told_services& all, std::uint16_t service_id);
/// Brazil's: the age in its colour, and what of the content it is for.
void write_rating(html& to, std::uint8_t rating);
/// Each genre once: "movie, other; variety"
std::string genres_text(const std::vector<std::uint8_t>& content_nibbles);

}  // namespace orvix::si_inspect
