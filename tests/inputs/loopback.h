#pragma once

// Sends datagrams to this machine, and nowhere else.

#include <inputs/network_address.h>
#include <netinet/in.h>
#include <section_writer.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>
#include <string>

namespace orvix::test {

/// An address of 127.0.0.0/8 of this process's own, so that tests at the same time do not meet.
inline std::string own_loopback() {
    const auto id = static_cast<unsigned int>(getpid());
    return "127." + std::to_string(1 + (id >> 15 & 0x7F)) + '.' + std::to_string(id >> 7 & 0xFF) +
           '.' + std::to_string(1 + (id & 0x7F));
}

/// A port of ::1 that is free just now.
inline std::uint16_t free_port_of_ipv6() {
    const int descriptor = socket(AF_INET6, SOCK_DGRAM, 0);
    sockaddr_in6 at = {};
    at.sin6_family = AF_INET6;
    at.sin6_addr = in6addr_loopback;
    socklen_t size = sizeof(at);
    const bool is_bound = bind(descriptor, reinterpret_cast<const sockaddr*>(&at), size) == 0 &&
                          getsockname(descriptor, reinterpret_cast<sockaddr*>(&at), &size) == 0;
    close(descriptor);
    if (!is_bound) throw std::runtime_error("no port of ::1");
    return ntohs(at.sin6_port);
}

/// Sends to a place like "127.0.0.1:5004".
class datagram_sender {
public:
    explicit datagram_sender(const std::string& place)
        : to_(inputs::parse_network_address("udp://" + place)->at),
          descriptor_(socket(to_.family(), SOCK_DGRAM, 0)) {}
    ~datagram_sender() { close(descriptor_); }
    datagram_sender(const datagram_sender&) = delete;
    datagram_sender& operator=(const datagram_sender&) = delete;

    int descriptor() const { return descriptor_; }
    /// Returns whether the system took it.
    bool send(const bytes& datagram) const {
        return sendto(descriptor_, datagram.data(), datagram.size(), 0, to_.get(), to_.size) ==
               static_cast<ssize_t>(datagram.size());
    }

private:
    inputs::socket_address to_;
    int descriptor_;
};

}  // namespace orvix::test
