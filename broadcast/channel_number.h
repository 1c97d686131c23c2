#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace orvix::broadcast {

/// What a viewer enters for a service: "3.1", and "3.31" for a 1-seg one, which its PMT's PID gives
/// away. Where that PID is not known, as for services of other transport streams, the service_id
/// says which kind it is.
std::string channel_number(std::uint8_t remote_control_key_id, std::uint32_t service_id,
                           std::optional<std::uint32_t> pmt_pid);

}  // namespace orvix::broadcast
