#pragma once

#include <broadcast/bound.h>
#include <broadcast/observer.h>
#include <broadcast/section_numbers.h>

#include <array>
#include <bitset>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace orvix::broadcast {

/// What versions and contents tables have, so that two captures can be compared. The newest version
/// of each counts; times, which have none, are left out.
class table_contents {
public:
    struct table_key {
        std::uint8_t table_id = 0;
        std::uint16_t table_id_extension = 0;
        /// What else tells it from others: network and transport stream, of an AIT its PID.
        std::uint32_t place = 0;

        friend bool operator<(const table_key& a, const table_key& b);
    };
    using digest = std::array<unsigned char, 16>;
    struct table {
        std::uint8_t version_number = 0;
        section_numbers sections;
        std::map<std::uint8_t, digest> contents;  ///< by section_number, without the version

        bool is_whole() const { return sections.missing().empty(); }
    };
    using tables = std::map<table_key, table>;

    void take(const sighting& seen);

    const tables& all() const { return tables_; }
    bool has_whole(std::uint8_t table_id) const;
    /// On which PIDs a whole AIT has come.
    std::bitset<0x2000> pids_of_whole_aits() const;
    bool has_any(std::uint8_t first_table_id, std::uint8_t last_table_id,
                 std::uint16_t table_id_extension) const;
    std::vector<bound> bounds() const { return {limit_}; }

private:
    tables tables_;
    std::size_t sections_ = 0;
    // A network of a hundred services with a full schedule of eight days each stays below it.
    bound limit_ = {"sections to compare", 100'000};
};

}  // namespace orvix::broadcast
