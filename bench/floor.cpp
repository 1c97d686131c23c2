#include <si_parser/ait.h>
#include <si_parser/eit.h>
#include <si_parser/nit.h>
#include <si_parser/pat.h>
#include <si_parser/pmt.h>
#include <si_parser/sdt.h>
#include <si_parser/tdt.h>
#include <si_parser/tot.h>

#include <boost/smart_ptr/make_shared.hpp>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "work.h"

namespace orvix::bench {

using namespace si_parser;

namespace {

template <typename T>
descriptor_ptr copy_as(const descriptor& d) {
    return boost::make_shared<T>(static_cast<const T&>(d));
}

descriptor_ptr copy(const descriptor& d) {
    switch (d.tag) {
        case 0x00:
            return copy_as<application_descriptor>(d);
        case 0x01:
            return copy_as<application_name_descriptor>(d);
        case 0x02:
            return static_cast<const transport_protocol_descriptor&>(d).protocol_id == 0x0002
                       ? copy_as<transport_protocol_descriptor_ip>(d)
                       : copy_as<transport_protocol_descriptor_oc>(d);
        case 0x04:
        case 0x07:
            return copy_as<ginga_location_descriptor>(d);
        case 0x0B:
            return copy_as<icon_information_descriptor>(d);
        case 0x48:
            return copy_as<service_descriptor>(d);
        case 0x4D:
            return copy_as<short_event_descriptor>(d);
        case 0x50:
            return copy_as<component_descriptor>(d);
        case 0x52:
            return copy_as<stream_identifier_descriptor>(d);
        case 0x54:
            return copy_as<content_descriptor>(d);
        case 0x55:
            return copy_as<parental_descriptor>(d);
        case 0x58:
            return copy_as<localtime_offset_descriptor>(d);
        case 0xCD:
            return copy_as<ts_information_descriptor>(d);
        default:
            throw std::logic_error("a descriptor that the floor does not copy");
    }
}

void copy(const descriptor_list& from, descriptor_list& to) {
    to.reserve(from.size());
    for (const descriptor_ptr& d : from) to.push_back(copy(*d));
}

void copy_fields(const pmt::stream_info_type& from, pmt::stream_info_type& to) {
    to.elementary_PID = from.elementary_PID;
    to.component_tag = from.component_tag;
    to.stream_type = from.stream_type;
    to.ISO_639_language_code = from.ISO_639_language_code;
}

void copy_fields(const sdt::sdt_service_info_t& from, sdt::sdt_service_info_t& to) {
    to.service_id = from.service_id;
    to.EIT_schedule_flag = from.EIT_schedule_flag;
    to.EIT_present_following_flag = from.EIT_present_following_flag;
    to.running_status = from.running_status;
    to.free_CA_mode = from.free_CA_mode;
}

void copy_fields(const nit::nit_transport_stream_t& from, nit::nit_transport_stream_t& to) {
    to.transport_stream_id = from.transport_stream_id;
    to.original_network_id = from.original_network_id;
}

void copy_fields(const eit::event& from, eit::event& to) {
    to.event_id = from.event_id;
    to.start_time = from.start_time;
    to.duration = from.duration;
    to.running_status = from.running_status;
    to.free_CA_mode = from.free_CA_mode;
}

void copy_fields(const ait::ait_application_info_t& from, ait::ait_application_info_t& to) {
    to.organisation_id = from.organisation_id;
    to.application_id = from.application_id;
    to.application_control_code = from.application_control_code;
}

template <typename Record>
void copy(const std::vector<Record>& from, std::vector<Record>& to) {
    to.reserve(from.size());
    for (const Record& record : from) {
        Record& copied = to.emplace_back();
        copy_fields(record, copied);
        copy(record.descriptors, copied.descriptors);
    }
}

void copy_body(const pat& from, pat& to) {
    for (const auto& program : from.program_map) {
        to.program_map.insert(to.program_map.end(), program);
    }
}

void copy_body(const pmt& from, pmt& to) {
    to.program_number = from.program_number;
    to.PCR_PID = from.PCR_PID;
    copy(from.streams, to.streams);
}

void copy_body(const sdt& from, sdt& to) {
    to.transport_stream_id = from.transport_stream_id;
    to.original_network_id = from.original_network_id;
    copy(from.services, to.services);
}

void copy_body(const nit& from, nit& to) {
    to.network_id = from.network_id;
    copy(from.transport_streams, to.transport_streams);
}

void copy_body(const eit& from, eit& to) {
    to.service_id = from.service_id;
    to.transport_stream_id = from.transport_stream_id;
    to.original_network_id = from.original_network_id;
    to.segment_last_section_number = from.segment_last_section_number;
    to.last_table_id = from.last_table_id;
    copy(from.events, to.events);
}

void copy_body(const tdt& from, tdt& to) { to.utc_time = from.utc_time; }

void copy_body(const tot& from, tot& to) { to.utc_time = from.utc_time; }

void copy_body(const ait& from, ait& to) {
    to.application_type = from.application_type;
    copy(from.applications, to.applications);
}

template <typename Table>
void copy_table(const psi_table& from, psi_table& to) {
    to.clear();
    to.table_id = from.table_id;
    copy(from.descriptors, to.descriptors);
    copy_body(static_cast<const Table&>(from), static_cast<Table&>(to));
    if (std::is_same_v<Table, tdt> || std::is_same_v<Table, tot>) return;  // a short header
    to.section_size = from.section_size;
    to.version_number = from.version_number;
    to.table_id_extension = from.table_id_extension;
    to.current_next_indicator = from.current_next_indicator;
    to.section_number = from.section_number;
    to.last_section_number = from.last_section_number;
    to.cleared = from.cleared;
}

using copier = void (*)(const psi_table& from, psi_table& to);

copier copier_of(const std::string& table) {
    if (table == "PAT") return copy_table<pat>;
    if (table == "PMT") return copy_table<pmt>;
    if (table == "SDT") return copy_table<sdt>;
    if (table == "NIT") return copy_table<nit>;
    if (table == "EIT") return copy_table<eit>;
    if (table == "TDT") return copy_table<tdt>;
    if (table == "TOT") return copy_table<tot>;
    return copy_table<ait>;
}

class floor : public work {
public:
    explicit floor(const corpus& c) {
        for (const sample& s : c.samples) {
            auto& copied = copied_[s.table];
            if (!copied) copied = make_table(s.table);
            test::bytes section = s.section;
            section.push_back(0);
            parsed_.push_back({make_table(s.table), copied.get(), copier_of(s.table)});
            parsed_.back().table->parse(section.data(), told_size(s));
        }
    }
    void run() override {
        for (const parsed& p : parsed_) p.copy(*p.table, *p.copied);
    }

private:
    struct parsed {
        std::unique_ptr<psi_table> table;
        psi_table* copied;
        copier copy;
    };
    std::vector<parsed> parsed_;
    std::map<std::string, std::unique_ptr<psi_table>> copied_;
};

}  // namespace

std::unique_ptr<work> make_floor(const corpus& c) { return std::make_unique<floor>(c); }

}  // namespace orvix::bench
