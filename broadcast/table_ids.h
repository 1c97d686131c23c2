#pragma once

#include <cstdint>

/// The table_ids of what receivers decode (ISO/IEC 13818-1 table 2-31, EN 300 468 table 2, ABNT NBR
/// 15603-2; the AIT's: TS 102 809 5.3.4.6). "Actual" is the transport stream that carries the
/// table.
namespace orvix::broadcast::table_ids {

constexpr std::uint8_t pat = 0x00;
constexpr std::uint8_t cat = 0x01;
constexpr std::uint8_t pmt = 0x02;
constexpr std::uint8_t nit_actual = 0x40;
constexpr std::uint8_t nit_other = 0x41;
constexpr std::uint8_t sdt_actual = 0x42;
constexpr std::uint8_t sdt_other = 0x46;
constexpr std::uint8_t present_following_actual = 0x4E;
constexpr std::uint8_t present_following_other = 0x4F;
constexpr std::uint8_t first_schedule_actual = 0x50;
constexpr std::uint8_t last_schedule_actual = 0x5F;
constexpr std::uint8_t first_schedule_other = 0x60;
constexpr std::uint8_t last_schedule_other = 0x6F;
constexpr std::uint8_t tdt = 0x70;
constexpr std::uint8_t tot = 0x73;
constexpr std::uint8_t ait = 0x74;

constexpr bool is_sdt(std::uint32_t id) { return id == sdt_actual || id == sdt_other; }

constexpr bool is_present_following(std::uint32_t id) {
    return id == present_following_actual || id == present_following_other;
}
constexpr bool is_schedule_actual(std::uint32_t id) {
    return id >= first_schedule_actual && id <= last_schedule_actual;
}
constexpr bool is_schedule_other(std::uint32_t id) {
    return id >= first_schedule_other && id <= last_schedule_other;
}
constexpr bool is_schedule(std::uint32_t id) {
    return is_schedule_actual(id) || is_schedule_other(id);
}
constexpr bool is_eit_actual(std::uint32_t id) {
    return id == present_following_actual || is_schedule_actual(id);
}
constexpr bool is_eit(std::uint32_t id) { return is_present_following(id) || is_schedule(id); }

}  // namespace orvix::broadcast::table_ids
