#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

#include <sys/types.h>

// The frames of an exchange over a stream socket: one request, then one answer.
//   request   4 magic "NTQ" and the version, 1;  4 length;  4 capacity of the caller's receive buffer;  the
//   envelope answer    4 magic "NTA" and the version, 1;  4 length;  the envelope
// Integers are big-endian, lengths in octets without the header.
struct msghdr;

namespace velorin_channel {

constexpr std::size_t kRequestHeaderSize = 12;
constexpr std::size_t kAnswerHeaderSize = 8;

struct RequestHeader {
    std::uint32_t length;
    std::uint32_t capacity;
};

void put_request_header(char* out, const RequestHeader& header);     // kRequestHeaderSize octets
bool get_request_header(const char* octets, RequestHeader& header);  // false: not our magic and version
void put_answer_header(char* out, std::uint32_t length);             // kAnswerHeaderSize octets
bool get_answer_header(const char* octets, std::uint32_t& length);   // false: not our magic and version

void put_uint32(char* out, std::uint32_t value);
std::uint32_t get_uint32(const char* octets);
void put_uint64(char* out, std::uint64_t value);
std::uint64_t get_uint64(const char* octets);

// When an exchange has to be over.
class Deadline {
public:
    //   in      milliseconds: from now; negative: never
    explicit Deadline(std::int64_t milliseconds);

    bool is_never() const { return never_; }
    //   result  milliseconds left for poll: -1 for never, 0 when over, rounded up otherwise
    int left() const;

private:
    bool never_;
    std::chrono::steady_clock::time_point end_;
};

// Waits until a descriptor is ready.
//   in      events: POLLIN or POLLOUT
//   result  false when the deadline came first
bool wait_ready(int descriptor, short events, const Deadline& deadline);

// Receives as recvmsg does, but sleeps only when nothing comes within a moment, during which the processor goes
// to whoever wants it: being woken takes longer than a small exchange.
ssize_t receive_soon(int descriptor, msghdr& message);

// Sends a header and what follows it in one go, the rest in further ones.
//   result  a ChannelCode
std::uint32_t send_frame(int descriptor, const char* header, std::size_t header_size, const void* payload,
                         std::size_t payload_size, const Deadline& deadline);

// Receives one answer frame.
//   out     length: on success
//           unread: the peer closed before it had taken all of the request, so it will never act on it
//   result  a ChannelCode
std::uint32_t receive_answer(int descriptor, void* buffer, std::uint32_t buffer_size, std::uint32_t& length,
                             bool& unread, const Deadline& deadline);

// What a failed socket operation means to the caller; traces what has no code of its own.
//   in      error: of errno
//           what: the operation, for the trace
std::uint32_t code_of_error(int error, const char* what);

}  // namespace velorin_channel
