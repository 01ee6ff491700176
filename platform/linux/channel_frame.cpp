#include "channel_frame.h"

#include <errno.h>
#include <poll.h>
#include <sched.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <cstring>
#include <limits>

#include "channel_codes.h"
#include "channel_trace.h"

namespace velorin_channel {
namespace {

constexpr char kRequestMagic[4] = {'N', 'T', 'Q', 1};
constexpr char kAnswerMagic[4] = {'N', 'T', 'A', 1};
constexpr std::chrono::microseconds kMoment(100);

// Steps over octets that have been transferred.
void advance(iovec* parts, std::size_t count, std::size_t octets)
{
    for (std::size_t index = 0; index < count && octets > 0; ++index) {
        const std::size_t step = octets < parts[index].iov_len ? octets : parts[index].iov_len;
        parts[index].iov_base = static_cast<char*>(parts[index].iov_base) + step;
        parts[index].iov_len -= step;
        octets -= step;
    }
}

}  // namespace

void put_uint32(char* out, std::uint32_t value)
{
    for (int index = 0; index < 4; ++index) {
        out[index] = static_cast<char>(static_cast<unsigned char>(value >> (24 - 8 * index)));
    }
}

std::uint32_t get_uint32(const char* octets)
{
    std::uint32_t value = 0;
    for (int index = 0; index < 4; ++index)
        value = value << 8 | static_cast<unsigned char>(octets[index]);
    return value;
}

void put_uint64(char* out, std::uint64_t value)
{
    put_uint32(out, static_cast<std::uint32_t>(value >> 32));
    put_uint32(out + 4, static_cast<std::uint32_t>(value & 0xFFFFFFFFu));
}

std::uint64_t get_uint64(const char* octets)
{
    return static_cast<std::uint64_t>(get_uint32(octets)) << 32 | get_uint32(octets + 4);
}

void put_request_header(char* out, const RequestHeader& header)
{
    std::memcpy(out, kRequestMagic, sizeof kRequestMagic);
    put_uint32(out + 4, header.length);
    put_uint32(out + 8, header.capacity);
}

bool get_request_header(const char* octets, RequestHeader& header)
{
    if (std::memcmp(octets, kRequestMagic, sizeof kRequestMagic) != 0) return false;
    header.length = get_uint32(octets + 4);
    header.capacity = get_uint32(octets + 8);
    return true;
}

void put_answer_header(char* out, std::uint32_t length)
{
    std::memcpy(out, kAnswerMagic, sizeof kAnswerMagic);
    put_uint32(out + 4, length);
}

bool get_answer_header(const char* octets, std::uint32_t& length)
{
    if (std::memcmp(octets, kAnswerMagic, sizeof kAnswerMagic) != 0) return false;
    length = get_uint32(octets + 4);
    return true;
}

Deadline::Deadline(std::int64_t milliseconds) : never_(milliseconds < 0), end_()
{
    if (!never_) end_ = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
}

int Deadline::left() const
{
    if (never_) return -1;
    const auto now = std::chrono::steady_clock::now();
    if (now >= end_) return 0;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - now).count();
    const auto limit = static_cast<long long>(std::numeric_limits<int>::max());
    return static_cast<int>(left < limit ? left : limit);
}

bool wait_ready(int descriptor, short events, const Deadline& deadline)
{
    for (;;) {
        const int left = deadline.left();
        pollfd waited{descriptor, events, 0};
        const int ready = poll(&waited, 1, left);
        if (ready > 0) return true;
        if (ready == 0 && (left == 0 || deadline.left() == 0)) return false;
        if (ready < 0 && errno != EINTR && errno != EAGAIN) return true;  // the transfer reports what it is
        if (ready < 0 && deadline.left() == 0) return false;
    }
}

ssize_t receive_soon(int descriptor, msghdr& message)
{
    const auto end = std::chrono::steady_clock::now() + kMoment;
    do {
        const ssize_t taken = recvmsg(descriptor, &message, MSG_DONTWAIT);
        if (taken >= 0 || (errno != EAGAIN && errno != EWOULDBLOCK)) return taken;
        sched_yield();
    } while (std::chrono::steady_clock::now() < end);
    return recvmsg(descriptor, &message, 0);
}

