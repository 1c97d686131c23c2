#pragma once

#include <broadcast/readings/value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvix::broadcast {

/// Something that a station has changed from one capture to another.
struct change {
    std::string_view kind;  ///< "service_renamed"
    std::optional<std::uint16_t> service_id;
    std::optional<std::uint16_t> event_id;
    value before;  ///< null where there was nothing
    value after;   ///< null where there is nothing any more
    std::string sentence;
};
using changes = std::vector<change>;

}  // namespace orvix::broadcast
