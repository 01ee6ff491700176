#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ntc_email.h"

#include "failure.h"
#include "options.h"

namespace velorin::cli {

// A file to attach, looked at before anything is sent.
struct Attachment {
    std::string path;
    std::string name;  // in the mail: safe in a quoted string
    bool renamed = false;
    std::string type;  // MIME type
    CntsMLUTLMailType::eContentType vocabulary =
        CntsMLUTLMailType::eContentTypeUnknown;  // unknown: no row for it
    std::uint64_t size = 0;                      // octets
};

// The file name that stands in the mail: the path's last component, where quotes, backslashes, control
// characters, and characters that are not US-ASCII have become "_", one each, and blanks at either end too.
std::string safe_file_name(const std::string& path);

// The MIME type that a file name's extension stands for; "application/octet-stream" when it says nothing.
const char* type_of_file_name(const std::string& name);

// Checks that all files are there, can be read and are files, and that their types can be sent.
bool inspect_attachments(const std::vector<AttachOption>& options, std::vector<Attachment>& attachments,
                         Failure& failure);

// Octets of `size` octets in base64, in lines of 76 characters with CR LF between them.
std::uint64_t base64_size(std::uint64_t size);

// The header of an attachment's part, with the boundary line in front of it and the CR LF that belongs to
// that line. For types of the vocabulary the mail service writes the same from the part; for others this
// stands in the body that is being sent, since a part without a type of the vocabulary has no header
// (CntsMLUTLMailPart::MakeHeader).
std::string part_header(const Attachment& attachment, const std::string& boundary);

// The part of an attachment whose type is in the vocabulary.
//   result  the caller's, null when memory runs out
CntsSMTPSendMailPart* make_part(const Attachment& attachment);

}  // namespace velorin::cli
