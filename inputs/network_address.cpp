#include "network_address.h"

#include <arpa/inet.h>
#include <net/if.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string_view>

#include "source.h"

namespace orvix::inputs {

namespace {

constexpr std::string_view form = "udp://ADDRESS:PORT, the address of IPv6 in brackets";

std::string quoted(std::string_view word) {
    std::string all = "'";
    // What comes from outside may hold what steers a terminal.
    for (const char c : word) all += std::isprint(static_cast<unsigned char>(c)) != 0 ? c : '?';
    return all + '\'';
}

template <typename Address>
void store(const Address& address, socket_address& to) {
    std::memcpy(&to.storage, &address, sizeof(address));
    to.size = sizeof(address);
}

socket_address parse_address(const std::string& host, std::uint16_t port) {
    socket_address parsed;
    sockaddr_in v4 = {};
    sockaddr_in6 v6 = {};
    if (inet_pton(AF_INET, host.c_str(), &v4.sin_addr) == 1) {
        v4.sin_family = AF_INET;
        v4.sin_port = htons(port);
        store(v4, parsed);
    } else if (inet_pton(AF_INET6, host.c_str(), &v6.sin6_addr) == 1) {
        v6.sin6_family = AF_INET6;
        v6.sin6_port = htons(port);
        store(v6, parsed);
    } else {
        throw source_error(quoted(host) + " is no IP address");
    }
    return parsed;
}

std::uint16_t parse_port(std::string_view word) {
    constexpr unsigned long last_port = 0xFFFF;
    constexpr std::size_t most_digits = 5;
    const bool is_number = !word.empty() && word.size() <= most_digits &&
                           word.find_first_not_of("0123456789") == std::string_view::npos;
    const unsigned long port = is_number ? std::stoul(std::string(word)) : 0;
    if (port == 0 || port > last_port) {
        throw source_error(quoted(word) + " is no port from 1 to 65535");
    }
    return static_cast<std::uint16_t>(port);
}

/// "239.1.1.1:5004", "[ff3e::1]:5004".
socket_address parse_place(std::string_view word) {
    const bool has_brackets = !word.empty() && word.front() == '[';
    const std::size_t colon = has_brackets ? word.find("]:") : word.find(':');
    if (colon == std::string_view::npos) throw source_error("is not like " + std::string(form));
    const std::string_view host = has_brackets ? word.substr(1, colon - 1) : word.substr(0, colon);
    const std::string_view port = word.substr(colon + (has_brackets ? 2 : 1));
    if (port.find(':') != std::string_view::npos) {
        throw source_error("is not like " + std::string(form));
    }
    return parse_address(std::string(host), parse_port(port));
}

void parse_parameter(std::string_view word, network_address& to) {
    const std::size_t equals = word.find('=');
    const std::string_view name = word.substr(0, equals);
    const std::string value(equals == std::string_view::npos ? "" : word.substr(equals + 1));
    if (name == "interface") {
        if (value.empty() || value.size() >= IF_NAMESIZE) {
            throw source_error("interface=" + quoted(value) + " is no name of an interface");
        }
        to.interface = value;
    } else if (name == "source") {
        to.sender = parse_address(value, 0);
    } else {
        throw source_error(quoted(word) + " is neither interface=NAME nor source=ADDRESS");
    }
}

void check(const network_address& address) {
    if (!address.at.is_multicast()) {
        if (!address.interface.empty() || address.sender) {
            throw source_error("interface= and source= are for multicast groups");
        }
        return;
    }
    if (!address.sender) return;
    if (address.sender->family() != address.at.family()) {
        throw source_error("source= is of another IP version than the group");
    }
    if (address.sender->is_multicast()) {
        throw source_error("source= is a multicast group, not one that sends");
    }
}

}  // namespace

bool socket_address::is_multicast() const {
    if (family() == AF_INET) {
        sockaddr_in v4 = {};
        std::memcpy(&v4, &storage, sizeof(v4));
        return IN_MULTICAST(ntohl(v4.sin_addr.s_addr));
    }
    sockaddr_in6 v6 = {};
    std::memcpy(&v6, &storage, sizeof(v6));
    return IN6_IS_ADDR_MULTICAST(&v6.sin6_addr);
}

std::optional<network_address> parse_network_address(const std::string& word) {
    constexpr std::size_t scheme_size = 6;
    const std::string_view scheme = std::string_view(word).substr(0, scheme_size);
    if (scheme != "udp://" && scheme != "rtp://") return std::nullopt;

    const std::string_view rest = std::string_view(word).substr(scheme_size);
    const std::size_t question = rest.find('?');
    network_address parsed;
    parsed.at = parse_place(rest.substr(0, question));
    std::size_t next = question;
    while (next != std::string_view::npos) {
        const std::size_t begin = next + 1;
        next = rest.find('&', begin);
        const std::size_t size = next == std::string_view::npos ? next : next - begin;
        parse_parameter(rest.substr(begin, size), parsed);
    }
    check(parsed);
    return parsed;
}

}  // namespace orvix::inputs
