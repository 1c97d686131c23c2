#pragma once

#include <si_parser/psi_table.h>

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace orvix::broadcast {

/// Which services a table of several sections lists. A section costs what it adds and takes away;
/// there are no more of them than 16 bits can tell apart.
class listing {
public:
    using service_ids = std::vector<std::uint16_t>;

    /// Takes a section that lists `ids`. `table` tells its table from others that take its place,
    /// such as that of another transport stream. Returns those that are not listed any more, which
    /// is known when all sections of the table's version have come.
    service_ids take(const si_parser::psi_table& section, std::uint64_t table, service_ids ids);

    /// Whether any section has come.
    bool has_come() const { return version_.has_value(); }
    /// Whether all sections of a version have come.
    bool has_come_whole() const { return has_come_whole_; }

private:
    void unlist(const service_ids& ids);

    bool has_come_whole_ = false;
    std::optional<std::pair<std::uint64_t, std::uint32_t>> version_;  ///< of which table, too
    std::map<std::uint32_t, service_ids> sections_;    ///< of that version, by section_number
    std::map<std::uint16_t, std::uint32_t> listings_;  ///< by how many sections
    std::set<std::uint16_t> unlisted_;                 ///< by none; gone when all have come
};

}  // namespace orvix::broadcast
