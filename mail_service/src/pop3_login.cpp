#include "pop3_login.h"

#include "pop3_dialogue.h"

namespace velorin::service {
namespace {

std::uint32_t log_in_in_clear(ServerConnection& connection, const ServerAccount& account,
                              const OpeningRules& rules, LastReply& last_reply)
{
    if (const std::uint32_t code = connection.open(account, rules, false)) return code;
    const std::uint32_t code =
        Pop3Dialogue(connection, last_reply, account.command_timeout).log_in(account.user, account.password);
    if (code != 0) connection.drop();
    return code;
}

}  // namespace

std::uint32_t open_pop3(ServerConnection& connection, const ServerAccount& account, const OpeningRules& rules,
                        LastReply& last_reply)
{
    const std::uint32_t code = connection.open(account, rules);
    // A server may show the challenge of APOP to users that have no secret for it.
    const bool again = code != 0 && connection.password_untried();
    return again ? log_in_in_clear(connection, account, rules, last_reply) : code;
}

}  // namespace velorin::service
