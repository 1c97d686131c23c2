#pragma once

#include <broadcast/bound.h>
#include <broadcast/findings/ledger.h>
#include <broadcast/findings/review_pace.h>
#include <broadcast/observer.h>
#include <broadcast/services.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvix::broadcast {

/// Whether PAT, SDT and NIT agree about the services, and give each a name and a number of its own.
class service_checks {
public:
    explicit service_checks(ledger& to) : to_(to) {}

    void take(const sighting& seen);
    void packets_passed();
    void end();

    std::vector<bound> bounds() const { return services_.bounds(); }

private:
    /// The first service that each name or number is of.
    using owners = std::map<std::string_view, std::uint16_t>;

    void note_version(const sighting& seen);
    void review();
    static std::optional<std::uint16_t> other_owner(owners& all, const std::string& what,
                                                    std::uint16_t owner);
    void check_listings(const std::vector<told_service>& in_pat,
                        const std::vector<std::uint16_t>& not_in_pat);
    void check_number(const told_service& service, owners& of_numbers);
    void check_name(const told_service& service, owners& of_names);
    void check_id(const told_service& service, std::uint16_t original_network_id);

    ledger& to_;
    services services_;                              ///< by PAT, SDT and NIT
    std::map<std::uint8_t, std::uint8_t> versions_;  ///< by table_id
    review_pace pace_;
};

}  // namespace orvix::broadcast
