// Reads every mail of a POP3 mailbox twice, its header texts as they came and converted, and writes what the library
// gave: one line of JSON a mail, octets in hexadecimal digits.
//   corpus-read-mails embedded|daemon PORT <<< USER PASSWORD
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "CutlCPLBOSBoundary.h"
#include "ntc_email.h"
#include "velorin_mail_service.h"

namespace {

using namespace velorin;

std::string hex(std::string_view octets)
{
    static const char digits[] = "0123456789abcdef";
    std::string out = "\"";
    out.reserve(octets.size() * 2 + 2);
    for (const char octet : octets) {
        const auto value = static_cast<unsigned char>(octet);
        out += digits[value >> 4];
        out += digits[value & 15];
    }
    return out + '"';
}

std::string hex(const CutlCPLBMString& text)
{
    if (text.GetString() == nullptr) return "null";
    return hex(std::string_view(text.GetString(), static_cast<std::size_t>(text.GetLength())));
}

std::string name_of(std::uint32_t code)
{
    const ReturnCode* const row = find_return_code(code);
    return code == 0 ? "ok" : row != nullptr ? row->name : std::to_string(code);
}

void need(std::uint32_t code, const char* operation)
{
    if (code != 0) throw std::runtime_error(std::string(operation) + ": " + name_of(code));
}

// The header operations: an answer that was cut to fit still fills the mail.
std::string need_filled(std::uint32_t code, const char* operation)
{
    const std::string name = name_of(code);
    if (name != "answer-cut") need(code, operation);
    return name;
}

std::string_view octets_of(const CntsMLUTLMailPart& part)
{
    return {part.m_pBuffer, part.m_pBuffer != nullptr ? static_cast<std::size_t>(part.m_nLength) : 0};
}

std::string decoded(const CntsMLUTLMailPart& part)
{
    const bool base64 = part.m_eTransferEncoding == CntsMLUTLMailType::eTransferEncodingBase64;
    const bool quoted = part.m_eTransferEncoding == CntsMLUTLMailType::eTransferEncodingQuotedPrintable;
    if (!base64 && !quoted) return std::string(octets_of(part));
    void* block = nullptr;
    long length = 0;
    const int done = base64 ? CntsMLUTLMimeUtility::FromB64(part.m_pBuffer, part.m_nLength, block, length)
                            : CntsMLUTLMimeUtility::FromQP(part.m_pBuffer, part.m_nLength, block, length);
    if (done == 0) throw std::runtime_error("decoding failed");
    const std::unique_ptr<void, void (*)(void*)> owner(block, CutlCPLBOSBoundary::MemFree);
    return std::string(static_cast<const char*>(block), static_cast<std::size_t>(length));
}

// A part as it is written down.
class Part {
public:
    Part(const CntsMLUTLMailPart& facts, int depth, const std::string& code)
    {
        json_ = "{\"code\": \"" + code + "\", \"depth\": " + std::to_string(depth);
        number("content_type", facts.m_eContentType);
        number("transfer_encoding", facts.m_eTransferEncoding);
        number("disposition", facts.m_eContentDisposition);
        number("char_set", facts.m_eCharSet);
        text("type_text", facts.m_cContentType);
        text("type_value", facts.m_cContentTypeString);
        text("encoding_text", facts.m_cTransferEncoding);
        text("file_name", facts.m_cFIleName);
        text("extension", facts.m_cExtension);
    }

    void take(const CntsMLUTLMailPart& piece)
    {
        pieces_ += (pieces_.empty() ? "" : ", ") + hex(octets_of(piece));
        decoded_ += decoded(piece);
    }

    std::string json() const
    {
        return json_ + ", \"pieces\": [" + pieces_ + "], \"decoded\": " + hex(decoded_) + "}";
    }

private:
    void number(const char* name, int value)
    {
        json_ += std::string(", \"") + name + "\": " + std::to_string(value);
    }
    void text(const char* name, const CutlCPLBMString& value)
    {
        json_ += std::string(", \"") + name + "\": " + hex(value);
    }

