#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace velorin::cli {

// What one recorded exchange was about. Passwords and bodies are never among the fields, whatever the
// envelope holds.
struct ExchangeText {
    std::string protocol;  // "smtp", "pop3"; empty when the endpoint is neither
    std::string method;    // "send header"; empty when the request was not recorded
    std::vector<std::pair<std::string, std::string>>
        fields;  // name and value, in the order in which they are read
    bool has_retcode = false;
    std::uint32_t retcode = 0;
};

//   in      endpoint: as recorded; request, answer: serialised envelopes, null when not recorded
ExchangeText describe_exchange(const std::string& endpoint, const std::string* request,
                               const std::string* answer);

}  // namespace velorin::cli
