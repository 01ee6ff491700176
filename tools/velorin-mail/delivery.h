#pragma once

#include <cstddef>
#include <string>

#include "ntc_email.h"

#include "attachments.h"
#include "base64_pieces.h"
#include "compose.h"
#include "failure.h"
#include "progress.h"
#include "spool.h"
#include "text.h"

namespace velorin::cli {

// Sends the content of one mail, piece by piece, through a session that has sent the header. Between two
// pieces it looks whether a signal has come. Memory holds one piece, whatever the size of the mail.
//   result  of every operation: false with the sentence; the mail is then to be aborted
class Delivery {
public:
    Delivery(CntsSMTPBoundary& session, CntsSMTPSendMail& mail, Progress& progress, Failure& failure);

    // The text as the content of the part that is being sent; its first piece, empty perhaps, always goes
    // out.
    bool send_text(MailText& text);

    // An empty first part, then the text in a marked part of its own.
    bool send_fax_text(MailText& text, const std::string& boundary);

    // Header and content of a further part, read from its file.
    bool send_attachment(const Attachment& attachment, const std::string& boundary);

private:
    bool send_base64(OctetSource& source, std::uint64_t size, const char* step, const std::string& where);
    bool send_plain(MailText& text);
    bool send_octets(const char* octets, std::size_t length, bool is_last, const char* step);
    bool send_block(Block& block, long length, bool is_last, const char* step);
    bool begin_part(const Attachment& attachment, const std::string& boundary);
    bool reading_failed(const char* step, const std::string& where, int why);

    CntsSMTPBoundary& session_;
    CntsSMTPSendMail& mail_;
    Progress& progress_;
    Failure& failure_;
    bool in_further_part_ = false;  // the service has been sent a part header
};

}  // namespace velorin::cli
