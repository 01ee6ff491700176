#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ntc_email.h"

#include "failure.h"
#include "mail_folder.h"
#include "mail_manifest.h"
#include "mailbox_walk.h"
#include "part_target.h"
#include "progress.h"

namespace velorin::cli {

// Receives one mail after the other, each into a place of its own, piece by piece: memory holds one piece,
// and a text up to a limit, whatever the size of the mail. Between two pieces it looks whether a signal has
// come.
class MailReceiver {
public:
    MailReceiver(CntsPOP3Boundary& session, Progress& progress, Failure& failure);

    enum class Result {
        kWhole,
        kRefused,  // this mail cannot be had, with the sentence; others may be
        kBroken    // nothing more can be received, with the sentence
    };

    // Decoded: mail.json, texts, attachments.
    //   in      folder: empty; account: for mail.json
    //   out     date: the mail's Date field, as it came
    Result receive(const MailEntry& entry, const std::string& account, Descriptor folder, std::string& date);

    // Octet for octet, into a file.
    Result receive_raw(const MailEntry& entry, int folder, const std::string& name);

private:
    Result header(CntsPOP3ReceiveMail& mail, bool& cut);
    bool single_part(CntsPOP3ReceiveMail& mail, MailFolder& folder, std::vector<PartRecord>& parts);
    bool all_parts(CntsPOP3ReceiveMail& mail, MailFolder& folder, std::vector<PartRecord>& parts);
    // The next piece of the body under way; null with the sentence.
    const CntsPOP3ReceiveMailPart* next_piece(CntsPOP3ReceiveMail& mail, bool of_part);
    bool body(CntsPOP3ReceiveMail& mail, bool of_part, PartTarget& target);
    bool went_well(const char* step, std::uint32_t code);
    //   in      file: of the mail's files; empty: the mail is the file
    bool file_failed(const std::string& file);

    CntsPOP3Boundary& session_;
    Progress& progress_;
    Failure& failure_;
    std::string uid_;  // of the mail under way, for the sentences
};

}  // namespace velorin::cli
