#pragma once

#include <section_writer.h>

#include <ctime>
#include <nlohmann/json.hpp>
#include <vector>

// The sections that a station broadcasts, made from its description (station.json). Objects keep
// the order in which the description has them.
namespace orvix::sample {

using test::bytes;
using json = nlohmann::ordered_json;

/// A number that the description writes as such or, in a text, in hexadecimal: "0x5C20".
std::uint32_t number(const json& value);

/// Seconds since 1970-01-01 00:00:00 on the station's own clock of "2026-11-21T20:30:00".
std::time_t clock_time(const json& value);

bytes make_pat(const json& station);
bytes make_pmt(const json& station, const json& service);
bytes make_nit(const json& station);
bytes make_sdt(const json& station);
bytes make_ait(const json& station);
bytes make_tdt(std::time_t now);
bytes make_tot(const json& station, std::time_t now);

/// Two sections: the event that is on air and the one behind it.
std::vector<bytes> make_eit_present_following(const json& station, const json& service,
                                              std::time_t now);
/// One section for each three hours of the day in which an event begins that is not over.
std::vector<bytes> make_eit_schedule(const json& station, const json& service);

}  // namespace orvix::sample
