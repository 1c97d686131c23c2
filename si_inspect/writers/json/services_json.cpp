#include "writers/json/services_json.h"

#include <broadcast/names.h>

#include <string_view>

#include "writers/json/told_json.h"

namespace orvix::si_inspect {

using namespace broadcast;

namespace {

void add_stream(json_line& line, const service_stream& stream) {
    line("elementary_PID", plain(stream.elementary_pid));
    line("stream_type", plain(stream.stream_type, names::stream_type));
    add(line, "component_tag", stream.component_tag);
    add(line, "language", stream.language);
}

void add_application(json_line& line, const service_application& application) {
    line("organisation_id", plain(application.organisation_id));
    line("application_id", plain(application.application_id));
    line("application_type", plain(application.application_type, names::application_type));
    line("application_control_code",
         plain(application.application_control_code, names::application_control_code));
    add(line, "name", application.name);
}

void add_event(json_line& line, std::string_view name, const std::optional<event_on_air>& event) {
    if (!event) return null(line, name);
    line.key(name);
    line.begin_object();
    line("event_id", plain(event->event_id));
    add_start(line, event->start_time);
    add_duration(line, event->duration);
    add(line, "event_name", event->name);
    add_rating(line, event->rating);
    add_genres(line, event->content_nibbles);
    line.end_object();
}

/// Each line stands for itself, so each says where its service is sent.
void add_network(json_line& line, const told_services& all) {
    add(line, "network_id", all.network_id);
    add(line, "network_name", all.network_name);
    add(line, "transport_stream_id", all.transport_stream_id);
    add(line, "original_network_id", all.original_network_id);
    add(line, "ts_name", all.ts_name);
}

void add_service(json_line& line, const told_service& service) {
    line("service_id", plain(service.service_id));
    add(line, "number", service.number);
    add(line, "name", service.name);
    if (service.service_type) {
        line("service_type", plain(*service.service_type, names::service_type));
    } else {
        null(line, "service_type");
        null(line, "service_type_name");
    }
    add(line, "program_map_PID", service.program_map_pid);
    add(line, "PCR_PID", service.pcr_pid);
    service.streams ? add_list(line, "streams", *service.streams, add_stream)
                    : null(line, "streams");
    service.applications ? add_list(line, "applications", *service.applications, add_application)
                         : null(line, "applications");
    add_event(line, "present", service.present);
    add_event(line, "following", service.following);
}

}  // namespace

void write_services(json_line& line, output& to, const std::string& file,
                    const told_services& all) {
    for (const told_service& service : all.services) {
        line.begin_object();
        if (!file.empty()) line("file", text{file});
        add_network(line, all);
        add_service(line, service);
        line.end_object();
        line.write(to);
    }
}

}  // namespace orvix::si_inspect
