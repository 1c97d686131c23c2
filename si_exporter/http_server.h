#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

namespace orvix::si_exporter {

class http_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Answers GET and HEAD of /metrics, /health and /, on threads of its own.
///
/// Whoever is slow to ask or to read, sends too much or nonsense costs one of a few threads for
/// less than a quarter of a minute, and no memory beside.
class http_server {
public:
    struct pages {
        std::function<std::shared_ptr<const std::string>()> metrics;
        std::function<bool()> is_healthy;
    };
    /// `address` is "ADDRESS:PORT" of IPv4; without an ADDRESS, all of this machine's. PORT 0 is a
    /// free one. Throws http_error.
    http_server(const std::string& address, pages answers);
    ~http_server();
    http_server(const http_server&) = delete;
    http_server& operator=(const http_server&) = delete;

    std::uint16_t port() const;

private:
    struct server;
    std::unique_ptr<server> server_;
};

}  // namespace orvix::si_exporter
