#pragma once

#include <linux/dvb/dmx.h>
#include <poll.h>
#include <sys/types.h>

#include <cstddef>

namespace receiver {

/// A demultiplexer of the Linux DVB interface, as far as a receiver of tables uses it: one open
/// filter for each table. Every call answers as the system call of its name does: -1 and errno.
class demux {
public:
    virtual ~demux() = default;

    /// A new filter's descriptor.
    virtual int open_filter() = 0;
    /// DMX_SET_FILTER. A filter that runs is stopped and set anew.
    virtual int set_filter(int filter, const dmx_sct_filter_params& parameters) = 0;
    virtual int poll(pollfd* filters, nfds_t count, int timeout_ms) = 0;
    /// One whole section. EOVERFLOW: sections came faster than they were read, and were lost.
    virtual ssize_t read(int filter, unsigned char* buffer, std::size_t size) = 0;
    virtual void close_filter(int filter) = 0;
};

}  // namespace receiver
