#include "local_socket.h"

#include <cerrno>
#include <chrono>
#include <utility>

#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace velorin_test {
namespace {

constexpr int kBacklog = 64;

sockaddr_un address_of(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

std::string four_octets(std::uint32_t value)
{
    std::string out;
    for (int shift = 24; shift >= 0; shift -= 8)
        out += static_cast<char>(static_cast<unsigned char>(value >> shift));
    return out;
}

}  // namespace

OwnedDescriptor& OwnedDescriptor::operator=(OwnedDescriptor&& other) noexcept
{
    std::swap(descriptor_, other.descriptor_);
    return *this;
}

int OwnedDescriptor::release()
{
    return std::exchange(descriptor_, -1);
}

void OwnedDescriptor::reset()
{
    if (descriptor_ >= 0) ::close(release());
}

int listen_at(const std::string& path)
{
    OwnedDescriptor listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = address_of(path);
    ::unlink(path.c_str());
    const bool listens =
        ::bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        ::listen(listener.get(), kBacklog) == 0;
    return listens ? listener.release() : -1;
}

int connect_to(const std::string& path)
{
    OwnedDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = address_of(path);
    const bool connected =
        ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    return connected ? socket.release() : -1;
}

bool send_all(int socket, const std::string& octets)
{
    std::size_t sent = 0;
    while (sent < octets.size()) {
        const ssize_t taken = ::send(socket, octets.data() + sent, octets.size() - sent, MSG_NOSIGNAL);
        if (taken < 0 && errno == EINTR) continue;
        if (taken <= 0) return false;
        sent += static_cast<std::size_t>(taken);
    }
    return true;
}

bool receive_all(int socket, std::size_t count, std::string& octets)
{
    octets.assign(count, '\0');
    std::size_t received = 0;
    while (received < count) {
        const ssize_t taken = ::recv(socket, octets.data() + received, count - received, 0);
        if (taken < 0 && errno == EINTR) continue;
        if (taken <= 0) return false;
        received += static_cast<std::size_t>(taken);
    }
    return true;
}

bool peek_all(int socket, std::size_t count, std::string& octets)
{
    octets.assign(count, '\0');
    for (;;) {
        const ssize_t there = ::recv(socket, octets.data(), count, MSG_PEEK);
        if (there == static_cast<ssize_t>(count)) return true;
        if (there == 0 || (there < 0 && errno != EINTR)) return false;
        ::poll(nullptr, 0, 1);  // octets that are there already make poll return at once
    }
}

bool wait_until_read(int socket, int timeout_ms)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    for (;;) {
        int unread = 0;
        if (::ioctl(socket, SIOCOUTQ, &unread) != 0) return false;
        if (unread == 0) return true;
        if (std::chrono::steady_clock::now() >= end) return false;
        ::poll(nullptr, 0, 1);
    }
}

std::uint32_t big_endian(const std::string& octets, std::size_t at)
{
    std::uint32_t value = 0;
    for (std::size_t index = at; index < at + 4; ++index)
        value = value << 8 | static_cast<unsigned char>(octets.at(index));
    return value;
}

std::string request_frame(const std::string& envelope, std::uint32_t capacity)
{
    return std::string("NTQ\1", 4) + four_octets(static_cast<std::uint32_t>(envelope.size())) +
           four_octets(capacity) + envelope;
}

std::size_t request_length(const std::string& head)
{
    return big_endian(head, 4);
}

std::size_t answer_length(const std::string& head)
{
    return big_endian(head, 4);
}

}  // namespace velorin_test
