#include "recorded_demux.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace receiver {

namespace {

using orvix::section_feed::gate_result;
using orvix::section_feed::section;
using orvix::section_feed::verdict;

/// filter[0] stands for byte 0, filter[n] for byte n + 2. Every masked bit must be equal, but of
/// those that ask for a difference one at least must differ.
bool matches(const dmx_filter& asked, const section& found) {
    bool asks_for_difference = false;
    bool differs = false;
    for (std::size_t n = 0; n != DMX_FILTER_SIZE; ++n) {
        const std::size_t byte = n == 0 ? 0 : n + 2;
        const unsigned int value = byte < found.size ? found.bytes[byte] : 0;
        const unsigned int different = (value ^ asked.filter[n]) & asked.mask[n];
        if ((different & ~static_cast<unsigned int>(asked.mode[n])) != 0) return false;
        asks_for_difference = asks_for_difference || (asked.mask[n] & asked.mode[n]) != 0;
        differs = differs || (different & asked.mode[n]) != 0;
    }
    return differs || !asks_for_difference;
}

}  // namespace

recorded_demux::recorded_demux(const std::vector<std::uint8_t>& stream,
                               std::size_t packets_per_poll)
    : packets_per_poll_(packets_per_poll),
      collector_([this](const section& found) { offer(found, true); },
                 [this](const section& found, const gate_result& why) {
                     offer(found, why.why != verdict::crc_mismatch);
                 }) {
    reader_.push(stream.data(), stream.size());
    reader_.finish();
}

int recorded_demux::open_filter() {
    filters_[next_descriptor_] = {};
    return next_descriptor_++;
}

int recorded_demux::set_filter(int filter, const dmx_sct_filter_params& parameters) {
    filters_.at(filter) = {};
    filters_.at(filter).parameters = parameters;
    collector_.follow(parameters.pid);
    return 0;
}

void recorded_demux::close_filter(int filter) { filters_.erase(filter); }

void recorded_demux::offer(const section& found, bool crc_is_right) {
    for (auto& [descriptor, each] : filters_) {
        if (each.parameters.pid != found.pid || !matches(each.parameters.filter, found)) continue;
        if ((each.parameters.flags & DMX_CHECK_CRC) != 0 && !crc_is_right) continue;
        if (each.waiting_bytes + found.size > buffer_bytes) {
            each.overflown = true;
            continue;
        }
        each.waiting.emplace_back(found.bytes, found.bytes + found.size);
        each.waiting_bytes += found.size;
    }
}

int recorded_demux::poll(pollfd* filters, nfds_t count, int /*timeout_ms*/) {
    orvix::section_feed::packet p;
    for (;;) {
        for (std::size_t played = 0; played != packets_per_poll_; ++played) {
            if (!reader_.next(p)) return ready(filters, count);
            collector_.push(p);
        }
        if (const int found = ready(filters, count)) return found;
    }
}

int recorded_demux::ready(pollfd* filters, nfds_t count) const {
    return static_cast<int>(std::count_if(filters, filters + count, [this](pollfd& each) {
        const filter_state& asked = filters_.at(each.fd);
        each.revents = 0;
        if (!asked.waiting.empty()) each.revents = POLLIN;
        if (asked.overflown) each.revents = POLLIN | POLLERR;
        return each.revents != 0;
    }));
}

ssize_t recorded_demux::read(int filter, unsigned char* buffer, std::size_t size) {
    filter_state& from = filters_.at(filter);
    // The kernel throws away what it still had.
    if (from.overflown) {
        set_filter(filter, dmx_sct_filter_params(from.parameters));
        errno = EOVERFLOW;
        return -1;
    }
    if (from.waiting.empty()) {
        errno = EAGAIN;
        return -1;
    }
    const std::vector<unsigned char> section = std::move(from.waiting.front());
    from.waiting.pop_front();
    from.waiting_bytes -= section.size();
    ++sections_;
    const std::size_t taken = std::min(size, section.size());
    std::copy_n(section.begin(), taken, buffer);
    return static_cast<ssize_t>(taken);
}

}  // namespace receiver
