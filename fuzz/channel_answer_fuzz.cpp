// The client's end of the channel: what a hostile server sends instead of an answer, over a pair of sockets.
//   input   the room for the answer in 16 octets, whether there is a deadline, the octets
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include <sys/socket.h>
#include <unistd.h>

#include "channel_codes.h"
#include "channel_frame.h"
#include "fuzz_input.h"
#include "fuzz_property.h"

namespace {

using namespace velorin_channel;
using namespace velorin_fuzz;

constexpr char kMagic[] = {'N', 'T', 'A', 1};
constexpr std::int64_t kSoon = 60000;  // milliseconds; never waited for: the server has gone

// What the caller is to make of octets that come at once, with nothing behind them.
std::uint32_t expected(std::string_view octets, std::uint32_t room)
{
    if (octets.size() < kAnswerHeaderSize) return kPeerGone;
    if (std::memcmp(octets.data(), kMagic, sizeof kMagic) != 0) return kBadFrame;
    std::uint32_t length = 0;
    for (std::size_t at = 4; at < 8; ++at)
        length = length * 256 + static_cast<unsigned char>(octets[at]);
    if (length > room) return kAnswerTooLong;
    const std::size_t whole = kAnswerHeaderSize + std::size_t{length};
    if (octets.size() < whole) return kPeerGone;
    // What does not even fit the buffer is left in the socket.
    return octets.size() > whole && length < room ? kBadFrame : kChannelDone;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const std::uint32_t room = 16 * input.octet();
    const bool has_deadline = input.below(2) != 0;
    const std::string answer = input.rest();

    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "there is a pair of sockets");
    require(send(ends[0], answer.data(), answer.size(), MSG_DONTWAIT) == static_cast<ssize_t>(answer.size()),
            "a socket takes what an input has");
    close(ends[0]);
    const Exact buffer(std::string(room, '\xA5'));
    std::uint32_t length = 0xFFFFFFFF;
    bool unread = true;
    const std::uint32_t code =
        receive_answer(ends[1], buffer.data(), room, length, unread, Deadline(has_deadline ? kSoon : -1));
    close(ends[1]);
    require(code == expected(answer, room), "an answer is taken for what it is");
    require(!unread, "a server that has answered has read the request");
    if (code != kChannelDone) {
        require(length == 0xFFFFFFFF, "a failure has no length");
        return 0;
    }
    require(length <= room, "an answer fits its buffer");
    require(std::memcmp(buffer.data(), answer.data() + kAnswerHeaderSize, length) == 0,
            "an answer comes as it is");
    return 0;
}
