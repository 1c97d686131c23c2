#pragma once

#include <small_broadcast.h>

#include "../broadcast/findings/timed_stream.h"

namespace orvix::test {

/// Nothing is wrong with it, but that PMTs and EITs of the mobile service are as they are.
inline stream_writer known_broadcast(double seconds) {
    return timed_stream(seconds)
        .every(0.09, 0x0000, {pat()})
        .every(0.09, hd_pmt_pid, {hd_pmt()})
        .every(0.09, mobile_pmt_pid, {mobile_pmt()})
        .every(1, 0x0010, {nit()})
        .every(1, 0x0011, {sdt()})
        .every(1, 0x0012, {eit(), eit(mobile_service)})
        .once(0.5, 0x0014, tot())
        .every(0.2, ait_pid, {ait()})
        .elementary(0x0111, 0.01)
        .elementary(0x0112, 0.05)
        .elementary(0x0201, 0.05)
        .write();
}

}  // namespace orvix::test
