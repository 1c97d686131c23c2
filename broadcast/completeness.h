#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "bound.h"
#include "observer.h"
#include "section_numbers.h"

namespace orvix::broadcast {

/// What has not come of a table, or of one day of a schedule.
struct missing_part {
    std::uint8_t table_id = 0;
    std::optional<std::uint16_t> service_id;  ///< none where the table is of all services
    /// Of a schedule's part, of which something has come: 0 is the day on which it begins.
    std::optional<std::uint8_t> day;
    /// Parts of three hours, of which nothing has come: the first of the table is 0, and eight of
    /// them are a day.
    std::vector<std::uint8_t> segments;
    std::vector<std::uint8_t> sections;  ///< by section_number
    bool is_all = false;                 ///< nothing of the table has come; it says no more then
};

struct missing_parts {
    /// The broadcast's, as the newest TDT or TOT sent it.
    std::optional<std::int64_t> clock;
    /// PAT, NIT and SDT; PMTs; present/following; schedules: each by service_id.
    std::vector<missing_part> parts;
};

/// Tells a broadcast that has come whole from one that is still coming: PAT, the PMT of each of its
/// programmes, NIT and SDT, and of each service the EITs that the SDT announces or that have begun
/// to come. What the broadcast says counts, not what the receiver reads. Of a table that changes,
/// the newest version counts. A schedule may be sparse: a segment of three hours has up to eight
/// sections and says how many. Segments of today that have passed by the broadcast's clock are not
/// awaited: stations stop sending them.
class completeness {
public:
    /// `wanted`: the services whose PMTs and EITs count; empty: all.
    explicit completeness(std::set<std::uint16_t> wanted = {}) : wanted_(std::move(wanted)) {}

    void take(const sighting& seen);
    /// A section that came undamaged counts, also where the receiver must not be handed it.
    void take(const place& where, const refusal& what);

    missing_parts missing() const;
    bool is_whole() const { return missing().parts.empty(); }

    /// What the stream may make us keep. What exceeds it stays missing.
    std::vector<bound> bounds() const { return {present_following_limit_, schedule_limit_}; }

private:
    using service_ids = std::bitset<0x10000>;

    struct schedule_table {
        section_numbers sections;
        /// The last section of each segment; of those that have come.
        std::array<std::uint8_t, 32> segment_last = {};
    };
    /// A service, and the first table_id of its schedule: the extended one has tables of its own.
    using schedule_key = std::pair<std::uint16_t, std::uint8_t>;

    void take(span section, std::optional<std::uint16_t> pid);
    void take_time(std::time_t clock);
    void take_present_following(const sent_header& header);
    void take_schedule(const sent_header& header, const sent_segment& segment);
    bool is_wanted(std::uint16_t service_id) const {
        return wanted_.empty() || wanted_.count(service_id) != 0;
    }

    void add_missing_pmts(std::vector<missing_part>& to) const;
    void add_missing_present_following(std::vector<missing_part>& to) const;
    void add_missing_schedules(std::vector<missing_part>& to) const;
    std::size_t passed_segments() const;
    void add_missing_days(std::vector<missing_part>& to, std::uint16_t service_id,
                          std::uint8_t table_id, std::uint8_t first_day) const;

    std::set<std::uint16_t> wanted_;
    std::optional<std::int64_t> clock_;
    section_numbers pat_, nit_, sdt_;
    service_ids programmes_, pmts_, with_present_following_, with_schedule_;
    std::map<std::uint16_t, section_numbers> present_following_;
    /// By service and table_id.
    std::map<std::pair<std::uint16_t, std::uint8_t>, schedule_table> schedules_;
    std::map<schedule_key, std::uint8_t> last_table_ids_;
    // A multiplex has below a hundred services, and each schedule up to 16 tables.
    bound present_following_limit_ = {"services whose present/following is awaited", 1'000};
    bound schedule_limit_ = {"tables of schedules that are awaited", 2'000};
};

}  // namespace orvix::broadcast
