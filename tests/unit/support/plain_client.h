// The other end for the loopback servers' own tests: a blocking client that writes and reads octets.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct ssl_st;
struct ssl_ctx_st;

namespace velorin_test {

class PlainClient {
public:
    explicit PlainClient(std::uint16_t port);  // connected() tells whether that worked
    ~PlainClient();
    PlainClient(const PlainClient&) = delete;
    PlainClient& operator=(const PlainClient&) = delete;

    bool connected() const { return socket_ >= 0; }
    bool write(std::string_view octets);

    // One line without its CR LF; "(end)" when the peer closed, "(reset)" when it reset, "(timeout)" after 10
    // s.
    std::string line();
    // A whole SMTP reply: its lines joined by "|".
    std::string reply();
    // The reply to this command line.
    std::string say(std::string_view command);
    // Everything up to the end.
    std::string rest();
    // Whether something arrives within that time.
    bool readable(int timeout_ms);

    // TLS handshake; trusts `ca_pem` and checks that the certificate is for "localhost".
    //   result  "" or why not
    std::string start_tls(const std::string& ca_pem, int max_version = 0);
    std::string tls_version() const;

    void close();
    void reset();

private:
    int read_some();

    int socket_ = -1;
    ssl_st* tls_ = nullptr;
    ssl_ctx_st* context_ = nullptr;
    std::string buffer_;
    std::string end_;
};

}  // namespace velorin_test