    std::string json_;
    std::string pieces_;
    std::string decoded_;
};

std::string header_json(const CntsPOP3ReceiveMail& mail)
{
    const struct {
        const char* name;
        const CutlCPLBMString& text;
    } texts[] = {
        {"to", mail.m_cTo.m_cAddress},
        {"from", mail.m_cFrom.m_cAddress},
        {"cc", mail.m_cCc.m_cAddress},
        {"disposition-notification-to", mail.m_cNotificationTo.m_cAddress},
        {"reply-to", mail.m_cReplyTo.m_cAddress},
        {"subject", mail.m_cSubject},
        {"date", mail.m_cDate},
        {"message-id", mail.m_cMessageID},
        {"in-reply-to", mail.m_cInReplyTo},
        {"references", mail.m_cReferences},
        {"return-path", mail.m_cReturnPath.m_cAddress},
    };
    std::string json;
    for (const auto& each : texts)
        json += std::string(json.empty() ? "{\"" : ", \"") + each.name + "\": " + hex(each.text);
    return json + "}";
}

// Reads one mail from its header to its end.
std::string read_mail(CntsPOP3Boundary& session, const CntsPOP3MailInfo& info, bool convert)
{
    CntsPOP3ReceiveMail mail(info);
    const std::string code = need_filled(session.ReceiveHeader(mail, convert ? 1 : 0), "ReceiveHeader");
    const std::string header = header_json(mail);
    std::vector<Part> parts;
    if (mail.m_nPartDepth == 0) {
        parts.emplace_back(mail, 0, code);
        do {
            need(session.ReceiveBody(mail), "ReceiveBody");
            parts.back().take(*mail.GetPart());
        } while (mail.m_bIsHasNext != 0);
    } else {
        parts.emplace_back(mail, mail.m_nPartDepth, code);
        while (mail.m_bIsHasNext != 0) {
            const std::string part_code =
                need_filled(session.ReceivePartHeader(mail, convert ? 1 : 0), "ReceivePartHeader");
            parts.emplace_back(*mail.GetPart(), mail.m_nPartDepth, part_code);
            while (mail.GetPart()->m_bIsTerminate == 0) {
                need(session.ReceivePartBody(mail), "ReceivePartBody");
                parts.back().take(*mail.GetPart());
            }
        }
    }
    std::string json;
    for (const Part& part : parts)
        json += (json.empty() ? "" : ", ") + part.json();
    return "{\"code\": \"" + code + "\", \"header\": " + header + ", \"parts\": [" + json + "]}";
}

void read_mailbox(const CntsPOP3Settings& settings)
{
    CntsPOP3Boundary session(settings);
    need(session.Connect(), "Connect");
    CntsPOP3MailInfoList list(50);
    need(session.List(list, 0), "List");
    std::uint32_t code = 0;
    for (CntsPOP3MailInfo info; (code = session.ListNext(list, info)) == 0;) {
        const std::string name = info.m_cUniqId.GetString();
        try {
            const std::string raw = read_mail(session, info, false);
            const std::string converted = read_mail(session, info, true);
            std::printf("{\"name\": \"%s\", \"raw\": %s, \"converted\": %s}\n", name.c_str(), raw.c_str(),
                        converted.c_str());
        } catch (const std::runtime_error& failure) {
            throw std::runtime_error("mail " + name + ": " + failure.what());
        }
    }
    if (name_of(code) != "no-more-mail") need(code, "ListNext");
    need(session.Close(), "Close");
}

SPOP3Setting account_of(const char* port)
{
    SPOP3Setting account;
    std::string user;
    std::string password;
    std::cin >> user >> password;
    account.c_server = "127.0.0.1";
    account.n_port = std::atoi(port);
    account.c_user_id = user.c_str();
    account.c_passwd = password.c_str();
    return account;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3) return std::fputs("usage: corpus-read-mails embedded|daemon PORT\n", stderr), 64;
    try {
        std::unique_ptr<EmbeddedMailService> service;
        if (std::strcmp(argv[1], "embedded") == 0) service = std::make_unique<EmbeddedMailService>();
        read_mailbox(CntsPOP3Settings(account_of(argv[2])));
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "corpus-read-mails: %s\n", failure.what());
        return 1;
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
