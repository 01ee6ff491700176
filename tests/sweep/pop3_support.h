// What the scenarios of the receiving side share.
#pragma once

#include <memory>

#include "CntsPOP3Boundary.h"
#include "CntsPOP3MailInfoList.h"
#include "CntsPOP3ReceiveMail.h"

#include "ntc_email_esu_pop3.pb.h"
#include "platform_double.h"

namespace velorin_test::sweep {

std::shared_ptr<velorin::CntsPOP3Boundary> open_pop3_session(PlatformDouble& platform);

// Three entries, the first one with id 3, the second one to be removed, and room for more.
std::shared_ptr<velorin::CntsPOP3MailInfoList> info_list();
// Two entries of other mails.
void fill(velorin::ntc_email_esu_pop3_mail_info_list& message);

// Every member set, two boundaries, octets queued, and a part with octets of its own.
std::shared_ptr<velorin::CntsPOP3ReceiveMail> receive_mail();
// Every field set, two boundaries and a part with octets, other than those of receive_mail().
void fill(velorin::ntc_email_esu_pop3_receive_mail& message);

}  // namespace velorin_test::sweep
