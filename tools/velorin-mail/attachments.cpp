#include "attachments.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

#include "descriptor.h"
#include "header_words.h"
#include "input_file.h"

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

bool fail_at(const std::string& file, const std::string& sentence, int exit_code, Failure& failure)
{
    fail(failure, exit_code, kStep, sentence);
    failure.where = file;
    return false;
}

bool name_it(const std::string& path, const std::string& charset, Attachment& attachment, Failure& failure)
{
    attachment.shown_name = safe_file_name(path);
    attachment.renamed = path.substr(path.rfind('/') + 1) != attachment.shown_name;
    const char* what = nullptr;
    if (!is_header_text(attachment.shown_name, what))
        return fail_at(path, std::string("the file's name ") + what, kExitData, failure);
    std::string wrong;
    if (!encode_file_name(attachment.shown_name, charset, attachment.name, wrong))
        return fail_at(path, "the file's name " + wrong, kExitData, failure);
    return true;
}

bool inspect(const AttachOption& option, const std::string& charset, Attachment& attachment, Failure& failure)
{
    attachment.path = option.file;
    // O_NONBLOCK: a FIFO without a writer must not hold the client up before it is refused.
    Descriptor file;
    if (!open_input(option.file, kStep, O_NONBLOCK, file, failure)) return false;
    struct stat facts = {};
    if (::fstat(file.get(), &facts) != 0 || !S_ISREG(facts.st_mode))
        return fail_at(option.file, "this is not a file whose size is known", kExitNoInput, failure);
    attachment.size = static_cast<std::uint64_t>(facts.st_size);
    if (!name_it(option.file, charset, attachment, failure)) return false;
    attachment.type = option.type.empty() ? type_of_file_name(attachment.shown_name) : option.type;
    if (!check_type(attachment.type, failure)) return false;
    // A prefix of the type may match a row, so the row must say the same as the type.
    const auto value = CntsMLUTLMailType::TestContentType(attachment.type.c_str());
    if (lower(attachment.type) == CntsMLUTLMailType::GetContentType(value)) attachment.vocabulary = value;
    return true;
}

}  // namespace

std::string safe_file_name(const std::string& path)
{
    const auto is_unsafe = [](char c) {
        const auto octet = static_cast<unsigned char>(c);
        return octet < 0x20 || octet == 0x7F || c == '"' || c == '\\';
    };
    std::string name = path.substr(path.rfind('/') + 1);
    std::replace_if(name.begin(), name.end(), is_unsafe, '_');
    return name.empty() ? "_" : name;
}

bool encode_file_name(const std::string& name, const std::string& charset, std::string& encoded,
                      std::string& wrong)
{
    // Of the two parameters that hold the name this one has less room.
    constexpr std::size_t kColumn = sizeof "\tfilename=\"" - 1;
    constexpr std::size_t kBehind = sizeof "\"" - 1;
    encoded = name;
    const bool passes =
        is_plain(name) && name.find("=?") == std::string::npos && name.front() != ' ' && name.back() != ' ';
    return passes || encode_words(name, charset, {kColumn, kBehind, false}, encoded, wrong);
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

bool inspect_attachments(const std::vector<AttachOption>& options, const std::string& charset,
                         std::vector<Attachment>& attachments, Failure& failure)
{
    for (const AttachOption& option : options) {
        Attachment attachment;
        if (!inspect(option, charset, attachment, failure)) return false;
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
