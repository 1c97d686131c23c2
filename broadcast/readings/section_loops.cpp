#include "section_loops.h"

#include <broadcast/table_ids.h>

#include <algorithm>

extern "C" {
#include <bitstream/dvb/si.h>
#include <bitstream/mpeg/psi.h>
}

namespace orvix::broadcast {

namespace {

class loop_finder {
public:
    loop_finder(const std::uint8_t* section, std::size_t size)
        : section_(section), body_(section, size < PSI_CRC_SIZE ? 0 : size - PSI_CRC_SIZE) {}

    section_loops find() {
        switch (section_[0]) {
            case table_ids::pat:
                records(body_.behind(PAT_HEADER_SIZE), PAT_PROGRAM_SIZE, nullptr);
                break;
            case table_ids::pmt:
                if (body_.size() < PMT_HEADER_SIZE) return ends_early();
                table_descriptors(PMT_HEADER_SIZE, pmt_get_desclength(section_));
                records(behind_descriptors(PMT_HEADER_SIZE), PMT_ES_SIZE, pmtn_get_desclength);
                break;
            case table_ids::nit_actual:
            case table_ids::nit_other:
                if (body_.size() < NIT_HEADER_SIZE) return ends_early();
                table_descriptors(NIT_HEADER_SIZE, nit_get_desclength(section_));
                counted_records(NIT_TS_SIZE, nitn_get_desclength);
                break;
            case table_ids::sdt_actual:
            case table_ids::sdt_other:
                if (body_.size() < SDT_HEADER_SIZE) return ends_early();
                records(body_.behind(SDT_HEADER_SIZE), SDT_SERVICE_SIZE, sdtn_get_desclength);
                break;
            case table_ids::ait:
                if (body_.size() < ait_header_size) return ends_early();
                table_descriptors(ait_header_size, descs_get_length(section_ + 8));
                counted_records(ait_application_size, application_descriptors_length);
                break;
            case table_ids::tdt:
                // It has no CRC_32.
                if (body_.size() + PSI_CRC_SIZE < TDT_HEADER_SIZE) return ends_early();
                break;
            case table_ids::tot:
                if (body_.size() < TOT_HEADER_SIZE) return ends_early();
                table_descriptors(TOT_HEADER_SIZE, tot_get_desclength(section_));
                break;
            default:
                if (body_.size() < EIT_HEADER_SIZE) return ends_early();
                records(body_.behind(EIT_HEADER_SIZE), EIT_EVENT_SIZE, eitn_get_desclength);
        }
        return std::move(found_);
    }

private:
    using descriptors_length = std::uint16_t (*)(const std::uint8_t*);

    // biTStream has no AIT (ETSI TS 102 809 5.3.4.6).
    static constexpr std::size_t ait_header_size = PSI_HEADER_SIZE_SYNTAX1 + 2;
    static constexpr std::size_t ait_application_size = 9;
    static std::uint16_t application_descriptors_length(const std::uint8_t* entry) {
        return descs_get_length(entry + 7);
    }

    section_loops ends_early() {
        found_.well_formed = false;
        return std::move(found_);
    }

    span descriptors(span rest, std::size_t length) {
        const span loop = rest.first(length);
        const bool fits = length <= rest.size() &&
                          descl_validate(loop.begin(), static_cast<std::uint16_t>(length));
        found_.well_formed = found_.well_formed && fits;
        return loop;
    }

    void table_descriptors(std::size_t at, std::size_t length) {
        found_.descriptors = descriptors(body_.behind(at), length);
    }
    span behind_descriptors(std::size_t at) const {
        return body_.behind(at + found_.descriptors.size());
    }

    /// A loop that begins with its length, behind the table's descriptors.
    void counted_records(std::size_t entry_size, descriptors_length length_of) {
        const auto header = static_cast<std::size_t>(found_.descriptors.end() - section_);
        span loop = body_.behind(header);
        if (loop.size() < DESCS_HEADER_SIZE) {
            found_.well_formed = false;
            return;
        }
        const std::size_t length = descs_get_length(loop.begin());
        loop = loop.behind(DESCS_HEADER_SIZE);
        found_.well_formed = found_.well_formed && length == loop.size();
        records(loop.first(length), entry_size, length_of);
    }

    void records(span loop, std::size_t entry_size, descriptors_length length_of) {
        // Without descriptors there are as many; with them mostly fewer than these.
        constexpr std::size_t most_with_descriptors = 8;
        const std::size_t most = loop.size() / entry_size;
        found_.records.reserve(length_of == nullptr ? most : std::min(most, most_with_descriptors));
        while (loop.size() >= entry_size) {
            sent_record record;
            record.entry = loop.begin();
            loop = loop.behind(entry_size);
            if (length_of != nullptr) {
                record.descriptors = descriptors(loop, length_of(record.entry));
                loop = loop.behind(record.descriptors.size());
            }
            found_.records.push_back(record);
        }
        found_.well_formed = found_.well_formed && loop.empty();
    }

    const std::uint8_t* section_;
    span body_;  ///< from table_id to the CRC_32
    section_loops found_;
};

}  // namespace

section_loops find_loops(const std::uint8_t* section, std::size_t size) {
    return size == 0 ? section_loops() : loop_finder(section, size).find();
}

}  // namespace orvix::broadcast
