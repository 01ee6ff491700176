// Unix sockets as the channel uses them, and its frames octet by octet.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace velorin_test {

constexpr std::size_t kRequestHead = 12;  // magic and version, length, capacity
constexpr std::size_t kAnswerHead = 8;    // magic and version, length

// A descriptor that is closed with its owner.
class OwnedDescriptor {
public:
    explicit OwnedDescriptor(int descriptor = -1) : descriptor_(descriptor) {}
    ~OwnedDescriptor() { reset(); }
    OwnedDescriptor(OwnedDescriptor&& other) noexcept : descriptor_(other.release()) {}
    OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept;
    OwnedDescriptor(const OwnedDescriptor&) = delete;
    OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;

    int get() const { return descriptor_; }
    int release();
    void reset();

private:
    int descriptor_;
};

//   result  -1 when that fails
int listen_at(const std::string& path);
int connect_to(const std::string& path);

bool send_all(int socket, const std::string& octets);  // false: the peer has gone
// Exactly that many octets; false: the peer closed before.
bool receive_all(int socket, std::size_t count, std::string& octets);
// The same, and they stay where they are.
bool peek_all(int socket, std::size_t count, std::string& octets);
// Whether the peer has read all that was sent to it within that time.
bool wait_until_read(int socket, int timeout_ms);

std::uint32_t big_endian(const std::string& octets, std::size_t at);
std::string request_frame(const std::string& envelope, std::uint32_t capacity);
// The length that a request's head announces.
std::size_t request_length(const std::string& head);
std::size_t answer_length(const std::string& head);

}  // namespace velorin_test
