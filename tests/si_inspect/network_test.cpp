// A broadcast that comes from a network; sent to this machine only.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <nlohmann/json.hpp>
#include <thread>

#include "../inputs/loopback.h"
#include "../inputs/rtp_datagrams.h"
#include "small_broadcast.h"
#include "tool.h"

namespace orvix::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

/// Sends datagrams in turn, from now on until the end; each as `wrap(number, datagram)` has it.
class sending {
public:
    using wrapping = std::function<bytes(unsigned int number, const bytes& datagram)>;

    sending(
        const std::string& place, std::vector<bytes> datagrams,
        wrapping wrap = [](unsigned int, const bytes& plain) { return plain; })
        : to_(place),
          datagrams_(std::move(datagrams)),
          wrap_(std::move(wrap)),
          thread_([this] { send(); }) {}
    ~sending() {
        is_over_ = true;
        thread_.join();
    }
    sending(const sending&) = delete;
    sending& operator=(const sending&) = delete;

private:
    void send() {
        for (unsigned int i = 0; !is_over_; ++i) {
            // Refused before the tool listens.
            to_.send(wrap_(i, datagrams_[i % datagrams_.size()]));
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }

    datagram_sender to_;
    std::vector<bytes> datagrams_;
    wrapping wrap_;
    std::atomic<bool> is_over_ = false;
    std::thread thread_;
};

class FromTheNetwork : public testing::Test {
protected:
    /// All tables again and again, at most seven packets in a datagram.
    static std::vector<bytes> broadcast() {
        stream_writer stream;
        for (int i = 0; i < 16; ++i) {
            stream.section(0x0000, pat()).section(0x0011, sdt()).section(0x0010, nit());
        }
        const bytes all = stream.stream();
        std::vector<bytes> datagrams;
        constexpr std::size_t most = 7 * packet_bytes;
        for (std::size_t at = 0; at < all.size(); at += most) {
            const std::size_t end = at + most < all.size() ? at + most : all.size();
            datagrams.emplace_back(all.begin() + static_cast<std::ptrdiff_t>(at),
                                   all.begin() + static_cast<std::ptrdiff_t>(end));
        }
        return datagrams;
    }

    std::string place = own_loopback() + ":5004";
};

TEST_F(FromTheNetwork, TablesAreShownAsFromAFile) {
    const sending sender(place, broadcast());
    const outcome shown =
        si_inspect({"--quiet", "--format", "json", "--table", "sdt", "--limit", "1",  //
                    "--timeout", "20", "udp://" + place});
    EXPECT_EQ(shown.status, 0) << shown.err;
    EXPECT_EQ(json::parse(shown.out)["transport_stream_id"], multiplex_id);
}

TEST_F(FromTheNetwork, LossesOfRtpStandInTheTotals) {
    const auto every_other_is_lost = [](unsigned int number, const bytes& payload) {
        return rtp(2 * number, payload);
    };
    const sending sender(place, broadcast(), every_other_is_lost);
    const outcome shown = si_inspect({"--quiet", "--format", "json", "--totals", "--strict",
                                      "--timeout", "2", "--table", "tdt", "rtp://" + place});
    EXPECT_EQ(shown.status, 1) << shown.err;
    const json network = json::parse(shown.out)["totals"]["network"];
    EXPECT_GT(network["rtp_packets"], 0);
    EXPECT_GT(network["rtp_lost"], 0);
    EXPECT_EQ(network["malformed"], 0);

    const outcome text = si_inspect({"--timeout", "2", "--table", "tdt", "udp://" + place});
    EXPECT_THAT(text.err, HasSubstr("lost by RTP"));
}

TEST_F(FromTheNetwork, NothingIsOneLine) {
    const outcome nothing = si_inspect({"--quiet", "--timeout", "1", "udp://" + place});
    EXPECT_EQ(nothing.status, 3);
    EXPECT_EQ(nothing.err, "si_inspect: udp://" + place + ": nothing came within 1 s\n");
}

TEST_F(FromTheNetwork, AnAddressThatIsNoneIsOneLine) {
    const outcome none = si_inspect({"--quiet", "udp://tower:5004"});
    EXPECT_EQ(none.status, 3);
    EXPECT_EQ(none.err, "si_inspect: udp://tower:5004: 'tower' is no IP address\n");
}

}  // namespace
}  // namespace orvix::test
