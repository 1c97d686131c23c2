// Multicast, in a network of the test's own: nothing of it leaves this process.

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <inputs/source.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>

#include "loopback.h"

namespace orvix::test {
namespace {

using inputs::open_source;
using inputs::source;
using std::chrono::milliseconds;

bool enters_network_of_its_own() {
    const uid_t user = geteuid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) return false;
    // Who is root there, as the programs that it starts need to be.
    std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
    return geteuid() == 0;
}

bool loopback_goes_up() {
    const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
    ifreq wanted = {};
    std::memcpy(wanted.ifr_name, "lo", sizeof("lo"));
    wanted.ifr_flags = IFF_UP | IFF_LOOPBACK | IFF_MULTICAST;
    const bool is_up = ioctl(descriptor, SIOCSIFFLAGS, &wanted) == 0;
    close(descriptor);
    return is_up;
}

/// Groups of IPv6 do not come by the loopback.
bool has_wire(const std::string& name = "wire") {
    const std::string end = name + "_end";
    return std::system(("ip link add " + name + " type veth peer name " + end + " && ip link set " +
                        name + " up && ip link set " + end +
                        " up && ip address add fe80::7/64 dev " + name + " nodad")
                           .c_str()) == 0;
}

/// Runs in a process with a network that has its loopback only.
class Multicast : public testing::Test {
protected:
    void in_network_of_its_own(const std::function<void()>& test) {
        constexpr int not_permitted = 77;
        const pid_t child = fork();
        if (child == 0) {
            if (!enters_network_of_its_own() || !loopback_goes_up()) _exit(not_permitted);
            test();
            std::fflush(nullptr);
            _exit(HasFailure() ? 1 : 0);
        }
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status));
        if (WEXITSTATUS(status) == not_permitted) {
            GTEST_SKIP() << "this system permits no network namespace";
        }
        EXPECT_EQ(WEXITSTATUS(status), 0);
    }

    static bool goes_by_wire(const datagram_sender& to, const char* name = "wire") {
        const unsigned int index = if_nametoindex(name);
        return setsockopt(to.descriptor(), IPPROTO_IPV6, IPV6_MULTICAST_IF, &index,
                          sizeof(index)) == 0;
    }

    static bool goes_by_loopback(const datagram_sender& to) {
        ip_mreqn by = {};
        by.imr_ifindex = static_cast<int>(if_nametoindex("lo"));
        return setsockopt(to.descriptor(), IPPROTO_IP, IP_MULTICAST_IF, &by, sizeof(by)) == 0;
    }

    static bool comes_from(const datagram_sender& to, const char* address) {
        sockaddr_in at = {};
        at.sin_family = AF_INET;
        inet_pton(AF_INET, address, &at.sin_addr);
        return bind(to.descriptor(), reinterpret_cast<const sockaddr*>(&at), sizeof(at)) == 0;
    }

    /// All that comes soon.
    static bytes read(source& from) {
        bytes all;
        bytes buffer(10'000);
        for (;;) {
            const auto soon = source::clock::now() + milliseconds(200);
            const std::size_t count =
                from.read(buffer.data(), buffer.size(), soon, source::no_descriptor);
            if (count == 0) return all;
            all.insert(all.end(), buffer.begin(),
                       buffer.begin() + static_cast<std::ptrdiff_t>(count));
        }
    }
};

TEST_F(Multicast, OfAGroupIsJoinedOnItsInterface) {
    in_network_of_its_own([] {
        const auto from = open_source("udp://239.255.7.7:5004?interface=lo");
        const datagram_sender to("239.255.7.7:5004");
        const datagram_sender to_another("239.255.7.8:5004");
        ASSERT_TRUE(goes_by_loopback(to));
        ASSERT_TRUE(goes_by_loopback(to_another));
        ASSERT_TRUE(to.send({0x47, 1}));
        ASSERT_TRUE(to_another.send({0x47, 2}));
        EXPECT_EQ(read(*from), bytes({0x47, 1}));
    });
}

TEST_F(Multicast, IsSharedByAllWhoListen) {
    in_network_of_its_own([] {
        const auto one = open_source("udp://239.255.7.7:5004?interface=lo");
        const auto other = open_source("rtp://239.255.7.7:5004?interface=lo");
        const datagram_sender to("239.255.7.7:5004");
        ASSERT_TRUE(goes_by_loopback(to));
        ASSERT_TRUE(to.send({0x47, 1}));
        EXPECT_EQ(read(*one), bytes({0x47, 1}));
        EXPECT_EQ(read(*other), bytes({0x47, 1}));
    });
}

TEST_F(Multicast, OfOneSenderLeavesOutTheOthers) {
    in_network_of_its_own([] {
        const auto from = open_source("udp://232.7.7.7:5004?interface=lo&source=127.0.0.2");
        const datagram_sender wanted("232.7.7.7:5004");
        const datagram_sender other("232.7.7.7:5004");
        ASSERT_TRUE(goes_by_loopback(wanted) && comes_from(wanted, "127.0.0.2"));
        ASSERT_TRUE(goes_by_loopback(other) && comes_from(other, "127.0.0.3"));
        ASSERT_TRUE(other.send({0x47, 3}));
        ASSERT_TRUE(wanted.send({0x47, 2}));
        EXPECT_EQ(read(*from), bytes({0x47, 2}));
    });
}

TEST_F(Multicast, OfIpv6IsJoinedOnItsInterface) {
    in_network_of_its_own([] {
        ASSERT_TRUE(has_wire());
        const auto from = open_source("udp://[ff12::7]:5004?interface=wire");
        const datagram_sender to("[ff12::7]:5004");
        ASSERT_TRUE(goes_by_wire(to));
        ASSERT_TRUE(to.send({0x47, 6}));
        EXPECT_EQ(read(*from), bytes({0x47, 6}));
    });
}

TEST_F(Multicast, OfOneGroupOnTwoInterfacesIsTwoStreams) {
    in_network_of_its_own([] {
        ASSERT_TRUE(has_wire("one") && has_wire("other"));
        // One that is valid on its link only, and one that routers pass on.
        for (const std::string group : {"[ff12::7]:5004", "[ff15::7]:5004"}) {
            const auto from_one = open_source("udp://" + group + "?interface=one");
            const auto from_other = open_source("udp://" + group + "?interface=other");
            const datagram_sender to_one(group);
            const datagram_sender to_other(group);
            ASSERT_TRUE(goes_by_wire(to_one, "one") && goes_by_wire(to_other, "other"));
            ASSERT_TRUE(to_one.send({0x47, 1}) && to_other.send({0x47, 2}));
            EXPECT_EQ(read(*from_one), bytes({0x47, 1})) << group;
            EXPECT_EQ(read(*from_other), bytes({0x47, 2})) << group;
        }
    });
}

}  // namespace
}  // namespace orvix::test
