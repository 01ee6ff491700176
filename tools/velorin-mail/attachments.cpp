#include "attachments.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

#include "descriptor.h"
#include "utf8.h"

namespace velorin::cli {

namespace {

constexpr const char* kStep = "attachment";
constexpr const char* kUnknownType = "application/octet-stream";

// Extensions of files that people mail. The types that the vocabulary knows come first.
constexpr struct {
    const char* extension;
    const char* type;
} kTypeRows[] = {
    {"pdf", "application/pdf"},
    {"ps", "application/postscript"},
    {"eps", "application/postscript"},
    {"tif", "image/tiff"},
    {"tiff", "image/tiff"},
    {"jpg", "image/jpeg"},
    {"jpeg", "image/jpeg"},
    {"xps", "application/vnd.ms-xpsdocument"},
    {"txt", "text/plain"},
    {"htm", "text/html"},
    {"html", "text/html"},
    {"png", "image/png"},
    {"gif", "image/gif"},
    {"csv", "text/csv"},
    {"xml", "application/xml"},
    {"json", "application/json"},
    {"zip", "application/zip"},
    {"gz", "application/gzip"},
    {"rtf", "application/rtf"},
    {"docx", "application/vnd.openxmlformats-officedocument.wordprocessingml.document"},
    {"xlsx", "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet"},
    {"pptx", "application/vnd.openxmlformats-officedocument.presentationml.presentation"},
};

std::string lower(std::string text)
{
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}

// A token of RFC 2045, section 5.1.
bool is_token(const std::string& text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return c > 0x20 && c < 0x7F && std::strchr("()<>@,;:\\\"/[]?=", c) == nullptr;
    });
}

bool check_type(const std::string& type, Failure& failure)
{
    const std::size_t slash = type.find('/');
    if (slash == std::string::npos || !is_token(type.substr(0, slash)) || !is_token(type.substr(slash + 1)))
        return fail(failure, kExitUsage, kStep,
                    "\"" + type + "\" is not a MIME type of the form type/subtype");
    // RFC 2045, section 6.4: these carry no base64, and everything attached goes out in base64.
    const std::string group = lower(type.substr(0, slash));
    if (group == "multipart" || group == "message")
        return fail(failure, kExitUsage, kStep, "a file cannot be attached as " + type);
    return true;
}

bool inspect(const AttachOption& option, Attachment& attachment, Failure& failure)
{
    attachment.path = option.file;
    // O_NONBLOCK: a FIFO without a writer must not hold the client up before it is refused.
    const Descriptor file(::open(option.file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat facts = {};
    if (!file.valid() || ::fstat(file.get(), &facts) != 0) {
        const int why = errno;
        fail(failure, kExitNoInput, kStep, std::string("the file cannot be read: ") + std::strerror(why));
        failure.where = option.file;
        return false;
    }
    if (!S_ISREG(facts.st_mode)) {
        fail(failure, kExitNoInput, kStep, "this is not a file whose size is known");
        failure.where = option.file;
        return false;
    }
    attachment.size = static_cast<std::uint64_t>(facts.st_size);
    attachment.name = safe_file_name(option.file);
    attachment.renamed = option.file.substr(option.file.rfind('/') + 1) != attachment.name;
    attachment.type = option.type.empty() ? type_of_file_name(attachment.name) : option.type;
    if (!check_type(attachment.type, failure)) return false;
    // A prefix of the type may match a row, so the row must say the same as the type.
    const auto value = CntsMLUTLMailType::TestContentType(attachment.type.c_str());
    if (lower(attachment.type) == CntsMLUTLMailType::GetContentType(value)) attachment.vocabulary = value;
    return true;
}

}  // namespace

std::string safe_file_name(const std::string& path)
{
    const std::string name = path.substr(path.rfind('/') + 1);
    std::string safe;
    for (std::size_t i = 0; i < name.size();) {
        const std::size_t width = utf8_width(name.data() + i, name.size() - i);
        const char c = name[i];
        const bool at_an_end = i == 0 || i + 1 == name.size();
        const bool fits =
            width == 1 && c >= 0x20 && c != 0x7F && c != '"' && c != '\\' && (c != ' ' || !at_an_end);
        safe += fits ? c : '_';
        i += std::max<std::size_t>(width, 1);
    }
    return safe.empty() ? "_" : safe;
}

const char* type_of_file_name(const std::string& name)
{
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos) return kUnknownType;
    const std::string extension = lower(name.substr(dot + 1));
    for (const auto& row : kTypeRows)
        if (extension == row.extension) return row.type;
    return kUnknownType;
}

bool inspect_attachments(const std::vector<AttachOption>& options, std::vector<Attachment>& attachments,
                         Failure& failure)
{
    for (const AttachOption& option : options) {
        Attachment attachment;
        if (!inspect(option, attachment, failure)) return false;
        attachments.push_back(std::move(attachment));
    }
    return true;
}

std::uint64_t base64_size(std::uint64_t size)
{
    const std::uint64_t characters = (size + 2) / 3 * 4;
    const std::uint64_t lines = (characters + 75) / 76;
    return lines == 0 ? 0 : characters + 2 * (lines - 1);
}

std::string part_header(const Attachment& attachment, const std::string& boundary)
{
    return "\r\n--" + boundary + "\r\nContent-Type: " + attachment.type + ";\r\n\tname=\"" + attachment.name +
           "\"\r\nContent-Disposition: attachment;\r\n\tfilename=\"" + attachment.name +
           "\"\r\nContent-Transfer-Encoding: base64\r\n\r\n";
}

CntsSMTPSendMailPart* make_part(const Attachment& attachment)
{
    auto* const part = new (std::nothrow) CntsSMTPSendMailPart();
    if (part == nullptr) return nullptr;
    part->m_eContentType = attachment.vocabulary;
    part->m_eContentDisposition = CntsMLUTLMailType::eContentDispositionAttachment;
    part->m_eTransferEncoding = CntsMLUTLMailType::eTransferEncodingBase64;
    part->m_cFIleName.CopyString(attachment.name.c_str(), -1);
    return part;
}

}  // namespace velorin::cli