std::uint32_t send_frame(int descriptor, const char* header, std::size_t header_size, const void* payload,
                         std::size_t payload_size, const Deadline& deadline)
{
    iovec parts[2];
    parts[0].iov_base = const_cast<char*>(header);
    parts[0].iov_len = header_size;
    parts[1].iov_base = const_cast<void*>(payload);
    parts[1].iov_len = payload_size;
    std::size_t left = header_size + payload_size;
    const int flags = MSG_NOSIGNAL | (deadline.is_never() ? 0 : MSG_DONTWAIT);
    while (left > 0) {
        msghdr message{};
        const bool header_left = parts[0].iov_len > 0;
        message.msg_iov = header_left ? parts : parts + 1;
        message.msg_iovlen = header_left ? 2 : 1;
        const ssize_t sent = sendmsg(descriptor, &message, flags);
        if (sent < 0) {
            if (errno == EINTR) continue;
            if (errno != EAGAIN && errno != EWOULDBLOCK) return code_of_error(errno, "send");
            if (!wait_ready(descriptor, POLLOUT, deadline)) return kTimeout;
            continue;
        }
        left -= static_cast<std::size_t>(sent);
        advance(parts, 2, static_cast<std::size_t>(sent));
    }
    return kChannelDone;
}

std::uint32_t receive_answer(int descriptor, void* buffer, std::uint32_t buffer_size, std::uint32_t& length,
                             bool& unread, const Deadline& deadline)
{
    unread = false;
    char header[kAnswerHeaderSize];
    iovec parts[2];
    parts[0].iov_base = header;
    parts[0].iov_len = sizeof header;
    parts[1].iov_base = buffer;
    parts[1].iov_len = buffer_size;
    std::size_t received = 0;
    std::size_t expected = sizeof header;
    std::uint32_t announced = 0;
    bool header_known = false;
    while (received < expected) {
        // With a deadline the wait comes first: a blocking receive knows none.
        if (!deadline.is_never() && !wait_ready(descriptor, POLLIN, deadline)) return kTimeout;
        msghdr message{};
        const bool header_left = parts[0].iov_len > 0;
        message.msg_iov = header_left ? parts : parts + 1;
        message.msg_iovlen = header_left && parts[1].iov_len > 0 ? 2 : 1;
        const ssize_t taken = deadline.is_never() ? receive_soon(descriptor, message)
                                                  : recvmsg(descriptor, &message, MSG_DONTWAIT);
        if (taken < 0) {
            if (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK) continue;
            // unix(7): a socket that is closed with octets unread in it resets its peer.
            unread = errno == ECONNRESET && received == 0;
            return code_of_error(errno, "receive");
        }
        if (taken == 0) return kPeerGone;
        received += static_cast<std::size_t>(taken);
        advance(parts, 2, static_cast<std::size_t>(taken));
        if (!header_known && received >= sizeof header) {
            if (!get_answer_header(header, announced)) return kBadFrame;
            if (announced > buffer_size) return kAnswerTooLong;
            expected += announced;
            header_known = true;
        }
    }
    if (received > expected) return kBadFrame;  // more than one answer
    length = announced;
    return kChannelDone;
}

std::uint32_t code_of_error(int error, const char* what)
{
    switch (error) {
    case ENOENT:
    case ENOTDIR:
        return kNoSuchEndpoint;
    case ECONNREFUSED:
    case EPROTOTYPE:
        return kRefused;
    case EACCES:
    case EPERM:
        return kNoPermission;
    case EPIPE:
    case ECONNRESET:
    case ENOTCONN:
        return kPeerGone;
    case ENOMEM:
    case ENOBUFS:
    case EMFILE:
    case ENFILE:
        return kNoMemory;
    default:
        CHANNEL_TRACE("channel: %s: %s\n", what, strerrordesc_np(error));
        return kSystemError;
    }
}

}  // namespace velorin_channel
