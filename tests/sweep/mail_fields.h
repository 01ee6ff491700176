// Mails, lists and settings as fields, and what a message makes of them, written down once more beside the library's
// converters.
#pragma once

#include <string>
#include <vector>

#include "CntsPOP3MailInfoList.h"
#include "CntsPOP3ReceiveMail.h"
#include "CntsSMTPSendMail.h"

#include "exchange.h"
#include "ntc_email_esu_pop3.pb.h"
#include "ntc_email_esu_smtp.pb.h"
#include "outcome.h"
#include "replay.h"

namespace velorin_test::sweep {

// Members by name; those of a part have its prefix ("own ", "part ").
void put_part(Fields& fields, const std::string& prefix, const velorin::CntsMLUTLMailPart& part);
Fields empty_part(const std::string& prefix);
Fields fields_of(const velorin::CntsSMTPSendMail& mail);
Fields fields_of(const velorin::CntsPOP3ReceiveMail& mail);
std::string text_of_info(const velorin::CntsPOP3MailInfo& info);
std::string text_of_list(const velorin::CntsPOP3MailInfoList& list);

// What a message makes of a part, a mail, an entry. Platform calls are those of its blocks.
void apply(const velorin::ntc_email_esu_mlutl_mail_part& message, const std::string& prefix, Fields& fields,
           Replay& replay);
bool apply(const velorin::ntc_email_esu_pop3_receive_mail& message, Fields& fields, Replay& replay);
void apply(const velorin::ntc_email_esu_smtp_send_mail& message, Fields& fields, Replay& replay);

// A list as the model knows it.
struct ListModel {
    struct Entry {
        int id = 0;
        std::string uid;
        long long size = 0;
        int status = 0;
    };
    std::vector<Entry> entries;
    int most = 0;

    std::string text() const;
};
ListModel model_of(const velorin::CntsPOP3MailInfoList& list);
ListModel::Entry model_of(const velorin::CntsPOP3MailInfo& info);
// Replaces the list; false when an entry could not be added.
bool apply(const velorin::ntc_email_esu_pop3_mail_info_list& message, ListModel& list, Replay& replay);
void apply(const velorin::ntc_email_esu_pop3_mail_info& message, ListModel::Entry& entry);
std::string text_of(const ListModel::Entry& entry);

// Adds what a request or a message said of a mail: the fields that it makes of an empty one, the bodies apart.
template <typename Message>
void add_message(Outcome& outcome, const Message& message, Fields empty)
{
    Replay nothing_fails({}, {});
    apply(message, empty, nothing_fails);
    outcome.add("message", text_of_fields(empty, {"own body", "part body", "other"}));
    for (const char* const body : {"own body", "part body"}) {
        const auto found = empty.find(body);
        outcome.add(body, found == empty.end() ? "(none)" : found->second);
    }
}

// Expects that of a mail with these fields, whose conversion asked for blocks: where one failed a body may be missing.
//   result  nothing: the lines of the blocks that failed are expected
void expect_message(Replay& replay, Outcome& expected, const Fields& mail);

}  // namespace velorin_test::sweep
