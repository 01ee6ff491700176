#include "loopback_listener.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace velorin_test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kBacklog = 512;
constexpr int kRetryMs = 10;  // until descriptors are free again

[[noreturn]] void fail(const char* what)
{
    throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
}

int bound_socket(std::uint16_t port)
{
    const int created = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (created < 0) fail("loopback server: no socket");
    const int on = 1;
    if (port != 0) setsockopt(created, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    if (bind(created, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int error = errno;
        close(created);
        errno = error;
        fail("loopback server: cannot take the port");
    }
    return created;
}

std::uint16_t port_of(int bound)
{
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    if (getsockname(bound, reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
    return ntohs(address.sin_port);
}

// Threads started in its scope take no signals: those belong to the program, and SIGPIPE of a TLS write is no
// event.
class SignalsBlocked {
public:
    SignalsBlocked()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before_;
};

}  // namespace

LoopbackListener::LoopbackListener(std::uint16_t port, int lifetime_ms, Serve serve)
    : serve_(std::move(serve))
{
    socket_ = bound_socket(port);
    stop_event_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (stop_event_ < 0 || listen(socket_, kBacklog) != 0) {
        const int error = errno;
        close(socket_);
        if (stop_event_ >= 0) close(stop_event_);
        errno = error;
        fail("loopback server: cannot listen");
    }
    port_ = port_of(socket_);
    const SignalsBlocked blocked;
    acceptor_ = std::thread(&LoopbackListener::accept_connections, this, lifetime_ms);
}

LoopbackListener::~LoopbackListener()
{
    stop();
    close(stop_event_);
}

void LoopbackListener::stop()
{
    eventfd_write(stop_event_, 1);
    if (acceptor_.joinable()) acceptor_.join();
}

void LoopbackListener::reap(bool all)
{
    servers_.remove_if([all](Server& server) {
        if (!all && !server.done) return false;
        if (server.thread.joinable()) server.thread.join();
        return true;
    });
}

void LoopbackListener::accept_connections(int lifetime_ms)
{
    const auto deadline = Clock::now() + std::chrono::milliseconds(lifetime_ms);
    for (;;) {
        pollfd watched[2] = {{socket_, POLLIN, 0}, {stop_event_, POLLIN, 0}};
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        const int ready = left > 0 ? poll(watched, 2, static_cast<int>(left)) : 0;
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0 || watched[1].revents != 0) break;
        const int accepted = accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (accepted < 0) {
            if (errno == EMFILE || errno == ENFILE) poll(&watched[1], 1, kRetryMs);
            continue;
        }
        reap(false);
        Server& server = servers_.emplace_back();
        try {
            server.thread = std::thread([this, accepted, &server] {
                LoopbackConnection connection(accepted, stop_event_);
                serve_(connection);
                server.done = true;
            });
        } catch (const std::system_error&) {  // no thread to be had: this one is turned away
            close(accepted);
            servers_.pop_back();
        }
    }
    close(socket_);
    eventfd_write(stop_event_, 1);
    reap(true);
}

RefusedPort::RefusedPort() : socket_(bound_socket(0)), port_(port_of(socket_)) {}

RefusedPort::~RefusedPort()
{
    close(socket_);
}

}  // namespace velorin_test
