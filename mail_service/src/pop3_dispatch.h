#pragma once

#include <cstdint>
#include <string_view>

#include "channel_server.h"

namespace velorin::service {

class MailService;

// One exchange of the POP3 endpoint: reads the envelope, runs the operation, writes the answer.
//   result  true; false when the answer does not fit, or memory ran out for it
bool dispatch_pop3(MailService& service, const velorin_channel::Caller& caller, std::string_view request,
                   char* answer, std::uint32_t capacity, std::uint32_t& answer_length) noexcept;

}  // namespace velorin::service
