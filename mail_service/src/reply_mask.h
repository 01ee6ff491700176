#pragma once

#include <string>

namespace velorin::service {

class Secret;

// A reply line as it may be told: a server that does not like a command may say it again, password and all.
//   result  the line with five asterisks for the password, and for a word of base64 that holds it. A password of
//           less than four octets counts where it stands alone
std::string without_password(const std::string& line, const Secret& password);

}  // namespace velorin::service
