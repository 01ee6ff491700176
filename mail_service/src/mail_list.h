#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "mailbox.h"

namespace velorin {
class ntc_email_esu_pop3_mail_info;
class ntc_email_esu_pop3_mail_info_list;
}  // namespace velorin

namespace velorin::service {

constexpr std::int32_t kRegistered = 1;  // status of an entry to be fetched
constexpr std::int32_t kToRemove = 2;    // status of an entry to be deleted

// What an envelope has around a list, the info that ListNext gives besides included: octets.
constexpr std::size_t kAroundList = 332;

// Writes a caller's list into an answer. What does not fit is left out, registered entries first: they come
// again, the caller's own marks would not.
//   in      room: octets
//   result  0 or kAnswerCut
std::uint32_t put_list(const ntc_email_esu_pop3_mail_info_list& list, std::size_t room,
                       ntc_email_esu_pop3_mail_info_list& answer);

// The mail that each entry stands for now, null where there is none: by unique id, no mail for two entries.
// Where the server has no unique ids, an entry stands for the mail of its number if it was made on this
// connection.
std::vector<const Mailbox::Mail*> match_list(const ntc_email_esu_pop3_mail_info_list& list,
                                             const Mailbox& mailbox);

// Brings a list up to date: see the document of the service.
//   in      room: octets of the answer
std::uint32_t update_list(const ntc_email_esu_pop3_mail_info_list& list, Mailbox& mailbox, std::size_t room,
                          ntc_email_esu_pop3_mail_info_list& answer);

// The first mail above a number that no entry stands for; null when there is none.
const Mailbox::Mail* next_unlisted(const ntc_email_esu_pop3_mail_info_list& list, const Mailbox& mailbox,
                                   std::uint32_t above);

void put_info(const Mailbox& mailbox, const Mailbox::Mail& mail, std::int32_t status,
              ntc_email_esu_pop3_mail_info& info);

// Octets that one more entry takes in a list.
std::size_t entry_size(const ntc_email_esu_pop3_mail_info& info);

}  // namespace velorin::service
