#pragma once

#include <cstdint>
#include <string>

#include "exit_codes.h"

namespace velorin::cli {

// Why a command ends early: all that the sentence on standard error and the JSON object tell. Every text is
// printable and in UTF-8 or ASCII; none of them ever holds a password or an octet of a mail's body.
struct Failure {
    int exit_code = kExitOk;
    std::string step;          // what was being done: "connect", "attachment"
    std::string where;         // on what: the server, the file; may be empty
    std::string sentence;      // what went wrong, without a full stop
    std::uint32_t code = 0;    // 0x2107xxxx or 0x2108xxxx; 0: found by the client itself
    std::string code_name;     // its name; empty when the code is 0
    std::string server_reply;  // last reply line of the server; empty: none, or it does not matter
};

// Fills `failure` with something the client found itself.
//   result  false always, so that a check ends in `return fail(...)`
bool fail(Failure& failure, int exit_code, const std::string& step, const std::string& sentence);

}  // namespace velorin::cli
