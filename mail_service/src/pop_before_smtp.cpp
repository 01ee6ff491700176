#include "pop_before_smtp.h"

#include <poll.h>

#include "cancel_signal.h"
#include "last_reply.h"
#include "pop3_dialogue.h"
#include "pop3_login.h"
#include "return_codes.h"

namespace velorin::service {
namespace {

// The log-in counts for the server once QUIT is answered; whether it likes it does not matter.
std::uint32_t leave(ServerConnection& connection, const ServerAccount& account, LastReply& last_reply)
{
    const std::uint32_t code =
        Pop3Dialogue(connection, last_reply, account.command_timeout).command("QUIT", kCommandRefused);
    return connection.is_open() ? 0 : code;
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
    if (const std::uint32_t code = open_pop3(*connection, account, rules.opening, last_reply)) return code;
    if (const std::uint32_t code = leave(*connection, account, last_reply)) return code;
    connection->drop();
    last_reply.forget();  // it explains nothing of what comes next
    return wait_until(in_seconds(wait), cancel);
}

}  // namespace velorin::service
