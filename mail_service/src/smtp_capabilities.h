#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace velorin::service {

// What a server said it can do, in its answer to EHLO.
struct SmtpCapabilities {
    bool eight_bit = false;     // 8BITMIME, RFC 6152
    bool pipelining = false;    // RFC 2920
    bool start_tls = false;     // RFC 3207
    bool size_offered = false;  // SIZE, RFC 1870
    std::uint64_t size = 0;     // octets of the largest mail; 0: no limit known
};

//   in      lines: the text behind the reply code of every line of the answer
SmtpCapabilities read_capabilities(const std::vector<std::string>& lines);

}  // namespace velorin::service
