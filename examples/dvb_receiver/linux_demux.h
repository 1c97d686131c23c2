#pragma once

#include <string>

#include "demux.h"

namespace receiver {

/// A device such as /dev/dvb/adapter0/demux0. The channel is tuned by another program.
class linux_demux : public demux {
public:
    explicit linux_demux(std::string device);

    int open_filter() override;
    int set_filter(int filter, const dmx_sct_filter_params& parameters) override;
    int poll(pollfd* filters, nfds_t count, int timeout_ms) override;
    ssize_t read(int filter, unsigned char* buffer, std::size_t size) override;
    void close_filter(int filter) override;

private:
    std::string device_;
};

}  // namespace receiver
