#include "floor.h"

#include <si_parser/ait.h>
#include <si_parser/eit.h>
#include <si_parser/nit.h>
#include <si_parser/pat.h>
#include <si_parser/pmt.h>
#include <si_parser/sdt.h>

#include <boost/smart_ptr/make_shared.hpp>
#include <stdexcept>

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
        case 0x02:  // the samples hold no IP transport
            return copy_as<transport_protocol_descriptor_oc>(d);
        case 0x07:
            return copy_as<ginga_location_descriptor>(d);
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

pmt::stream_info_type without_descriptors(const pmt::stream_info_type& r) {
    return {r.elementary_PID, r.component_tag, r.stream_type, r.ISO_639_language_code, {}};
}
sdt::sdt_service_info_t without_descriptors(const sdt::sdt_service_info_t& r) {
    return {r.service_id,     r.EIT_schedule_flag, r.EIT_present_following_flag,
            r.running_status, r.free_CA_mode,      {}};
}
nit::nit_transport_stream_t without_descriptors(const nit::nit_transport_stream_t& r) {
    return {r.transport_stream_id, r.original_network_id, {}};
}
eit::event without_descriptors(const eit::event& r) {
    return {r.event_id, r.start_time, r.duration, r.running_status, r.free_CA_mode, {}};
}
ait::ait_application_info_t without_descriptors(const ait::ait_application_info_t& r) {
    return {r.organisation_id, r.application_id, r.application_control_code, {}};
}

/// Tables with a list of records, or with none.
template <typename Record>
class records_copy : public floor_copy {
public:
    records_copy(const psi_table& table, const std::vector<Record>& records)
        : table_(table), records_(records) {}

    void run() override {
        copied_.clear();
        for (const Record& record : records_) {
            Record r = without_descriptors(record);
            copy(record.descriptors, r.descriptors);
            copied_.push_back(std::move(r));
        }
        descriptors_.clear();
        copy(table_.descriptors, descriptors_);
    }

private:
    const psi_table& table_;
    const std::vector<Record>& records_;
    descriptor_list descriptors_;
    std::vector<Record> copied_;
};

template <typename Record>
std::unique_ptr<floor_copy> copy_records(const psi_table& table,
                                         const std::vector<Record>& records) {
    return std::make_unique<records_copy<Record>>(table, records);
}

class pat_copy : public floor_copy {
public:
    explicit pat_copy(const pat& table) : table_(table) {}
    void run() override {
        copied_.clear();
        for (const auto& program : table_.program_map) copied_.insert(copied_.end(), program);
    }

private:
    const pat& table_;
    std::map<uint32_t, uint32_t> copied_;
};

class descriptors_copy : public floor_copy {
public:
    explicit descriptors_copy(const psi_table& table) : table_(table) {}
    void run() override {
        copied_.clear();
        copy(table_.descriptors, copied_);
    }

private:
    const psi_table& table_;
    descriptor_list copied_;
};

}  // namespace

std::unique_ptr<floor_copy> make_floor(const std::string& table, const psi_table& parsed) {
    if (table == "PAT") return std::make_unique<pat_copy>(static_cast<const pat&>(parsed));
    if (table == "PMT") return copy_records(parsed, static_cast<const pmt&>(parsed).streams);
    if (table == "SDT") return copy_records(parsed, static_cast<const sdt&>(parsed).services);
    if (table == "NIT") {
        return copy_records(parsed, static_cast<const nit&>(parsed).transport_streams);
    }
    if (table == "EIT") return copy_records(parsed, static_cast<const eit&>(parsed).events);
    if (table == "AIT") return copy_records(parsed, static_cast<const ait&>(parsed).applications);
    return std::make_unique<descriptors_copy>(parsed);
}

}  // namespace orvix::bench
