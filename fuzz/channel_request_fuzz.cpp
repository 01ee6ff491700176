// The server's end of the channel: request frames of hostile callers, in any slices, over a pair of sockets.
//   input   the longest request in 16 octets, whether the connection is set aside in between, the octets that come at
//           once, the octets
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include <sys/socket.h>
#include <unistd.h>

#include "channel_connection.h"
#include "channel_frame.h"
#include "fuzz_input.h"
#include "fuzz_property.h"

namespace {

using namespace velorin_channel;
using namespace velorin_fuzz;
using Progress = Connection::Progress;

constexpr char kMagic[] = {'N', 'T', 'Q', 1};
constexpr auto kPatience = std::chrono::hours(1);

// The octets of a number, the highest first.
std::uint32_t number_at(std::string_view octets, std::size_t at)
{
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < 4; ++i)
        number = number * 256 + static_cast<unsigned char>(octets[at + i]);
    return number;
}

// What the server is to do with what has come so far.
Progress expected(std::string_view octets, std::uint32_t max_request)
{
    if (octets.size() < kRequestHeaderSize) return Progress::kWait;
    if (std::memcmp(octets.data(), kMagic, sizeof kMagic) != 0) return Progress::kGone;
    const std::uint32_t length = number_at(octets, 4);
    if (length > max_request || octets.size() > kRequestHeaderSize + std::size_t{length})
        return Progress::kGone;
    return octets.size() == kRequestHeaderSize + std::size_t{length} ? Progress::kWhole : Progress::kWait;
}

class Sockets {
public:
    Sockets()
    {
        int ends[2];
        require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "there is a pair of sockets");
        caller_ = ends[0];
        server_ = ends[1];
    }
    ~Sockets()
    {
        close(caller_);
        if (server_ >= 0) close(server_);
    }
    Sockets(const Sockets&) = delete;
    Sockets& operator=(const Sockets&) = delete;

    int take_server() { return std::exchange(server_, -1); }
    int caller() const { return caller_; }
    void write(std::string_view octets)
    {
        require(send(caller_, octets.data(), octets.size(), MSG_DONTWAIT) ==
                    static_cast<ssize_t>(octets.size()),
                "a socket takes what an input has");
    }

private:
    int caller_ = -1;
    int server_ = -1;
};

// Answers with the request turned round, as much of it as fits, and its length in front.
bool answer_turned(std::string_view request, char* answer, std::uint32_t capacity, std::uint32_t& length)
{
    std::string text = std::to_string(request.size()) + ":" + std::string(request.rbegin(), request.rend());
    text = text.substr(0, capacity);
    std::memcpy(answer, text.data(), text.size());
    length = static_cast<std::uint32_t>(text.size());
    return true;
}

// The answer as it reaches the caller.
void check_answer(Sockets& sockets, Connection& connection, std::string_view frame)
{
    const std::uint32_t capacity = std::min(number_at(frame, 8), kMaxAnswer);
    require(connection.answer(), "a whole request is answered");
    Progress sent = connection.send();
    require(sent == Progress::kWhole, "a short answer is sent at once");
    const Exact room(std::string(std::min<std::size_t>(capacity, 2 * frame.size() + 64), '\xA5'));
    std::uint32_t length = 0;
    bool unread = false;
    const std::uint32_t code =
        receive_answer(sockets.caller(), room.data(), static_cast<std::uint32_t>(room.length()), length,
                       unread, Deadline(-1));
    require(code == 0 && !unread, "an answer can be read");
    require(length <= capacity, "an answer fits its buffer");
    std::string expected_text(std::min<std::size_t>(capacity, 2 * frame.size() + 64), '\0');
    std::uint32_t expected_length = 0;
    answer_turned(frame.substr(kRequestHeaderSize), expected_text.data(),
                  static_cast<std::uint32_t>(expected_text.size()), expected_length);
    require(length == expected_length && std::memcmp(room.data(), expected_text.data(), length) == 0,
            "the handler got the request, and the caller its answer");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const std::uint32_t max_request = 16 * input.octet();
    const bool set_aside = input.below(2) != 0;
    const std::size_t step = 1 + input.octet();
    const std::string frame = input.rest();

    static ThreadBuffers buffers;
    SpareBlocks spares;
    Sockets sockets;
    ServedEndpoint endpoint;
    endpoint.name = "fuzz";
    endpoint.handler = [](const Caller&, const char* request, std::uint32_t request_length, char* answer,
                          std::uint32_t capacity, std::uint32_t& length) {
        return answer_turned({request, request_length}, answer, capacity, length);
    };
    Connection connection(sockets.take_server(), endpoint, Caller{}, max_request, Clock::time_point::max(),
                          &buffers, spares);
    Progress progress = Progress::kWait;
    std::size_t at = 0;
    while (at < frame.size() && progress == Progress::kWait) {
        const std::size_t count = std::min(step, frame.size() - at);
        sockets.write(std::string_view(frame).substr(at, count));
        at += count;
        progress = connection.receive(MSG_DONTWAIT, kPatience);
        require(progress == expected(std::string_view(frame).substr(0, at), max_request),
                "a request is taken for what it is");
        if (!set_aside || progress == Progress::kGone) continue;
        require(connection.detach(), "a connection can be set aside");
        require(progress == Progress::kWhole || connection.held() <= 2 * at + 2048,
                "it holds what came, no more");
        connection.attach(buffers);
    }
    if (progress == Progress::kWhole)
        check_answer(sockets, connection, std::string_view(frame).substr(0, at));
    return 0;
}
