#pragma once

#include <broadcast/bound.h>
#include <broadcast/findings/ledger.h>
#include <broadcast/findings/review_pace.h>
#include <broadcast/listing.h>
#include <broadcast/observer.h>

#include <array>
#include <cstdint>
#include <map>
#include <optional>

namespace orvix::broadcast {

/// Whether the EITs come that the SDT announces, and only those.
class event_announcements {
public:
    explicit event_announcements(ledger& to) : to_(to) {}

    void stream_begins(const stream_facts& of) { stream_.emplace(of); }
    /// An SDT or EIT, the latter also if the receiver refuses it.
    void take(const sighting& seen);
    void packets_passed();
    void end();

    const bound& limit() const { return bound_; }

private:
    enum kind : std::uint8_t { present_following, schedule };
    static constexpr std::array<kind, 2> kinds = {present_following, schedule};

    struct events {
        bool is_announced = false;
        std::optional<double> since;  ///< in seconds; when the SDT first said so
        bool has_come = false;        ///< ever
        /// With events although it is not announced.
        bool comes_unannounced = false;
        std::optional<double> last_unannounced;
        /// Until then what was announced before may still come.
        std::optional<double> may_end;
    };
    struct service {
        std::uint8_t sdt_section = 0;   ///< the number of the one that lists it
        std::array<events, 2> of = {};  ///< by kind
    };

    void take_sdt(const sighting& seen);
    void take_eit(const sighting& seen);
    void announce(events& of, kind what, bool is_announced);
    double limit_of(kind what) const;
    bool is_missed(const service& known, kind what, bool is_end) const;
    bool is_unannounced(const events& of, kind what) const;
    void review(bool is_end);
    void check(std::uint16_t service_id, service& known, kind what, bool is_end);

    ledger& to_;
    std::optional<stream_facts> stream_;
    listing sdt_;
    std::map<std::uint16_t, service> services_;        ///< of the SDT, by service_id
    std::array<std::uint64_t, 0x100> sdt_times_ = {};  ///< that each section has come, by number
    review_pace pace_;
    // A multiplex has below a hundred services.
    bound bound_ = {"services whose EITs are compared with the SDT", 1'000};
};

}  // namespace orvix::broadcast
