#include "datagram_socket.h"

#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "source.h"

namespace orvix::inputs {

namespace {

constexpr std::size_t most_datagrams = 32;  // at a call
constexpr std::size_t largest_datagram = 65'536;

[[noreturn]] void fail(const std::string& what) {
    throw source_error(what + ": " + std::strerror(errno));
}

/// 0 where the routes are to say it.
unsigned int index_of(const std::string& interface) {
    if (interface.empty()) return 0;
    const unsigned int index = if_nametoindex(interface.c_str());
    if (index == 0) throw source_error("no interface '" + interface + "'");
    return index;
}

/// A group of IPv6 that is valid on one link needs to know which.
socket_address with_scope(socket_address address, unsigned int interface) {
    if (address.family() != AF_INET6) return address;
    sockaddr_in6 v6 = {};
    std::memcpy(&v6, &address.storage, sizeof(v6));
    v6.sin6_scope_id = interface;
    std::memcpy(&address.storage, &v6, sizeof(v6));
    return address;
}

}  // namespace

/// Where datagrams are received into. Memory of which nothing is touched costs nothing.
struct datagram_socket::batch {
    std::unique_ptr<std::uint8_t[]> bytes{new std::uint8_t[most_datagrams * largest_datagram]};
    std::array<iovec, most_datagrams> places = {};
    std::array<mmsghdr, most_datagrams> messages = {};
    struct alignas(cmsghdr) control {
        std::array<char, CMSG_SPACE(sizeof(std::uint32_t))> bytes = {};
    };
    std::array<control, most_datagrams> controls = {};

    void prepare() {
        for (std::size_t i = 0; i < most_datagrams; ++i) {
            places[i] = {bytes.get() + i * largest_datagram, largest_datagram};
            msghdr& header = messages[i].msg_hdr;
            header = {};
            header.msg_iov = &places[i];
            header.msg_iovlen = 1;
            header.msg_control = controls[i].bytes.data();
            header.msg_controllen = controls[i].bytes.size();
        }
    }
};

datagram_socket::datagram_socket(const network_address& address)
    : descriptor_(socket(address.at.family(), SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)),
      batch_(std::make_unique<batch>()) {
    if (descriptor_ < 0) fail("socket");
    try {
        const unsigned int interface = index_of(address.interface);
        const int on = 1;
        const bool is_multicast = address.at.is_multicast();
        // Several may listen to a group; who listens to an address of the machine is alone.
        if (is_multicast) set(SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on), "SO_REUSEADDR");
        set(SOL_SOCKET, SO_RXQ_OVFL, &on, sizeof(on), "SO_RXQ_OVFL");
        ask_for_buffer();
        const bool is_v6 = address.at.family() == AF_INET6;
        if (is_multicast && is_v6 && interface != 0) keep_to(address.interface);
        const socket_address at = with_scope(address.at, interface);
        if (bind(descriptor_, at.get(), at.size) != 0) fail("bind");
        if (is_multicast) join(address, interface);
    } catch (const source_error&) {
        close(descriptor_);
        throw;
    }
}

datagram_socket::~datagram_socket() { close(descriptor_); }

void datagram_socket::set(int level, int option, const void* value, std::size_t size,
                          const char* what) const {
    const auto length = static_cast<socklen_t>(size);
    if (setsockopt(descriptor_, level, option, value, length) != 0) fail(what);
}

/// A group of IPv6 comes by any interface to whoever has joined it on one; one of IPv4 does not.
void datagram_socket::keep_to(const std::string& interface) const {
    const auto size = static_cast<socklen_t>(interface.size());
    if (setsockopt(descriptor_, SOL_SOCKET, SO_BINDTODEVICE, interface.data(), size) == 0) return;
    // Before Linux 5.7 this takes a privilege, and the group comes by all interfaces.
    if (errno != EPERM) fail("SO_BINDTODEVICE");
}

void datagram_socket::join(const network_address& address, unsigned int interface) {
    const bool is_v4 = address.at.family() == AF_INET;
    const int level = is_v4 ? IPPROTO_IP : IPPROTO_IPV6;
    // Else what any other program has joined comes here too.
    const int off = 0;
    set(level, is_v4 ? IP_MULTICAST_ALL : IPV6_MULTICAST_ALL, &off, sizeof(off), "MULTICAST_ALL");
    if (address.sender) {
        group_source_req wanted = {};
        wanted.gsr_interface = interface;
        wanted.gsr_group = address.at.storage;
        wanted.gsr_source = address.sender->storage;
        set(level, MCAST_JOIN_SOURCE_GROUP, &wanted, sizeof(wanted), "joining the group");
    } else {
        group_req wanted = {};
        wanted.gr_interface = interface;
        wanted.gr_group = address.at.storage;
        set(level, MCAST_JOIN_GROUP, &wanted, sizeof(wanted), "joining the group");
    }
}

void datagram_socket::ask_for_buffer() {
    const int wanted = wanted_buffer_bytes;
    set(SOL_SOCKET, SO_RCVBUF, &wanted, sizeof(wanted), "SO_RCVBUF");
    int granted = 0;
    socklen_t size = sizeof(granted);
    if (getsockopt(descriptor_, SOL_SOCKET, SO_RCVBUF, &granted, &size) != 0) fail("SO_RCVBUF");
    // The system doubles what was asked for, to keep its own books there.
    buffer_bytes_ = static_cast<std::size_t>(granted) / 2;
}

void datagram_socket::receive(
    const std::function<void(const std::uint8_t* bytes, std::size_t size)>& take) {
    batch_->prepare();
    const int count =
        recvmmsg(descriptor_, batch_->messages.data(), most_datagrams, MSG_DONTWAIT, nullptr);
    if (count < 0) {
        if (errno == EAGAIN || errno == EINTR) return;
        fail("receiving");
    }
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        mmsghdr& message = batch_->messages[i];
        take(batch_->bytes.get() + i * largest_datagram, message.msg_len);
        const cmsghdr* const control = CMSG_FIRSTHDR(&message.msg_hdr);
        if (control == nullptr || control->cmsg_type != SO_RXQ_OVFL) continue;
        std::uint32_t overflows = 0;
        std::memcpy(&overflows, CMSG_DATA(control), sizeof(overflows));
        overflowed_ += overflows - told_overflows_;
        told_overflows_ = overflows;
    }
}

}  // namespace orvix::inputs
