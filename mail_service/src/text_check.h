#pragma once

#include <cstdint>
#include <string>

namespace velorin {
class ntc_email_esu_mlutl_mail_part;
class ntc_email_esu_smtp_send_mail;
}  // namespace velorin

namespace velorin::service {

// Refuse texts that would turn into something else on their way to a server. They look at the wire message,
// since the library's strings end at a NUL.
//   result  0 or kUnsafeText

// Addresses: no control character but a tab between entries, and a CR LF with a blank or tab behind it between
// the encoded words of a display name and between them and the address. Header texts: no NUL, no CR or LF
// other than a CR LF that a blank or tab follows. The boundary string: 1 to 70 printable characters, no quote
// and no backslash, no blank at its end (RFC 2046, 5.1.1); asked for only when the mail is a multipart.
std::uint32_t check_mail_texts(const ntc_email_esu_smtp_send_mail& mail, bool multipart);
std::uint32_t check_part_texts(const ntc_email_esu_mlutl_mail_part& part);

bool is_safe_address_text(const std::string& text);
bool is_safe_header_text(const std::string& text);
bool is_safe_boundary(const std::string& text);

}  // namespace velorin::service
