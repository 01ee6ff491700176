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
    std::string shown_name;  // in UTF-8
    std::string name;        // in the mail: safe in a quoted string, encoded where that takes it
    bool renamed = false;
    std::string type;  // MIME type
    CntsMLUTLMailType::eContentType vocabulary =
        CntsMLUTLMailType::eContentTypeUnknown;  // unknown: no row for it
    std::uint64_t size = 0;                      // octets
};

// The last component of a path, where control characters, quotes and backslashes have become "_", one each: some
// programs decode a name before they look for the quotes around it.
std::string safe_file_name(const std::string& path);

// A file name as it stands in a quoted string of the part's header: as it is, or in encoded words when it is not
// US-ASCII, has a blank at an end, or looks like an encoded word.
bool encode_file_name(const std::string& name, const std::string& charset, std::string& encoded,
                      std::string& wrong);

// The MIME type that a file name's extension stands for; "application/octet-stream" when it says nothing.
const char* type_of_file_name(const std::string& name);

// Checks that all files are there, can be read and are files, and that their names and types can be sent.
//   in      charset: name of the set that file names go out in, empty for the one that suits each
bool inspect_attachments(const std::vector<AttachOption>& options, const std::string& charset,
                         std::vector<Attachment>& attachments, Failure& failure);

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
