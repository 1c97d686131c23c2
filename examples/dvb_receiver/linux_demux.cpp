#include "linux_demux.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <utility>

namespace receiver {

linux_demux::linux_demux(std::string device) : device_(std::move(device)) {}

int linux_demux::open_filter() { return ::open(device_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC); }

int linux_demux::set_filter(int filter, const dmx_sct_filter_params& parameters) {
    return ::ioctl(filter, DMX_SET_FILTER, &parameters);
}

int linux_demux::poll(pollfd* filters, nfds_t count, int timeout_ms) {
    return ::poll(filters, count, timeout_ms);
}

ssize_t linux_demux::read(int filter, unsigned char* buffer, std::size_t size) {
    return ::read(filter, buffer, size);
}

void linux_demux::close_filter(int filter) { ::close(filter); }

}  // namespace receiver
