#pragma once

#include <si_parser/descriptors.h>

namespace orvix::broadcast {

/// Calls `visitor` with `d` as the class that it is. The tag says which; where two classes share
/// one (transport protocols), protocol_id does.
template <typename Visitor>
void visit_descriptor(const si_parser::descriptor& d, Visitor&& visitor) {
    using namespace si_parser;
    constexpr std::uint16_t ip = 0x0002;
    switch (d.tag) {
        case 0x00:
            return visitor(static_cast<const application_descriptor&>(d));
        case 0x01:
            return visitor(static_cast<const application_name_descriptor&>(d));
        case 0x02:
            if (static_cast<const transport_protocol_descriptor&>(d).protocol_id == ip) {
                return visitor(static_cast<const transport_protocol_descriptor_ip&>(d));
            }
            return visitor(static_cast<const transport_protocol_descriptor_oc&>(d));
        case 0x04:
        case 0x07:
            return visitor(static_cast<const ginga_location_descriptor&>(d));
        case 0x0B:
            return visitor(static_cast<const icon_information_descriptor&>(d));
        case 0x48:
            return visitor(static_cast<const service_descriptor&>(d));
        case 0x4D:
            return visitor(static_cast<const short_event_descriptor&>(d));
        case 0x50:
            return visitor(static_cast<const component_descriptor&>(d));
        case 0x52:
            return visitor(static_cast<const stream_identifier_descriptor&>(d));
        case 0x54:
            return visitor(static_cast<const content_descriptor&>(d));
        case 0x55:
            return visitor(static_cast<const parental_descriptor&>(d));
        case 0x58:
            return visitor(static_cast<const localtime_offset_descriptor&>(d));
        case 0xCD:
            return visitor(static_cast<const ts_information_descriptor&>(d));
        default:
            return;  // the library makes no others
    }
}

}  // namespace orvix::broadcast
