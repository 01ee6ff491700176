// What must hold of everything that a POP3 session hands back.
#pragma once

#include <cstddef>
#include <cstdint>

namespace velorin {
class ntc_email_esu_mlutl_mail_part;
class ntc_email_esu_pop3_mail_info_list;
class ntc_email_esu_pop3_receive_mail;
}  // namespace velorin

namespace velorin_fuzz {

// Its code is one of the service's, or none.
void check_code(std::uint32_t code);
// It fits its room in its envelope, and its texts are one line each.
void check_mail(const velorin::ntc_email_esu_pop3_receive_mail& answer, std::size_t room);
// It fits its room; no more entries than the caller takes, beyond those that it had; numbers above 0.
void check_list(const velorin::ntc_email_esu_pop3_mail_info_list& asked,
                const velorin::ntc_email_esu_pop3_mail_info_list& answer, std::size_t room);

}  // namespace velorin_fuzz
