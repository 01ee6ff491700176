#pragma once

#include <string>

#include "ntc_email.h"

#include "mail_folder.h"
#include "mail_manifest.h"
#include "new_file.h"
#include "spool.h"

namespace velorin::cli {

// Where the body of a part goes: the file that its header asks for, made safe. An attachment is decoded and
// written as its pieces come; a text is decoded, and put into UTF-8 when it is whole. Results: false with
// errno.
class PartTarget {
public:
    //   in      record: as describe_part gave it
    PartTarget(MailFolder& folder, PartRecord& record, CntsMLUTLMailType::eCharSet charset,
               CntsMLUTLMailType::eTransferEncoding encoding);

    // Whether what is written differs from what came.
    static bool decodes(CntsMLUTLMailType::eTransferEncoding encoding);

    bool open();
    // What an error is about: the file in the folder, or that which a long text waits in.
    const std::string& failing_file() const { return failing_.empty() ? record_.file : failing_; }
    // One piece, transfer-encoded as it came; each decodes by itself.
    bool write(const char* octets, long length);
    // After the last piece: completes the record.
    bool finish();

private:
    bool keep(const char* octets, std::size_t length);

    MailFolder& folder_;
    PartRecord& record_;
    CntsMLUTLMailType::eCharSet charset_;
    CntsMLUTLMailType::eTransferEncoding encoding_;
    NewFile file_;
    Spool text_;
    std::string failing_;
};

}  // namespace velorin::cli
