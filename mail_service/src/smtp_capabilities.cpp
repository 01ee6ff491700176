#include "smtp_capabilities.h"

#include <cstddef>
#include <limits>

namespace velorin::service {
namespace {

std::string upper(std::string text)
{
    for (char& octet : text) {
        if (octet >= 'a' && octet <= 'z') octet = static_cast<char>(octet - 'a' + 'A');
    }
    return text;
}

// A number too large to hold, or no number at all, is no limit.
std::uint64_t read_size(const std::string& text)
{
    std::uint64_t value = 0;
    for (const char octet : text) {
        if (octet < '0' || octet > '9') return 0;
        const auto digit = static_cast<std::uint64_t>(octet - '0');
        if (value > (std::numeric_limits<std::uint64_t>::max() - digit) / 10) return 0;
        value = value * 10 + digit;
    }
    return value;
}

}  // namespace

SmtpCapabilities read_capabilities(const std::vector<std::string>& lines)
{
    SmtpCapabilities out;
    for (std::size_t index = 1; index < lines.size(); ++index) {  // the first line is the server's name
        const std::string& line = lines[index];
        const std::size_t blank = line.find(' ');
        const std::string keyword = upper(line.substr(0, blank));
        if (keyword == "8BITMIME") out.eight_bit = true;
        if (keyword == "PIPELINING") out.pipelining = true;
        if (keyword == "STARTTLS") out.start_tls = true;
        if (keyword == "SIZE") {
            out.size_offered = true;
            out.size = blank == std::string::npos ? 0 : read_size(line.substr(blank + 1));
        }
    }
    return out;
}

}  // namespace velorin::service
