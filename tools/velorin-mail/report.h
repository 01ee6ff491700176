#pragma once

#include <cstdint>
#include <string>

#include "failure.h"

namespace velorin::cli {

// The exit code for a status of a session operation, by the name of the code.
//   in      code: nonzero
//   result  kExitSoftware for a code that nobody knows
int exit_code_of(std::uint32_t code);

// Fills `failure` with a status that a session operation returned: its name, its sentence, and what the
// server answered last, asked from the service.
//   in      step: what was being done; code: nonzero
//   result  false always
bool fail_with_code(Failure& failure, const std::string& step, std::uint32_t code);

// The one sentence of a failure: step, what went wrong, the code by name, the server's answer. No line end.
std::string sentence_of(const Failure& failure);

// What became of a command's work, for the JSON object.
struct Outcome {
    std::string command;     // "send", "check", "list", "fetch", "delete"
    std::string mails;       // of a mailbox: a JSON array; empty: none
    std::string message_id;  // with its brackets; empty: none
    std::uint64_t octets = 0;
    double seconds = 0;
};

// One JSON object on one line, without a line end.
//   in      failure: null when all went well
std::string json_of(const Outcome& outcome, const Failure* failure);

// A JSON string, quotes included. Octets that are no UTF-8 become U+FFFD.
std::string json_string(const std::string& text);

// The same text without control characters, which become "?": what is printed at a terminal.
std::string printable(const std::string& text);

// "0x2108030a"
std::string hex_of(std::uint32_t code);

// Prints the sentence to standard error, and the object to standard output when it is asked for.
//   result  the process's exit code
int report(const Outcome& outcome, const Failure* failure, bool json);

}  // namespace velorin::cli
