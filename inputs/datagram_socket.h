#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "network_address.h"

namespace orvix::inputs {

/// A socket that datagrams come to.
class datagram_socket {
public:
    /// Binds to the address, and joins it where it is a group. Throws source_error.
    explicit datagram_socket(const network_address& address);
    ~datagram_socket();
    datagram_socket(const datagram_socket&) = delete;
    datagram_socket& operator=(const datagram_socket&) = delete;

    int descriptor() const { return descriptor_; }
    /// Hands over the datagrams that are there, in the order in which they came, many at a call of
    /// the system; the bytes are valid during the call. Throws source_error.
    void receive(const std::function<void(const std::uint8_t* bytes, std::size_t size)>& take);

    /// Datagrams that found the socket's buffer full, as far as the system has said by now.
    std::uint64_t overflowed() const { return overflowed_; }
    /// How large it is; the system may grant less than was asked for.
    std::size_t buffer_bytes() const { return buffer_bytes_; }
    // 20 Mbit/s for more than a second, which no pause of the machine should take.
    static constexpr int wanted_buffer_bytes = 4 * 1024 * 1024;

private:
    struct batch;

    void keep_to(const std::string& interface) const;
    void join(const network_address& address, unsigned int interface);
    void ask_for_buffer();
    void set(int level, int option, const void* value, std::size_t size, const char* what) const;

    int descriptor_;
    std::unique_ptr<batch> batch_;
    std::size_t buffer_bytes_ = 0;
    std::uint32_t told_overflows_ = 0;  ///< as the system counts them, in 32 bits
    std::uint64_t overflowed_ = 0;
};

}  // namespace orvix::inputs
