#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace velorin {
class CntsMLUTLMailAddress;
class CntsSMTPSendMail;
}  // namespace velorin

namespace velorin::service {

// Who sends a mail and who gets it: bare addresses, fit to stand between "<" and ">" of a command.
struct MailEnvelope {
    std::string sender;
    std::vector<std::string> recipients;  // To, Cc, Bcc in this order, a repeated one once
};

// Takes the envelope from the addresses of a mail. Two recipients are the same when their local parts are
// equal, octet for octet (only the server knows more), and their domains are, letter case aside.
//   result  0; kBadAddress when an address cannot stand in a command; kLimitReached for more than
//   max_recipients
std::uint32_t read_envelope(const CntsSMTPSendMail& mail, std::size_t max_recipients, MailEnvelope& envelope);

// Printable US-ASCII, at most 254 octets (RFC 5321, 4.5.3.1.3 without brackets), no angle bracket, blanks
// only in a quoted local part, something before and behind an "@".
bool is_usable_address(const std::string& address);

}  // namespace velorin::service
