#include "http_server.h"

#include <civetweb.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <exception>
#include <string_view>
#include <utility>
#include <vector>

namespace orvix::si_exporter {

namespace {

// One scraper or two, and some that are slow.
constexpr const char* threads = "8";
// For a request, and for each piece of an answer.
constexpr const char* longest_step_ms = "5000";
// For all pieces of an answer but the last: so long does Prometheus wait, unless told otherwise.
constexpr auto longest_answer = std::chrono::seconds(10);
// No more than a socket that takes anything takes at once.
constexpr std::size_t piece_bytes = 4096;
// What a scraper sends has a few hundred bytes.
constexpr const char* most_request_bytes = "8192";

constexpr const char* text_page = "text/plain; charset=utf-8";
// What Prometheus asks for.
constexpr const char* metrics_page = "text/plain; version=0.0.4; charset=utf-8";
constexpr std::string_view index_page =
    "<!DOCTYPE html>\n<html lang=\"en\"><head><title>si_exporter</title></head><body>\n"
    "<h1>si_exporter</h1>\n<p><a href=\"/metrics\">metrics</a></p>\n"
    "<p><a href=\"/health\">health</a></p>\n</body></html>\n";

struct answer {
    int status = 200;
    const char* phrase = "OK";
    const char* type = text_page;
    std::shared_ptr<const std::string> body;
};

std::shared_ptr<const std::string> words(std::string_view text) {
    return std::make_shared<const std::string>(text);
}

answer answer_to(const mg_request_info& asked, const http_server::pages& answers) {
    const std::string_view method = asked.request_method;
    const std::string_view path = asked.local_uri;
    if (method != "GET" && method != "HEAD") {
        return {405, "Method Not Allowed", text_page, words("only GET and HEAD\n")};
    }
    if (path == "/metrics") return {200, "OK", metrics_page, answers.metrics()};
    if (path == "/health") {
        if (answers.is_healthy()) return {200, "OK", text_page, words("ok\n")};
        return {503, "Service Unavailable", text_page, words("an input is stuck\n")};
    }
    if (path == "/") return {200, "OK", "text/html; charset=utf-8", words(index_page)};
    return {404, "Not Found", text_page, words("there are /metrics and /health\n")};
}

/// What is not read in time is not sent: who waits for it sees by its length that it is missing.
void write(mg_connection* to, std::string_view body) {
    const auto end = std::chrono::steady_clock::now() + longest_answer;
    while (!body.empty() && std::chrono::steady_clock::now() < end) {
        const std::string_view piece = body.substr(0, piece_bytes);
        const bool is_sent =
            mg_write(to, piece.data(), piece.size()) == static_cast<int>(piece.size());
        if (!is_sent) return;
        body.remove_prefix(piece.size());
    }
}

/// Returns the status that was sent.
int handle(mg_connection* connection) {
    const auto* const asked = mg_get_request_info(connection);
    const auto& answers = *static_cast<const http_server::pages*>(asked->user_data);
    // Else the server would wait for a body, which no request has a use for.
    mg_disable_connection_keep_alive(connection);
    answer a;
    std::string_view body;
    try {
        a = answer_to(*asked, answers);
        body = *a.body;
    } catch (const std::exception&) {
        a = {500, "Internal Server Error", text_page, nullptr};
        body = "out of memory\n";
    }
    mg_printf(connection,
              "HTTP/1.1 %d %s\r\nContent-Type: %s\r\nContent-Length: %zu\r\n%s"
              "Connection: close\r\n\r\n",
              a.status, a.phrase, a.type, body.size(),
              a.status == 405 ? "Allow: GET, HEAD\r\n" : "");
    const bool is_head = std::string_view(asked->request_method) == "HEAD";
    if (!is_head) write(connection, body);
    return a.status;
}

int be_silent(const mg_connection* /*connection*/, const char* /*message*/) { return 1; }

/// As the server wants it; empty where it is no address.
std::string port_option(const std::string& address) {
    const std::size_t colon = address.rfind(':');
    if (colon == std::string::npos) return {};
    const std::string port = address.substr(colon + 1);
    constexpr std::size_t most_digits = 5;
    constexpr unsigned long last_port = 0xFFFF;
    const bool is_port = !port.empty() && port.size() <= most_digits &&
                         port.find_first_not_of("0123456789") == std::string::npos &&
                         std::stoul(port) <= last_port;
    if (!is_port) return {};
    // More than one address would come behind a comma, and a letter behind the port has a meaning.
    const bool is_one = address.find_first_not_of("0123456789.") == colon;
    if (!is_one) return {};
    return colon == 0 ? port : address;
}

}  // namespace

struct http_server::server {
    pages answers;
    mg_context* context = nullptr;
};

http_server::http_server(const std::string& address, pages answers)
    : server_(std::make_unique<server>()) {
    server_->answers = std::move(answers);
    if (address.find('[') != std::string::npos) {
        throw http_error("'" + address + "': only IPv4, because libcivetweb is built without IPv6");
    }
    const std::string port = port_option(address);
    if (port.empty()) {
        throw http_error("'" + address + "' is not like 127.0.0.1:9879 or :9879");
    }
    // Name and value in turn.
    std::vector<const char*> options = {"listening_ports", port.c_str()};
    options.insert(options.end(), {"num_threads", threads});
    options.insert(options.end(), {"request_timeout_ms", longest_step_ms});
    options.insert(options.end(), {"max_request_size", most_request_bytes});
    options.push_back(nullptr);
    mg_callbacks callbacks = {};
    callbacks.begin_request = handle;
    callbacks.log_message = be_silent;
    mg_init_library(0);
    server_->context = mg_start(&callbacks, &server_->answers, options.data());
    if (server_->context == nullptr) {
        mg_exit_library();
        throw http_error("cannot listen to " + address);
    }
}

http_server::~http_server() {
    mg_stop(server_->context);
    mg_exit_library();
}

std::uint16_t http_server::port() const {
    std::array<mg_server_port, 2> ports = {};
    mg_get_server_ports(server_->context, static_cast<int>(ports.size()), ports.data());
    return static_cast<std::uint16_t>(ports[0].port);
}

}  // namespace orvix::si_exporter
