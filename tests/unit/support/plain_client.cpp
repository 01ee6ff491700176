#include "plain_client.h"

#include <cerrno>
#include <csignal>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace velorin_test {
namespace {

constexpr int kTimeoutSeconds = 10;

// TLS writes to a connection that has gone are errors here, not signals.
void block_sigpipe()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

}  // namespace

PlainClient::PlainClient(std::uint16_t port)
{
    block_sigpipe();
    socket_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval limit = {kTimeoutSeconds, 0};
    setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    const int on = 1;
    setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) close();
}

PlainClient::~PlainClient()
{
    close();
    SSL_CTX_free(context_);
}

bool PlainClient::write(std::string_view octets)
{
    while (!octets.empty()) {
        std::size_t written = 0;
        if (tls_ != nullptr) {
            if (SSL_write_ex(tls_, octets.data(), octets.size(), &written) != 1) return false;
        } else {
            const ssize_t result = send(socket_, octets.data(), octets.size(), MSG_NOSIGNAL);
            if (result < 0) return false;
            written = static_cast<std::size_t>(result);
        }
        octets.remove_prefix(written);
    }
    return true;
}

// 1: octets came; 0: none will, and end_ says why.
int PlainClient::read_some()
{
    char room[16384];
    std::size_t received = 0;
    errno = 0;
    if (tls_ != nullptr) {
        ERR_clear_error();
        if (SSL_read_ex(tls_, room, sizeof room, &received) != 1) received = 0;
    } else {
        const ssize_t result = recv(socket_, room, sizeof room, 0);
        received = result > 0 ? static_cast<std::size_t>(result) : 0;
    }
    buffer_.append(room, received);
    if (received > 0) return 1;
    end_ = errno == ECONNRESET ? "(reset)" : errno == EAGAIN ? "(timeout)" : "(end)";
    return 0;
}

std::string PlainClient::line()
{
    std::size_t line_end = 0;
    while ((line_end = buffer_.find('\n')) == std::string::npos)
        if (read_some() == 0) return end_;
    std::string text = buffer_.substr(0, line_end);
    buffer_.erase(0, line_end + 1);
    if (!text.empty() && text.back() == '\r') text.pop_back();
    return text;
}

std::string PlainClient::reply()
{
    std::string text = line();
    for (std::string last = text; last.size() > 3 && last[0] != '(' && last[3] == '-';) {
        last = line();
        text += "|" + last;
    }
    return text;
}

std::string PlainClient::say(std::string_view command)
{
    if (!write(std::string(command) + "\r\n")) return "(not written)";
    return reply();
}

std::string PlainClient::rest()
{
    while (read_some() != 0) {
    }
    return std::move(buffer_) + end_;
}

bool PlainClient::readable(int timeout_ms)
{
    pollfd watched = {socket_, POLLIN, 0};
    return !buffer_.empty() || poll(&watched, 1, timeout_ms) > 0;
}

std::string PlainClient::start_tls(const std::string& ca_pem, int max_version)
{
    context_ = SSL_CTX_new(TLS_client_method());
    BIO* const memory = BIO_new_mem_buf(ca_pem.data(), static_cast<int>(ca_pem.size()));
    X509* const authority = PEM_read_bio_X509(memory, nullptr, nullptr, nullptr);
    X509_STORE_add_cert(SSL_CTX_get_cert_store(context_), authority);
    X509_free(authority);
    BIO_free(memory);
    SSL_CTX_set_verify(context_, SSL_VERIFY_PEER, nullptr);
    SSL_CTX_set_cipher_list(context_, "DEFAULT@SECLEVEL=0");
    SSL_CTX_set_min_proto_version(context_, TLS1_VERSION);
    SSL_CTX_set_max_proto_version(context_, max_version);
    tls_ = SSL_new(context_);
    SSL_set1_host(tls_, "localhost");
    SSL_set_fd(tls_, socket_);
    if (SSL_connect(tls_) == 1) return "";
    const long verdict = SSL_get_verify_result(tls_);
    return verdict != X509_V_OK ? X509_verify_cert_error_string(verdict) : "handshake failed";
}

std::string PlainClient::tls_version() const
{
    return tls_ != nullptr ? SSL_get_version(tls_) : "";
}

void PlainClient::close()
{
    if (tls_ != nullptr) SSL_free(tls_);
    tls_ = nullptr;
    if (socket_ >= 0) ::close(socket_);
    socket_ = -1;
}

void PlainClient::reset()
{
    const linger at_once = {1, 0};
    setsockopt(socket_, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    close();
}

}  // namespace velorin_test
