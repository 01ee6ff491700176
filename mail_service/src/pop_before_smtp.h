#pragma once

#include <cstdint>

#include "account.h"
#include "session_rules.h"

namespace velorin::service {

class CancelSignal;
class LastReply;

// Logs in to a POP3 server and leaves it, so that it lets this host send for a while; then waits.
//   in      wait: seconds
//   result  0, or a return code of the service
std::uint32_t pop_before_smtp(const ServerAccount& account, std::uint32_t wait, const SessionRules& rules,
                              const CancelSignal& cancel, LastReply& last_reply);

}  // namespace velorin::service
