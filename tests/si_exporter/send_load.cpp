// send_load FILE ADDRESS PORT COUNT MBIT_PER_SECOND SECONDS: plays the file to COUNT ports from
// PORT on, seven packets in a datagram, each port at that rate, and prints how many datagrams it
// sent to each. Only to addresses of this machine.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace {

constexpr std::size_t datagram_bytes = 7 * 188;
constexpr std::size_t most_at_once = 32;
constexpr auto slice = std::chrono::milliseconds(5);

/// The next `count` datagrams of the stream from number `first` on.
void send(int descriptor, const std::vector<char>& stream, std::uint64_t first, std::size_t count,
          const sockaddr_in& to) {
    std::array<iovec, most_at_once> bytes = {};
    std::array<mmsghdr, most_at_once> messages = {};
    sockaddr_in place = to;
    const std::size_t datagrams = stream.size() / datagram_bytes;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t at = (first + i) % datagrams * datagram_bytes;
        bytes.at(i) = {const_cast<char*>(stream.data()) + at, datagram_bytes};
        msghdr& header = messages.at(i).msg_hdr;
        header.msg_name = &place;
        header.msg_namelen = sizeof(place);
        header.msg_iov = &bytes.at(i);
        header.msg_iovlen = 1;
    }
    const int sent = sendmmsg(descriptor, messages.data(), static_cast<unsigned int>(count), 0);
    if (sent != static_cast<int>(count)) throw std::system_error(errno, std::generic_category());
}

}  // namespace

int main(int argc, char** argv) {
    sockaddr_in to = {};
    to.sin_family = AF_INET;
    const bool is_ours = argc == 7 && std::string(argv[2]).compare(0, 4, "127.") == 0 &&
                         inet_pton(AF_INET, argv[2], &to.sin_addr) == 1;
    if (!is_ours) {
        std::cerr << "send_load FILE 127.X.X.X PORT COUNT MBIT_PER_SECOND SECONDS\n";
        return 2;
    }
    std::ifstream file(argv[1], std::ios::binary);
    const std::vector<char> stream{std::istreambuf_iterator<char>(file), {}};
    if (stream.size() < datagram_bytes) return 1;
    const int first_port = std::atoi(argv[3]);
    const int ports = std::atoi(argv[4]);
    const double datagrams_per_second = std::atof(argv[5]) * 1e6 / (8 * datagram_bytes);
    const double seconds = std::atof(argv[6]);

    const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
    const auto start = std::chrono::steady_clock::now();
    std::uint64_t sent = 0;
    for (double now = 0; now < seconds;) {
        now = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        const auto due = static_cast<std::uint64_t>(std::min(now, seconds) * datagrams_per_second);
        while (sent < due) {
            const std::size_t count = std::min<std::uint64_t>(due - sent, most_at_once);
            for (int i = 0; i < ports; ++i) {
                to.sin_port = htons(static_cast<std::uint16_t>(first_port + i));
                send(descriptor, stream, sent, count, to);
            }
            sent += count;
        }
        std::this_thread::sleep_for(slice);
    }
    close(descriptor);
    std::cout << sent << '\n';
    return 0;
}
