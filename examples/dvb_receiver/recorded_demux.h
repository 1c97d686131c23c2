#pragma once

#include <section_feed/packet_reader.h>
#include <section_feed/section_collector.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <vector>

#include "demux.h"

namespace receiver {

/// A demultiplexer without a card: plays a transport stream from memory. It filters and overflows
/// as the kernel does, so that the loop above it can be tried and tested anywhere.
class recorded_demux : public demux {
public:
    /// Each `poll` plays at least so many packets; 1 is a receiver that is never late.
    explicit recorded_demux(const std::vector<std::uint8_t>& stream,
                            std::size_t packets_per_poll = 1);

    int open_filter() override;
    int set_filter(int filter, const dmx_sct_filter_params& parameters) override;
    /// Plays until a filter has a section: 0 only at the stream's end.
    int poll(pollfd* filters, nfds_t count, int timeout_ms) override;
    ssize_t read(int filter, unsigned char* buffer, std::size_t size) override;
    void close_filter(int filter) override;

    /// Filters that are open.
    std::size_t filters() const { return filters_.size(); }
    /// Sections that were handed out.
    std::size_t sections() const { return sections_; }

private:
    /// A filter's buffer, as large as the kernel's.
    static constexpr std::size_t buffer_bytes = 8192;

    struct filter_state {
        dmx_sct_filter_params parameters = {};
        std::deque<std::vector<unsigned char>> waiting = {};
        std::size_t waiting_bytes = 0;
        bool overflown = false;
    };

    void offer(const orvix::section_feed::section& found, bool crc_is_right);
    int ready(pollfd* filters, nfds_t count) const;

    std::map<int, filter_state> filters_;
    int next_descriptor_ = 0;
    std::size_t packets_per_poll_;
    std::size_t sections_ = 0;
    orvix::section_feed::packet_reader reader_;
    orvix::section_feed::section_collector collector_;
};

}  // namespace receiver
