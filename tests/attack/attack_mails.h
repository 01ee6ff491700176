// The mails and accounts of these tests, as an application of the library has them.
#pragma once

#include <cstdint>
#include <string>

#include "ntc_email.h"

namespace velorin_test {

constexpr std::uint32_t kCallFailed = 0x21077103;  // the library's own: the exchange came to nothing

velorin::CntsSMTPSettings smtp_account(std::uint16_t port);
velorin::CntsPOP3Settings pop3_account(std::uint16_t port);  // kUser, kPassword

// A text mail; `id` is its message identifier without brackets.
void fill_mail(velorin::CntsSMTPSendMail& mail, const std::string& id);
// A multipart mail with boundary "cut" and a further text part.
void fill_multipart(velorin::CntsSMTPSendMail& mail, const std::string& id);
// Queues octets for the next SendBody or SendPartBody, in the place of those that are there.
void queue(velorin::CntsMLUTLMailPart& part, const std::string& octets);

// The header of such a text mail as it arrives.
std::string header_of(const std::string& id);
// Sends a whole text mail in an open session; the first code that is not 0.
std::uint32_t send_mail(velorin::CntsSMTPBoundary& session, velorin::CntsSMTPSendMail& mail,
                        const std::string& body);
// Reads the body of the mail whose header has been received (one part).
std::uint32_t read_body(velorin::CntsPOP3Boundary& session, velorin::CntsPOP3ReceiveMail& mail,
                        std::string& body);

}  // namespace velorin_test
