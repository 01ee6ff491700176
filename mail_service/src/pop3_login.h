#pragma once

#include <cstdint>

#include "account.h"
#include "server_connection.h"

namespace velorin::service {

class LastReply;

// Connects to a POP3 server and logs in: for receiving, and before sending. Where the server refuses what nobody
// had asked for, the challenge of APOP, or has no SASL but GSSAPI, USER and PASS follow on a connection of their
// own.
//   result  0, or a return code of the service: the connection is not open
std::uint32_t open_pop3(ServerConnection& connection, const ServerAccount& account, const OpeningRules& rules,
                        LastReply& last_reply);

}  // namespace velorin::service
