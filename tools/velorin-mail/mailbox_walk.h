#pragma once

#include <string>
#include <vector>

#include "ntc_email.h"

#include "failure.h"

namespace velorin::cli {

// A mail on the server.
struct MailEntry {
    int number = 0;   // in this session
    std::string uid;  // empty: the server has no unique ids
    long size = 0;    // octets, as the server says
    // In the list of fetched mails. The unique id; of further mails of the same one, which copies may have
    // (RFC 1939, section 7), it has their number behind a blank.
    std::string key;

    CntsPOP3MailInfo info() const;
};

// Asks for all mails, by number.
//   in      session: connected
bool walk_mailbox(CntsPOP3Boundary& session, std::vector<MailEntry>& mails, Failure& failure);

// The mails of these unique ids, in the order of the mailbox; all of them where several have the same.
//   result  false with the sentence when there is none for one of them: found is empty then
bool find_mails(const std::vector<MailEntry>& mails, const std::vector<std::string>& uids,
                std::vector<MailEntry>& found, Failure& failure);

// Nothing can be told apart by unique ids that do not exist.
//   result  false with the sentence when the server gives none
bool need_unique_ids(const std::vector<MailEntry>& mails, Failure& failure);

// Deletes mails on the server: marks them, and takes the server's verdict. Afterwards the session is not
// connected.
//   result  true: the server has deleted all of them. False with the sentence: what was marked is not deleted,
//           or the server's verdict is not known
bool delete_mails(CntsPOP3Boundary& session, const std::vector<MailEntry>& mails, Failure& failure);

// Ends the session without a deletion. What the server says to that changes nothing any more.
void leave_mailbox(CntsPOP3Boundary& session);

}  // namespace velorin::cli
