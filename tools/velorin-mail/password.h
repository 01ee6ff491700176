#pragma once

#include <string>

#include "account.h"
#include "failure.h"
#include "secret.h"

namespace velorin::cli {

// Gets a password from where it is kept: the first line that a command prints, the first line of a file, or
// what somebody types at the terminal, unseen. The command gets no standard input, which may be the mail's
// text.
//   in      whose: for the prompt and the sentences: "user at server"
//   result  false with the sentence; the sentence never holds what was read
bool get_password(const PasswordSource& source, const std::string& whose, Secret& password, Failure& failure);

}  // namespace velorin::cli
