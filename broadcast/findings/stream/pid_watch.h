#pragma once

#include <broadcast/bound.h>
#include <broadcast/findings/ledger.h>
#include <broadcast/findings/review_pace.h>
#include <broadcast/observer.h>
#include <broadcast/readings/span.h>

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace orvix::broadcast {

/// Whether the PIDs that PMTs name send something, and whether those that send are named.
///
/// Looks at the PIDs a few times in a second of the stream, and so takes one to be active for that
/// much longer than it is.
class pid_watch {
public:
    explicit pid_watch(ledger& to) : to_(to), pids_(0x2000) {}

    void stream_begins(const stream_facts& of) { stream_.emplace(of); }
    /// A PMT or CAT, also one that the receiver refuses: it names PIDs all the same.
    void take(const std::uint8_t* section, std::size_t size, std::optional<std::uint16_t> pid);
    void packets_passed();
    /// What is missing by now will not come any more.
    void end();

    const bound& limit() const { return bound_; }

private:
    static constexpr double look_every = 0.1;  // seconds

    /// What a table names.
    struct named_pids {
        std::vector<std::uint16_t> streams;  ///< that have to send something
        std::vector<std::uint16_t> others;
    };
    struct watched_pid {
        std::uint32_t streams = 0;      ///< how often it is named as one
        std::uint32_t others = 0;       ///< how often it is named as anything else
        std::uint16_t service_id = 0;   ///< of the PMT that named it last
        std::uint64_t packets = 0;      ///< that it had sent at the last look
        double active = 0;              ///< when it was last seen to have sent, or to be named
        std::optional<double> unnamed;  ///< since when it sends without a name
        bool is_missing = false;        ///< as the findings say
        bool is_unreferenced = false;
    };

    void take_pmt(const std::uint8_t* section, std::size_t size, std::uint16_t pid);
    void take_cat(const std::uint8_t* section, std::size_t size);
    void replace(named_pids& before, named_pids now, std::uint16_t service_id);
    void forget_services_that_are_gone();
    bool are_all_pmts_there() const;
    void look_at(std::uint16_t pid, double now, bool is_complete);
    void worsen(std::uint16_t pid, const watched_pid& state, double now);
    static std::string missing_words(std::uint16_t pid, const watched_pid& state, double silent);
    void check_stream(std::uint16_t pid, watched_pid& state, double now);
    void check_name(std::uint16_t pid, watched_pid& state, double now, bool is_complete);

    ledger& to_;
    std::optional<stream_facts> stream_;
    std::vector<watched_pid> pids_;
    std::set<std::uint16_t> named_streams_;
    std::map<std::uint16_t, named_pids> pmts_;  ///< by service_id
    named_pids cat_;
    review_pace pace_ = review_pace(look_every);
    // A multiplex has below a hundred services.
    bound bound_ = {"PMTs whose PIDs are watched", 1'000};
};

}  // namespace orvix::broadcast
