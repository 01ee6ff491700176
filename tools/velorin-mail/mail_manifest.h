#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ntc_email.h"

#include "mailbox_walk.h"

namespace velorin::cli {

// A part of a mail for mail.json.
struct PartRecord {
    std::string number;      // "2.1": the first part of the second part; "1" of a mail of one part
    int depth = 0;           // multiparts that it is inside
    std::string type;        // "text/plain"
    std::string type_value;  // the whole Content-Type field
    std::string charset;     // as the mail says; empty: it does not
    std::string encoding;    // as the mail says; empty: it does not
    std::string disposition;
    std::string file_name;   // as the mail says
    std::string file;        // in the folder; empty: a multipart
    std::uint64_t size = 0;  // octets of the file
    bool is_text = false;    // its file is a text
    bool in_utf8 = false;    // of a text: it was converted
    bool decoded = true;     // the transfer encoding is one that is known
};

// The facts that the header of a mail or part says.
PartRecord describe_part(const CntsMLUTLMailPart& part);

// The text of mail.json.
std::string manifest_of(const CntsPOP3ReceiveMail& mail, const MailEntry& entry, const std::string& account,
                        bool header_cut, const std::vector<PartRecord>& parts);

std::string text_in(const CutlCPLBMString& text);  // "" when there is none

// Numbers the parts of a mail while they come, one after the other.
class PartNumbers {
public:
    // The next part.
    //   in      depth: multiparts that it is inside, 1 or more
    std::string next(int depth);

private:
    std::vector<unsigned> numbers_;
};

}  // namespace velorin::cli
