#pragma once

#include <section_feed/section_collector.h>

#include <cstdint>
#include <map>
#include <vector>

namespace orvix::broadcast {

/// PMTs that come before the PAT which names their PID, as at the start of most captures.
class early_pmts {
public:
    early_pmts();

    struct pmt_section {
        std::vector<std::uint8_t> bytes;  ///< with a spare byte behind the section
        std::uint64_t packet_index = 0;
    };

    /// Looks for PMTs on any PID, until `stop` or as long as a PAT may be waited for.
    void push(const section_feed::packet& p) {
        if (is_looking_) look(p);
    }
    /// Those that came on `pid`, in their order. They are gone then.
    std::vector<pmt_section> take(std::uint16_t pid);
    /// The PAT is there.
    void stop();

private:
    void look(const section_feed::packet& p);
    void keep(const section_feed::section& found);

    section_feed::section_collector collector_;
    std::map<std::uint16_t, std::vector<pmt_section>> by_pid_;
    std::size_t followed_ = 0;
    std::size_t kept_ = 0;
    bool is_looking_ = true;
};

}  // namespace orvix::broadcast
