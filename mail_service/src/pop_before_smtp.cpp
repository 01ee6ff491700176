#include "pop_before_smtp.h"

#include <algorithm>
#include <array>
#include <cstring>

#include <poll.h>

#include "cancel_signal.h"
#include "return_codes.h"

namespace velorin::service {
namespace {

constexpr std::size_t kMaxReply = 2048;  // octets; RFC 2449 has 512

// The log-in counts for the server once QUIT is answered; what the answer says does not matter.
std::uint32_t leave(ServerConnection& connection, std::uint32_t timeout)
{
    constexpr char kQuit[] = "QUIT\r\n";
    const Deadline deadline = in_seconds(timeout);
    if (const std::uint32_t code = connection.send(kQuit, sizeof kQuit - 1, deadline)) return code;
    std::array<char, 512> reply;
    std::size_t count = 0;
    std::size_t taken = 0;
    do {
        if (taken > kMaxReply) return kReplyMalformed;
        if (const std::uint32_t code = connection.receive(reply.data(), reply.size(), count, deadline))
            return code;
        taken += count;
    } while (std::memchr(reply.data(), '\n', count) == nullptr);
    return 0;
}

std::uint32_t wait_until(Deadline deadline, const CancelSignal& cancel)
{
    while (!cancel.raised()) {
        const int left = milliseconds_left(deadline);
        if (left == 0) return 0;
        pollfd watched = {cancel.descriptor(), POLLIN, 0};
        static_cast<void>(::poll(&watched, 1, left));
    }
    return kAborted;
}

}  // namespace

std::uint32_t pop_before_smtp(const ServerAccount& account, std::uint32_t wait, const SessionRules& rules,
                              const CancelSignal& cancel, LastReply& last_reply)
{
    const auto connection = rules.make_connection(cancel, last_reply);
    if (const std::uint32_t code = connection->open(account, rules.opening)) return code;
    if (const std::uint32_t code = leave(*connection, account.command_timeout)) return code;
    connection->drop();
    return wait_until(in_seconds(wait), cancel);
}

}  // namespace velorin::service
