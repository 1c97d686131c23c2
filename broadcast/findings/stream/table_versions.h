#pragma once

#include <broadcast/bound.h>
#include <broadcast/findings/ledger.h>
#include <broadcast/observer.h>

#include <bitset>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>

namespace orvix::broadcast {

/// Whether versions and section numbers of tables tell receivers what they have to know.
class table_versions {
public:
    explicit table_versions(ledger& to) : to_(to) {}

    void take(const sighting& seen);
    /// Nothing is known of how often tables have changed meanwhile: there are 32 versions, and a
    /// station that begins anew may begin with any. On this PID, or on all.
    void forget(std::uint16_t pid);
    void forget();

    const bound& limit() const { return bound_; }

private:
    /// PID, table_id, table_id_extension; transport stream and network of an EIT or SDT.
    using table_key = std::tuple<std::uint16_t, std::uint8_t, std::uint16_t, std::uint32_t>;
    using contents = std::map<std::uint8_t, std::size_t>;  ///< hashes, by section_number
    struct table {
        unsigned int version_number = 0;
        contents sections;
        std::map<std::uint8_t, unsigned int> times;  ///< that each has come, by section_number
        bool has_missed = false;                     ///< a section, as the findings say
        contents before;       ///< of the version before, as far as they have not come again
        bool differs = false;  ///< from the version before
    };

    void take_not_yet_valid(const sighting& seen);
    void check_number(const sighting& seen);
    void begin_version(table& known, const sighting& seen);
    void take_content(table& known, const sighting& seen);
    void look_for_missing(table& known, const sighting& seen);

    ledger& to_;
    std::map<table_key, table> tables_;
    std::size_t kept_ = 0;  ///< sections
    // A full schedule of a hundred services fits.
    bound bound_ = {"sections whose versions are compared", 20'000};
};

}  // namespace orvix::broadcast
