#include "channel_number.h"

#include "programs.h"

namespace orvix::broadcast {

namespace {

constexpr std::uint32_t first_minor = 1;
constexpr std::uint32_t first_one_seg_minor = 31;

std::uint32_t minor_of(std::uint32_t service_id, std::optional<std::uint32_t> pmt_pid) {
    constexpr std::uint32_t one_seg_kind = 3;
    const std::uint32_t number = service_id & 7;
    if (pmt_pid) {
        // Some stations give their 1-seg services the ids of others.
        return is_one_seg_pmt_pid(*pmt_pid) ? first_one_seg_minor + *pmt_pid - first_one_seg_pmt_pid
                                            : first_minor + number;
    }
    const std::uint32_t kind = service_id >> 3 & 3;
    return (kind == one_seg_kind ? first_one_seg_minor : first_minor) + number;
}

}  // namespace

std::string channel_number(std::uint8_t remote_control_key_id, std::uint32_t service_id,
                           std::optional<std::uint32_t> pmt_pid) {
    return std::to_string(remote_control_key_id) + '.' +
           std::to_string(minor_of(service_id, pmt_pid));
}

}  // namespace orvix::broadcast
