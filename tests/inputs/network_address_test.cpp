// What the words of a network address mean, and what is said of those that mean nothing.

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <inputs/network_address.h>
#include <inputs/source.h>

#include <array>
#include <cstring>

namespace orvix::test {
namespace {

using inputs::parse_network_address;
using inputs::socket_address;
using inputs::source_error;

std::string in_words(const socket_address& address) {
    std::array<char, INET6_ADDRSTRLEN> text = {};
    if (address.family() == AF_INET) {
        sockaddr_in v4 = {};
        std::memcpy(&v4, &address.storage, sizeof(v4));
        inet_ntop(AF_INET, &v4.sin_addr, text.data(), text.size());
        return std::string(text.data()) + ' ' + std::to_string(ntohs(v4.sin_port));
    }
    sockaddr_in6 v6 = {};
    std::memcpy(&v6, &address.storage, sizeof(v6));
    inet_ntop(AF_INET6, &v6.sin6_addr, text.data(), text.size());
    return std::string(text.data()) + ' ' + std::to_string(ntohs(v6.sin6_port));
}

std::string why_wrong(const std::string& word) {
    try {
        parse_network_address(word);
        return "";
    } catch (const source_error& e) {
        return e.what();
    }
}

TEST(NetworkAddress, HasAddressAndPort) {
    for (const std::string scheme : {"udp://", "rtp://"}) {
        const auto parsed = parse_network_address(scheme + "127.0.0.1:5004");
        ASSERT_TRUE(parsed);
        EXPECT_EQ(in_words(parsed->at), "127.0.0.1 5004");
        EXPECT_FALSE(parsed->at.is_multicast());
        EXPECT_EQ(parsed->interface, "");
        EXPECT_FALSE(parsed->sender);
    }
}

TEST(NetworkAddress, OfAGroupTakesInterfaceAndSource) {
    const auto parsed =
        parse_network_address("udp://239.255.7.7:5004?interface=eth0&source=10.0.0.1");
    ASSERT_TRUE(parsed);
    EXPECT_TRUE(parsed->at.is_multicast());
    EXPECT_EQ(parsed->interface, "eth0");
    ASSERT_TRUE(parsed->sender);
    EXPECT_EQ(in_words(*parsed->sender), "10.0.0.1 0");
}

TEST(NetworkAddress, OfIpv6StandsInBrackets) {
    const auto parsed = parse_network_address("rtp://[ff3e::7]:65535?source=2001:db8::1");
    ASSERT_TRUE(parsed);
    EXPECT_EQ(in_words(parsed->at), "ff3e::7 65535");
    EXPECT_TRUE(parsed->at.is_multicast());
    ASSERT_TRUE(parsed->sender);
    EXPECT_EQ(in_words(*parsed->sender), "2001:db8::1 0");
    EXPECT_FALSE(parse_network_address("udp://[::1]:5004")->at.is_multicast());
}

TEST(NetworkAddress, IsNoneWhereTheWordBeginsOtherwise) {
    for (const char* const word :
         {"", "-", "capture.ts", "./udp://127.0.0.1:1", "http://x", "UDP"}) {
        EXPECT_FALSE(parse_network_address(word)) << word;
    }
}

TEST(NetworkAddress, SaysWhatIsWrongWithIt) {
    const std::string form = "is not like udp://ADDRESS:PORT, the address of IPv6 in brackets";
    EXPECT_EQ(why_wrong("udp://"), form);
    EXPECT_EQ(why_wrong("udp://239.1.1.1"), form);
    EXPECT_EQ(why_wrong("udp://::1:5004"), form);
    EXPECT_EQ(why_wrong("udp://[::1]5004"), form);
    EXPECT_EQ(why_wrong("udp://:5004"), "'' is no IP address");
    EXPECT_EQ(why_wrong("udp://tower:5004"), "'tower' is no IP address");
    EXPECT_EQ(why_wrong("udp://@239.1.1.1:5004"), "'@239.1.1.1' is no IP address");
    EXPECT_EQ(why_wrong("udp://1.2.3.4\x1B:1"), "'1.2.3.4?' is no IP address");
    EXPECT_EQ(why_wrong("udp://127.0.0.1:"), "'' is no port from 1 to 65535");
    EXPECT_EQ(why_wrong("udp://127.0.0.1:0"), "'0' is no port from 1 to 65535");
    EXPECT_EQ(why_wrong("udp://127.0.0.1:65536"), "'65536' is no port from 1 to 65535");
    EXPECT_EQ(why_wrong("udp://127.0.0.1:-1"), "'-1' is no port from 1 to 65535");
    EXPECT_EQ(why_wrong("udp://127.0.0.1:99999999999999999999"),
              "'99999999999999999999' is no port from 1 to 65535");
    EXPECT_EQ(why_wrong("udp://239.1.1.1:1?"), "'' is neither interface=NAME nor source=ADDRESS");
    EXPECT_EQ(why_wrong("udp://239.1.1.1:1?ttl=3"),
              "'ttl=3' is neither interface=NAME nor source=ADDRESS");
    EXPECT_EQ(why_wrong("udp://239.1.1.1:1?interface="), "interface='' is no name of an interface");
    EXPECT_EQ(why_wrong("udp://239.1.1.1:1?interface=a-name-that-no-one-has"),
              "interface='a-name-that-no-one-has' is no name of an interface");
    EXPECT_EQ(why_wrong("udp://239.1.1.1:1?source=x"), "'x' is no IP address");
    EXPECT_EQ(why_wrong("udp://239.1.1.1:1?source=::1"),
              "source= is of another IP version than the group");
    EXPECT_EQ(why_wrong("udp://239.1.1.1:1?source=239.1.1.2"),
              "source= is a multicast group, not one that sends");
    EXPECT_EQ(why_wrong("udp://127.0.0.1:1?interface=lo"),
              "interface= and source= are for multicast groups");
    EXPECT_EQ(why_wrong("udp://127.0.0.1:1?source=127.0.0.1"),
              "interface= and source= are for multicast groups");
}

}  // namespace
}  // namespace orvix::test
