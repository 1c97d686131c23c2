#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <optional>
#include <string>

namespace orvix::inputs {

/// An address of IPv4 or IPv6 and a port, as sockets take them.
struct socket_address {
    sockaddr_storage storage = {};
    socklen_t size = 0;

    int family() const { return storage.ss_family; }
    const sockaddr* get() const {
        return reinterpret_cast<const sockaddr*>(&storage);  // NOLINT: how sockets have it
    }
    bool is_multicast() const;
};

/// Where a broadcast comes from in a network.
struct network_address {
    socket_address at;                     ///< a multicast group, or an address of this machine
    std::string interface;                 ///< by name; empty: as the routes say
    std::optional<socket_address> sender;  ///< only what this one sends to the group
};

/// `udp://ADDRESS:PORT`, `rtp://ADDRESS:PORT`, with `?interface=NAME` and `source=ADDRESS` behind
/// it, '&' between them; an IPv6 address stands in brackets. The two words mean the same: RTP is
/// told by what comes. None where the word begins otherwise. Throws source_error for what is wrong.
std::optional<network_address> parse_network_address(const std::string& word);

}  // namespace orvix::inputs
