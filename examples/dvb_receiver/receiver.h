#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <vector>

#include "demux.h"

namespace receiver {

/// The loop of a receiver's table thread: PAT, the PMTs that it names, SDT and TOT, each through a
/// filter of its own, and each version of a table once. Says on `out` what a receiver would act
/// upon. Throws std::system_error where the device fails.
class table_loop {
public:
    table_loop(demux& device, std::ostream& out);
    ~table_loop();
    table_loop(const table_loop&) = delete;
    table_loop& operator=(const table_loop&) = delete;

    /// Waits for sections and takes them; false if none came in time.
    bool step(int timeout_ms);

private:
    struct filter {
        int descriptor = -1;
        std::uint16_t pid = 0;
        std::uint8_t table_id = 0;
        int version = -1;            // of the sections that were seen
        std::bitset<256> seen = {};  // by section_number
    };

    static constexpr std::size_t longest_section = 4096;

    void follow(std::uint16_t pid, std::uint8_t table_id);
    void follow_only(const std::vector<std::uint16_t>& pmt_pids);
    void set_filter(const filter& which, bool skip_version);
    filter* find(int descriptor);
    void read(int descriptor);
    void take(filter& from, std::size_t size);
    void note_seen(filter& from, std::size_t size);
    void take_pat(std::size_t size);
    void take_pmt(std::size_t size);
    void take_sdt(std::size_t size);
    void take_tot(std::size_t size);

    demux& device_;
    std::ostream& out_;
    std::vector<filter> filters_;
    // The parser may look at one byte behind a section.
    std::array<unsigned char, longest_section + 1> section_ = {};
};

}  // namespace receiver
