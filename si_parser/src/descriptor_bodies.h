#pragma once

// The bodies of the descriptors, one overload per class. `p` points at the descriptor's tag byte,
// so p[1] is its descriptor_length. What every descriptor has is already filled in.

#include <si_parser/descriptors.h>

namespace orvix::si_parser {

void read_body(unsigned char* p, service_descriptor& d);
void read_body(unsigned char* p, component_descriptor& d);
void read_body(unsigned char* p, stream_identifier_descriptor& d);
void read_body(unsigned char* p, ts_information_descriptor& d);

void read_body(unsigned char* p, short_event_descriptor& d);
void read_body(unsigned char* p, content_descriptor& d);
void read_body(unsigned char* p, parental_descriptor& d);
void read_body(unsigned char* p, localtime_offset_descriptor& d);

void read_body(unsigned char* p, application_descriptor& d);
void read_body(unsigned char* p, application_name_descriptor& d);
void read_body(unsigned char* p, transport_protocol_descriptor_oc& d);
void read_body(unsigned char* p, ginga_location_descriptor& d);
void read_body(unsigned char* p, icon_information_descriptor& d);

/// The only body that is read by positions in its loop: it starts at `loop[i]`.
void read_body(unsigned char* loop, unsigned int i, transport_protocol_descriptor_ip& d);

}  // namespace orvix::si_parser
