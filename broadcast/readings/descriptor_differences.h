#pragma once

#include <si_parser/descriptors.h>

#include <string>
#include <vector>

#include "readings.h"
#include "span.h"

namespace orvix::broadcast {

/// Adds where the receiver's descriptor says something else than the one that was sent.
class descriptor_differences {
public:
    descriptor_differences(bool in_ait, std::vector<difference>& to) : in_ait_(in_ait), to_(to) {}

    /// `at` is the descriptor's place.
    void compare(span sent, const si_parser::descriptor& received, const field_place& at);

private:
    void find_service(span sent, const si_parser::service_descriptor& received);
    void find_short_event(span sent, const si_parser::short_event_descriptor& received);
    void find_component(span sent, const si_parser::component_descriptor& received);
    void find_ts_information(span sent, const si_parser::ts_information_descriptor& received);
    void find_local_time_offset(span sent, const si_parser::localtime_offset_descriptor& received);
    void find_ip_transport(span sent, const si_parser::transport_protocol_descriptor_ip& received);
    void find_other_type(span sent);

    void text(const char* field, span sent, const std::string& received);
    void offset(const char* field, bool is_negative, std::uint16_t sent);
    void add(const char* field, value broadcast, std::string why,
             difference::kind receiver = difference::kind::otherwise, bool is_visible = true);
    field_place place_of(const char* field) const;

    bool in_ait_;
    std::vector<difference>& to_;
    field_place at_;  ///< of the descriptor that is being compared
};

}  // namespace orvix::broadcast
