#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "ntc_email.h"

#include "account.h"
#include "attachments.h"
#include "failure.h"
#include "options.h"
#include "text.h"

namespace velorin::cli {

// Checks one address field and writes its entries in one list.
//   in      name: of the option, for the sentences; charset: name of the set that names go out in, empty for the
//   one that suits each; values: as given, each an entry or a list of them
//   out     list: entries with ", " between them; entries: how many
//   result  false with the sentence: an entry without "@", a line break, an address that is not US-ASCII, a
//   name that has no place in the character set, an entry too long
bool join_addresses(const char* name, const std::string& charset, const std::vector<std::string>& values,
                    std::string& list, unsigned& entries, Failure& failure);

// Checks a header text: UTF-8 without control characters and, where it needs no encoding, short enough for its
// line.
bool check_header_text(const char* name, const std::string& text, Failure& failure);

// Identifiers in angle brackets with a blank between them; missing brackets are added.
bool join_identifiers(const char* name, const std::string& text, std::string& list, Failure& failure);

// The moment in the form of RFC 5322, section 3.3, in local time.
std::string rfc5322_date(std::time_t moment);
bool is_rfc5322_date(const std::string& text);

// Checks all that the command line says about the mail, with the exception of the text, and fills the header
// members.
//   out     mail: everything but the content members
bool compose_header(const MailOptions& options, const Account& account, CntsSMTPSendMail& mail,
                    Failure& failure);

// Fills the content members: a text mail, or a multipart mail with a boundary of its own when there are
// attachments or the fax marker is wanted.
//   result  false when the system gives no random octets for the boundary
bool compose_content(const MailText& text, bool fax, bool attachments, CntsSMTPSendMail& mail,
                     Failure& failure);

// The header of the text part of a mail with the fax marker: boundary line in front, as part_header writes
// it. The marker does not travel from application to mail service, so the first part, whose header the
// service writes, stays empty and the text follows in a part of its own.
std::string fax_text_header(const MailText& text, const std::string& boundary);

// Octets of the whole mail as the server counts them (RFC 1870: CR LF counted, doubled dots not).
//   result  false when the library cannot compose the header
bool measure_mail(CntsSMTPSendMail& mail, const MailText& text, bool fax,
                  const std::vector<Attachment>& attachments, std::uint64_t& octets, Failure& failure);

}  // namespace velorin::cli
