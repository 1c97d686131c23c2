#pragma once

#include <cstdint>
#include <string>

namespace orvix::si_inspect {

/// "s23584.n737.isdb-tb.br": by what players know a channel of the guide and of the line-up.
std::string channel_id(std::uint32_t original_network_id, std::uint32_t service_id);

}  // namespace orvix::si_inspect
