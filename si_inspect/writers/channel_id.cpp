#include "writers/channel_id.h"

namespace orvix::si_inspect {

std::string channel_id(std::uint32_t original_network_id, std::uint32_t service_id) {
    return "s" + std::to_string(service_id) + ".n" + std::to_string(original_network_id) +
           ".isdb-tb.br";
}

}  // namespace orvix::si_inspect
