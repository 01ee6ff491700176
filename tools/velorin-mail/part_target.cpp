#include "part_target.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "base64_pieces.h"
#include "received_text.h"
#include "safe_name.h"

namespace velorin::cli {

namespace {

using Type = CntsMLUTLMailType;
using Utility = CntsMLUTLMimeUtility;

constexpr std::size_t kMaxName = 200;  // octets; file systems take 255, and a number may come in

// Extensions for parts without a name.
constexpr struct {
    const char* type;
    const char* extension;
} kExtensionRows[] = {
    {"text/plain", ".txt"},      {"text/html", ".html"},
    {"text/calendar", ".ics"},   {"text/csv", ".csv"},
    {"message/rfc822", ".eml"},  {"application/pdf", ".pdf"},
    {"image/jpeg", ".jpg"},      {"image/png", ".png"},
    {"image/gif", ".gif"},       {"image/tiff", ".tif"},
    {"application/zip", ".zip"}, {"application/json", ".json"},
    {"application/xml", ".xml"}, {"application/postscript", ".ps"},
};

std::string name_without_one(const PartRecord& record)
{
    std::string extension = record.is_text ? ".txt" : ".bin";
    for (const auto& row : kExtensionRows)
        if (record.type == row.type) extension = row.extension;
    return (record.is_text ? "text-" : "part-") + record.number + extension;
}

}  // namespace

PartTarget::PartTarget(MailFolder& folder, PartRecord& record, Type::eCharSet charset,
                       Type::eTransferEncoding encoding)
    : folder_(folder), record_(record), charset_(charset), encoding_(encoding)
{
}

bool PartTarget::decodes(Type::eTransferEncoding encoding)
{
    return encoding == Type::eTransferEncodingBase64 || encoding == Type::eTransferEncodingQuotedPrintable;
}

bool PartTarget::open()
{
    std::string wanted = safe_name(record_.file_name, kMaxName);
    if (wanted.empty()) wanted = name_without_one(record_);
    return folder_.create(wanted, file_, record_.file);
}

bool PartTarget::write(const char* octets, long length)
{
    if (length <= 0) return true;
    if (!decodes(encoding_)) return keep(octets, static_cast<std::size_t>(length));
    const bool is_base64 = encoding_ == Type::eTransferEncodingBase64;
    void* decoded = nullptr;
    long decoded_length = 0;
    const int done = is_base64 ? Utility::FromB64(octets, length, decoded, decoded_length)
                               : Utility::FromQP(octets, length, decoded, decoded_length);
    const Block block(decoded);
    errno = ENOMEM;  // the one thing that may go wrong
    return done != 0 && keep(static_cast<const char*>(decoded), static_cast<std::size_t>(decoded_length));
}

bool PartTarget::keep(const char* octets, std::size_t length)
{
    if (!record_.is_text) return file_.write(octets, length);
    if (text_.write(octets, length)) return true;
    failing_ = "temporary file";
    return false;
}

bool PartTarget::finish()
{
    if (record_.is_text && !write_received_text(text_, charset_, file_, record_.in_utf8)) return false;
    record_.size = file_.size();
    return file_.close();
}

}  // namespace velorin::cli
