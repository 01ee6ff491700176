#include "mail_manifest.h"

#include <cstring>
#include <strings.h>

#include "report.h"

namespace velorin::cli {

namespace {

// The value of a parameter of a header field, quotes taken away; enough for a character set.
std::string parameter_of(const std::string& value, const char* name)
{
    const std::size_t length = std::strlen(name);
    for (std::size_t at = value.find(';'); at != std::string::npos; at = value.find(';', at)) {
        at = value.find_first_not_of("; \t", at);
        if (at == std::string::npos) break;
        if (::strncasecmp(value.c_str() + at, name, length) != 0) continue;
        std::size_t begin = value.find_first_not_of(" \t", at + length);
        if (begin == std::string::npos || value[begin] != '=') continue;
        begin = value.find_first_not_of(" \t", begin + 1);
        if (begin == std::string::npos) break;
        if (value[begin] == '"') return value.substr(begin + 1, value.find('"', begin + 1) - begin - 1);
        return value.substr(begin, value.find_first_of("; \t", begin) - begin);
    }
    return std::string();
}

std::string lower(std::string text)
{
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}

class ObjectText {
public:
    explicit ObjectText(std::string indent) : indent_(std::move(indent)) {}

    void add_raw(const char* name, const std::string& value)
    {
        text_ += (text_.empty() ? "" : ",") + ("\n" + indent_) + json_string(name) + ": " + value;
    }
    void add(const char* name, const std::string& text) { add_raw(name, json_string(text)); }
    void add_given(const char* name, const std::string& text)
    {
        if (!text.empty()) add(name, text);
    }
    std::string text() const { return "{" + text_ + "\n" + indent_.substr(2) + "}"; }

private:
    std::string indent_;
    std::string text_;
};

std::string headers_of(const CntsPOP3ReceiveMail& mail)
{
    ObjectText object("    ");
    object.add_given("from", text_in(mail.m_cFrom.m_cAddress));
    object.add_given("to", text_in(mail.m_cTo.m_cAddress));
    object.add_given("cc", text_in(mail.m_cCc.m_cAddress));
    object.add_given("reply_to", text_in(mail.m_cReplyTo.m_cAddress));
    object.add_given("return_path", text_in(mail.m_cReturnPath.m_cAddress));
    object.add_given("disposition_notification_to", text_in(mail.m_cNotificationTo.m_cAddress));
    object.add_given("subject", text_in(mail.m_cSubject));
    object.add_given("date", text_in(mail.m_cDate));
    object.add_given("message_id", text_in(mail.m_cMessageID));
    object.add_given("in_reply_to", text_in(mail.m_cInReplyTo));
    object.add_given("references", text_in(mail.m_cReferences));
    object.add_given("content_type", text_in(mail.m_cContentTypeString));
    return object.text();
}

std::string part_text(const PartRecord& part)
{
    ObjectText object("      ");
    object.add("part", part.number);
    object.add_raw("depth", std::to_string(part.depth));
    object.add("type", part.type);
    object.add_given("content_type", part.type_value);
    object.add_given("charset", part.charset);
    object.add_given("encoding", part.encoding);
    object.add_given("disposition", part.disposition);
    object.add_given("file_name", part.file_name);
    if (part.file.empty()) return object.text();
    object.add("file", part.file);
    object.add_raw("size", std::to_string(part.size));
    if (!part.decoded) object.add_raw("decoded", "false");
    if (part.is_text) object.add_raw("utf8", part.in_utf8 ? "true" : "false");
    return object.text();
}

}  // namespace

std::string text_in(const CutlCPLBMString& text)
{
    return text.GetString() == nullptr
               ? std::string()
               : std::string(text.GetString(), static_cast<std::size_t>(text.GetLength()));
}

PartRecord describe_part(const CntsMLUTLMailPart& part)
{
    PartRecord record;
    record.type = lower(text_in(part.m_cContentType));
    if (record.type.empty()) record.type = "text/plain";  // RFC 2045, section 5.2
    record.type_value = text_in(part.m_cContentTypeString);
    record.charset = parameter_of(record.type_value, "charset");
    record.encoding = text_in(part.m_cTransferEncoding);
    record.disposition = CntsMLUTLMailType::GetContentDisposition(part.m_eContentDisposition);
    record.file_name = text_in(part.m_cFIleName);
    record.is_text = record.type.compare(0, 5, "text/") == 0 && record.file_name.empty() &&
                     part.m_eContentDisposition != CntsMLUTLMailType::eContentDispositionAttachment;
    const std::string encoding = lower(record.encoding);
    record.decoded = part.m_eTransferEncoding != CntsMLUTLMailType::eTransferEncodingUnknown ||
                     encoding.empty() || encoding == "binary";
    return record;
}

std::string manifest_of(const CntsPOP3ReceiveMail& mail, const MailEntry& entry, const std::string& account,
                        bool header_cut, const std::vector<PartRecord>& parts)
{
    ObjectText object("  ");
    object.add("account", account);
    object.add("unique_id", entry.uid);
    object.add_raw("number", std::to_string(entry.number));
    object.add_raw("size", std::to_string(entry.size));
    object.add_raw("headers", headers_of(mail));
    if (header_cut) object.add_raw("headers_cut", "true");
    std::string array;
    for (const PartRecord& part : parts)
        array += (array.empty() ? "" : ", ") + part_text(part);
    object.add_raw("parts", "[" + array + "]");
    return object.text() + "\n";
}

std::string PartNumbers::next(int depth)
{
    numbers_.resize(static_cast<std::size_t>(depth), 0);
    ++numbers_.back();
    std::string text;
    for (const unsigned number : numbers_)
        text += (text.empty() ? "" : ".") + std::to_string(number);
    return text;
}

}  // namespace velorin::cli
