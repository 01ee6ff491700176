#include "loopback_connection.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace velorin_test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kBufferSize = 256 * 1024;
constexpr int kFarewellMs = 1000;

int milliseconds_until(Clock::time_point deadline)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::max<decltype(left)>(left, 0));
}

Io io_of_errno(int error)
{
    return error == ECONNRESET || error == EPIPE ? Io::kReset : Io::kClosed;
}

}  // namespace

LoopbackConnection::LoopbackConnection(int socket, int stop_event)
    : socket_(socket), stop_event_(stop_event), buffer_(new char[kBufferSize])
{
    const int on = 1;
    setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

LoopbackConnection::~LoopbackConnection()
{
    close();
}

std::string_view LoopbackConnection::buffered() const
{
    return {buffer_.get() + begin_, end_ - begin_};
}

void LoopbackConnection::consume(std::size_t octets)
{
    begin_ += std::min(octets, end_ - begin_);
    if (begin_ == end_) begin_ = end_ = 0;
}

Io LoopbackConnection::wait(short events, int timeout_ms)
{
    const auto deadline = Clock::now() + std::chrono::milliseconds(std::max(timeout_ms, 0));
    for (;;) {
        pollfd watched[2] = {{socket_, events, 0}, {stop_event_, POLLIN, 0}};
        const int ready = poll(watched, 2, timeout_ms < 0 ? -1 : milliseconds_until(deadline));
        if (ready < 0 && errno == EINTR) continue;
        if (watched[1].revents != 0) return Io::kStopped;
        if (ready <= 0) return Io::kTimeout;
        return Io::kOk;
    }
}

Io LoopbackConnection::peer_state() const
{
    int error = 0;
    socklen_t size = sizeof error;
    getsockopt(socket_, SOL_SOCKET, SO_ERROR, &error, &size);
    return error != 0 ? io_of_errno(error) : Io::kClosed;
}

// What a TLS call that did not succeed wants: kOk says "call again".
Io LoopbackConnection::tls_result(int result, int timeout_ms)
{
    const int error_number = errno;
    const int error = SSL_get_error(tls_, result);
    if (error == SSL_ERROR_WANT_READ) return wait(POLLIN, timeout_ms);
    if (error == SSL_ERROR_WANT_WRITE) return wait(POLLOUT, timeout_ms);
    if (error == SSL_ERROR_SYSCALL && error_number != 0) return io_of_errno(error_number);
    return Io::kClosed;
}

Io LoopbackConnection::receive(char* room, std::size_t size, std::size_t& received, int timeout_ms)
{
    for (;;) {
        if (tls_ != nullptr) {
            ERR_clear_error();
            errno = 0;
            const int result = SSL_read_ex(tls_, room, size, &received);
            if (result == 1) return Io::kOk;
            const Io next = tls_result(result, timeout_ms);
            if (next != Io::kOk) return next;
            continue;
        }
        const ssize_t result = recv(socket_, room, size, 0);
        if (result > 0) {
            received = static_cast<std::size_t>(result);
            return Io::kOk;
        }
        if (result == 0) return Io::kClosed;
        if (errno == EINTR) continue;
        if (errno != EAGAIN && errno != EWOULDBLOCK) return io_of_errno(errno);
        const Io next = wait(POLLIN, timeout_ms);
        if (next != Io::kOk) return next;
    }
}

Io LoopbackConnection::fill(int timeout_ms)
{
    if (socket_ < 0) return Io::kClosed;
    if (end_ == kBufferSize && begin_ > 0) {
        std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    if (end_ == kBufferSize) return Io::kTooLong;
    std::size_t received = 0;
    const Io result = receive(buffer_.get() + end_, kBufferSize - end_, received, timeout_ms);
    end_ += received;
    return result;
}

Io LoopbackConnection::read_line(std::string& line, bool& with_cr)
{
    std::size_t searched = 0;
    for (;;) {
        const std::string_view octets = buffered();
        const std::size_t line_end = octets.find('\n', searched);
        if (line_end != std::string_view::npos) {
            with_cr = line_end > 0 && octets[line_end - 1] == '\r';
            line.assign(octets.substr(0, line_end - (with_cr ? 1 : 0)));
            consume(line_end + 1);
            return Io::kOk;
        }
        searched = octets.size();
        const Io result = fill();
        if (result != Io::kOk) return result;
    }
}

Io LoopbackConnection::write(std::string_view octets)
{
    while (!octets.empty()) {
        if (socket_ < 0) return Io::kClosed;
        if (tls_ != nullptr) {
            ERR_clear_error();
            errno = 0;
            std::size_t written = 0;
            const int result = SSL_write_ex(tls_, octets.data(), octets.size(), &written);
            if (result == 1) {
                octets.remove_prefix(written);
                continue;
            }
            const Io next = tls_result(result, -1);
            if (next != Io::kOk) return next;
            continue;
        }
        const ssize_t result = send(socket_, octets.data(), octets.size(), MSG_NOSIGNAL);
        if (result > 0) {
            octets.remove_prefix(static_cast<std::size_t>(result));
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            const Io next = wait(POLLOUT, -1);
            if (next != Io::kOk) return next;
        } else if (errno != EINTR) {
            return io_of_errno(errno);
        }
    }
    return Io::kOk;
}

Io LoopbackConnection::write_slowly(std::string_view octets, int interval_ms)
{
    for (std::size_t at = 0; at < octets.size(); ++at) {
        if (at > 0 && interval_ms > 0) {
            const Io waited = pause(interval_ms);
            if (waited != Io::kOk) return waited;
        }
        const Io result = write(octets.substr(at, 1));
        if (result != Io::kOk) return result;
    }
    return Io::kOk;
}

Io LoopbackConnection::pause(int milliseconds)
{
    const Io waited = wait(POLLRDHUP, milliseconds);
    if (waited == Io::kTimeout) return Io::kOk;
    return waited == Io::kOk ? peer_state() : waited;
}

Io LoopbackConnection::wait_for_peer(bool read_on)
{
    if (!read_on) {
        const Io waited = wait(POLLRDHUP, -1);
        return waited == Io::kOk ? peer_state() : waited;
    }
    for (;;) {
        begin_ = end_ = 0;
        const Io result = fill();
        if (result != Io::kOk) return result;
    }
}

Io LoopbackConnection::start_tls(ssl_ctx_st* context)
{
    begin_ = end_ = 0;
    tls_ = SSL_new(context);
    if (tls_ == nullptr || SSL_set_fd(tls_, socket_) != 1) return Io::kFailed;
    SSL_set_mode(tls_, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    for (;;) {
        ERR_clear_error();
        errno = 0;
        const int result = SSL_accept(tls_);
        if (result == 1) return Io::kOk;
        const Io next = tls_result(result, -1);
        if (next == Io::kStopped || next == Io::kReset) return next;
        if (next != Io::kOk) return Io::kFailed;
    }
}

std::string LoopbackConnection::tls_version() const
{
    return tls_ != nullptr ? SSL_get_version(tls_) : "";
}

void LoopbackConnection::finish()
{
    if (socket_ < 0) return;
    if (tls_ != nullptr && SSL_is_init_finished(tls_) == 1) {
        ERR_clear_error();
        SSL_shutdown(tls_);
    }
    shutdown(socket_, SHUT_WR);
    const auto deadline = Clock::now() + std::chrono::milliseconds(kFarewellMs);
    for (;;) {
        const ssize_t result = recv(socket_, buffer_.get(), kBufferSize, 0);
        if (result > 0) continue;
        if (result == 0 || (errno != EAGAIN && errno != EINTR)) break;
        if (wait(POLLIN, milliseconds_until(deadline)) != Io::kOk) break;
    }
    close();
}

void LoopbackConnection::close()
{
    if (tls_ != nullptr) SSL_free(tls_);
    tls_ = nullptr;
    if (socket_ >= 0) ::close(socket_);
    socket_ = -1;
    begin_ = end_ = 0;
}

void LoopbackConnection::reset()
{
    if (socket_ >= 0) {
        const linger at_once = {1, 0};
        setsockopt(socket_, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    }
    close();
}

}  // namespace velorin_test
