#include "compose.h"

#include <cstdio>
#include <cstring>

#include <sys/random.h>

#include "CutlCPLBOSBoundary.h"

#include "charset_choice.h"
#include "header_words.h"
#include "word_decoder.h"

namespace velorin::cli {

namespace {

constexpr const char* kStep = "mail";
constexpr std::size_t kMaxEntry = 128;  // octets of one address entry that the library writes
constexpr std::size_t kMaxLine = 998;   // octets of a header line (RFC 5322, section 2.1.1)
constexpr std::size_t kMaxIdentifier =
    900;  // leaves room for the longest field name and stays below kMaxLine
constexpr const char* kSeparators = ";,";

std::string entry_sentence(const char* name, const std::string& entry, const char* what)
{
    return std::string("the address \"") + entry + "\" of " + name + " " + what;
}

// The bare address goes to the server, where a blank or a bracket would end it.
bool is_mailbox(const CutlCPLBMString& address)
{
    CutlCPLBMString account;
    CutlCPLBMString domain;
    if (CntsMLUTLMailAddress::SplitAddress(account, domain, address.GetString()) == 0) return false;
    const std::string text = address.GetString();
    const bool quoted = text[0] == '"';
    return quoted || text.find_first_of(" \t<>\"") == std::string::npos;
}

// Octets of a field's name with the blank behind it.
std::size_t column_of(const std::string& option)
{
    static constexpr struct {
        const char* option;
        const char* field;
    } rows[] = {{"from", "From: "},
                {"to", "To: "},
                {"cc", "Cc: "},
                {"sender", "Sender: "},
                {"reply-to", "Reply-To: "},
                {"mdn", "Disposition-Notification-To: "}};
    for (const auto& row : rows)
        if (option == row.option) return std::strlen(row.field);
    return 0;
}

// Checks one entry.
//   out     encoded: as it goes into the header
bool check_entry(const char* name, const std::string& charset, const std::string& text, std::string& encoded,
                 Failure& failure)
{
    std::string wrong;
    if (!encode_entry(text, charset, column_of(name), encoded, wrong))
        return fail(failure, kExitData, kStep, entry_sentence(name, text, wrong.c_str()));
    if (encoded.size() > kMaxEntry)
        return fail(failure, kExitData, kStep,
                    entry_sentence(name, text,
                                   encoded == text ? "is longer than 128 octets"
                                                   : "is longer than 128 octets when its name is encoded"));
    CutlCPLBMString address;
    if (CntsMLUTLMailAddress::GetRealAddress(address, text.c_str()) == 0)
        return fail(failure, kExitData, kStep, entry_sentence(name, text, "is empty"));
    if (std::strchr(address.GetString(), '@') == nullptr)
        return fail(failure, kExitData, kStep, entry_sentence(name, text, "has no \"@\""));
    if (!is_mailbox(address))
        return fail(failure, kExitData, kStep,
                    entry_sentence(name, text, "is not of the form account@domain"));
    return true;
}

// One field of at most one entry; an empty text is none.
bool single_address(const char* name, const std::string& charset, const std::string& text,
                    CntsMLUTLMailAddress& address, Failure& failure)
{
    address = CntsMLUTLMailAddress("");  // not null: the library traces an error for that whenever it looks
    if (text.empty()) return true;
    std::string list;
    unsigned entries = 0;
    if (!join_addresses(name, charset, {text}, list, entries, failure)) return false;
    if (entries > 1)
        return fail(failure, kExitData, kStep, std::string(name) + " holds more than one address");
    address = CntsMLUTLMailAddress(list.c_str());
    return true;
}

bool address_list(const char* name, const std::string& charset, const std::vector<std::string>& values,
                  CntsMLUTLMailAddress& address, unsigned& entries, Failure& failure)
{
    address = CntsMLUTLMailAddress("");
    if (values.empty()) return true;
    std::string list;
    unsigned count = 0;
    if (!join_addresses(name, charset, values, list, count, failure)) return false;
    address = CntsMLUTLMailAddress(list.c_str());
    entries += count;
    return true;
}

bool check_recipients(const MailOptions& options, const DomainRule& rule, Failure& failure)
{
    if (rule.kind == DomainRule::Kind::kNone) return true;
    const DomainChecker checker(rule);
    for (const auto* const field : {&options.to, &options.cc, &options.bcc})
        for (const std::string& value : *field)
            for (const std::string& entry : entries_of(value))
                if (!checker.passes(entry))
                    return fail(failure, kExitPermission, "recipients", checker.refusal(entry));
    return true;
}

bool compose_addresses(const MailOptions& options, const Account& account, CntsSMTPSendMail& mail,
                       Failure& failure)
{
    if (account.from.empty()) return fail(failure, kExitUsage, kStep, "no author, give --from ADDR");
    const std::string& charset = account.charset;
    unsigned recipients = 0;
    if (!single_address("from", charset, account.from, mail.m_cFrom, failure)) return false;
    if (!address_list("to", charset, options.to, mail.m_cTo, recipients, failure)) return false;
    if (!address_list("cc", charset, options.cc, mail.m_cCc, recipients, failure)) return false;
    if (!address_list("bcc", charset, options.bcc, mail.m_cBcc, recipients, failure)) return false;
    if (recipients == 0)
        return fail(failure, kExitUsage, kStep, "no recipient, give --to, --cc or --bcc ADDR");
    if (!check_recipients(options, account.recipients, failure)) return false;
    if (!single_address("sender", charset, account.sender, mail.m_cSender, failure)) return false;
    unsigned ignored = 0;
    const auto list_of = [](const std::string& text) {
        return text.empty() ? std::vector<std::string>() : std::vector<std::string>{text};
    };
    if (!address_list("reply-to", charset, list_of(account.reply_to), mail.m_cReplyTo, ignored, failure))
        return false;
    CntsMLUTLMailAddress notified;
    if (!address_list("mdn", charset, list_of(options.mdn), notified, ignored, failure)) return false;
    mail.SetMdnAddress(notified);
    return true;
}

bool compose_subject(const std::string& typed, const std::string& charset, CntsSMTPSendMail& mail,
                     Failure& failure)
{
    constexpr std::size_t kColumn = sizeof "Subject: " - 1;
    if (!check_header_text("subject", typed, failure)) return false;
    if (holds_cut_word(typed)) return fail(failure, kExitData, kStep, std::string("subject ") + kCutWord);
    std::string subject = typed;
    std::string wrong;
    if (!is_plain(typed) && !encode_words(typed, charset, {kColumn, 0, true}, subject, wrong))
        return fail(failure, kExitData, kStep, "subject " + wrong);
    mail.m_cSubject.CopyString(subject.c_str(), -1);
    return true;
}

bool compose_identifiers(const MailOptions& options, CntsSMTPSendMail& mail, Failure& failure)
{
    std::string list;
    if (!join_identifiers("message-id", options.message_id, list, failure)) return false;
    if (list.find(' ') != std::string::npos)
        return fail(failure, kExitData, kStep, "message-id holds more than one identifier");
    if (list.empty()) {
        // Made here and not by the service, so that the caller learns which it is.
        CutlCPLBMString fresh;
        if (mail.CreateMessageID(mail.m_cFrom, fresh) == 0)
            return fail(failure, kExitSystem, kStep,
                        "no message identifier can be made, memory may have run out");
        mail.SetMessageID(fresh);
    } else {
        mail.SetMessageID(list.c_str());
    }
    if (!join_identifiers("in-reply-to", options.in_reply_to, list, failure)) return false;
    if (!list.empty()) mail.SetInReplyTo(list.c_str());
    if (!join_identifiers("references", options.references, list, failure)) return false;
    if (!list.empty()) mail.SetReferences(list.c_str());
    return true;
}

// A boundary that no text holds but by a chance of one in 2 to the 128th. "=_" cannot stand in base64 or
// quoted-printable (RFC 2045, section 6.7).
bool make_boundary(std::string& boundary)
{
    unsigned char octets[16];
    if (::getrandom(octets, sizeof octets, 0) != static_cast<ssize_t>(sizeof octets)) return false;
    boundary = "=_velorin_";
    char digits[3];
    for (const unsigned char octet : octets) {
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(octet));
        boundary += digits;
    }
    return true;
}

std::uint64_t text_size(const MailText& text)
{
    return text.encoding == CntsMLUTLMailType::eTransferEncodingBase64 ? base64_size(text.octets.size())
                                                                       : text.octets.size();
}

}  // namespace

bool join_addresses(const char* name, const std::string& charset, const std::vector<std::string>& values,
                    std::string& list, unsigned& entries, Failure& failure)
{
    list.clear();
    entries = 0;
    for (const std::string& value : values) {
        const char* what = nullptr;
        if (holds_cut_word(value)) what = kCutWord;
        if (what != nullptr || !is_header_text(value, what))
            return fail(failure, kExitData, kStep, std::string("an address of ") + name + " " + what);
        const CntsMLUTLMailAddress field(value.c_str());
        CutlCPLBMString entry;
        const unsigned before = entries;
        for (int position = 0; field.GetAddress(entry, position, kSeparators) == 1; ++entries) {
            std::string encoded;
            if (!check_entry(name, charset, entry.GetString(), encoded, failure)) return false;
            if (entries > 0) list += ", ";
            list += encoded;
        }
        if (entries == before)
            return fail(failure, kExitData, kStep, std::string("an address of ") + name + " is empty");
    }
    return true;
}

bool check_header_text(const char* name, const std::string& text, Failure& failure)
{
    const char* what = nullptr;
    if (!is_header_text(text, what)) return fail(failure, kExitData, kStep, std::string(name) + " " + what);
    if (is_plain(text) && std::strlen(name) + 2 + text.size() > kMaxLine)
        return fail(failure, kExitData, kStep,
                    std::string(name) + " is too long for one header line of 998 octets");
    return true;
}

bool join_identifiers(const char* name, const std::string& text, std::string& list, Failure& failure)
{
    list.clear();
    const char* what = "is not US-ASCII";
    if (!is_plain(text) || !is_header_text(text, what))
        return fail(failure, kExitData, kStep, std::string(name) + " " + what);
    const char* const between = " \t,<>";
    for (std::size_t begin = text.find_first_not_of(between); begin != std::string::npos;
         begin = text.find_first_not_of(between, begin)) {
        std::size_t end = text.find_first_of(between, begin);
        if (end == std::string::npos) end = text.size();
        if (end - begin > kMaxIdentifier)
            return fail(failure, kExitData, kStep,
                        std::string(name) + " holds an identifier of more than 900 octets");
        if (!list.empty()) list += " ";
        list += "<" + text.substr(begin, end - begin) + ">";
        begin = end;
    }
    if (list.empty() && !text.empty())
        return fail(failure, kExitData, kStep, std::string(name) + " holds no identifier");
    return true;
}

std::string rfc5322_date(std::time_t moment)
{
    struct tm local = {};
    char text[64] = {};
    if (::localtime_r(&moment, &local) == nullptr) return std::string();
    // The locale of this program stays "C", so the names are English.
    if (std::strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S %z", &local) == 0) return std::string();
    return text;
}

bool is_rfc5322_date(const std::string& text)
{
    for (const char* format :
         {"%a, %d %b %Y %H:%M:%S ", "%a, %d %b %Y %H:%M ", "%d %b %Y %H:%M:%S ", "%d %b %Y %H:%M "}) {
        struct tm parsed = {};
        const char* const zone = ::strptime(text.c_str(), format, &parsed);
        if (zone == nullptr) continue;
        if (std::strcmp(zone, "GMT") == 0 || std::strcmp(zone, "UT") == 0) return true;
        if ((*zone != '+' && *zone != '-') || std::strspn(zone + 1, "0123456789") != 4) continue;
        const char* const rest = zone + 5;  // nothing, or a comment with the zone's name
        return *rest == '\0' || (rest[0] == ' ' && rest[1] == '(' && text.back() == ')');
    }
    return false;
}

bool compose_header(const MailOptions& options, const Account& account, CntsSMTPSendMail& mail,
                    Failure& failure)
{
    if (!check_charset(kStep, account.charset, failure)) return false;
    if (!compose_addresses(options, account, mail, failure)) return false;
    if (!compose_subject(options.subject, account.charset, mail, failure)) return false;
    if (!check_header_text("date", options.date, failure)) return false;
    if (!options.date.empty() && !is_rfc5322_date(options.date))
        return fail(failure, kExitData, kStep, "date is not of the form \"Thu, 01 Jan 2026 12:00:00 +0100\"");
    const std::string date = options.date.empty() ? rfc5322_date(std::time(nullptr)) : options.date;
    mail.m_cDate.CopyString(date.c_str(), -1);
    return compose_identifiers(options, mail, failure);
}

bool compose_content(const MailText& text, bool fax, bool attachments, CntsSMTPSendMail& mail,
                     Failure& failure)
{
    mail.m_eCharSet = text.charset;
    mail.m_eTransferEncoding = text.encoding;
    mail.m_eContentType = CntsMLUTLMailType::eContentTypeTextPlain;
    if (!fax && !attachments) return true;
    if (fax) {
        mail.m_eTransferEncoding =
            CntsMLUTLMailType::eTransferEncoding7bit;  // of the first part, which stays empty
        mail.SetContentCIAJWNETFAX(1);
    }
    std::string boundary;
    if (!make_boundary(boundary))
        return fail(failure, kExitSystem, kStep, "the system gives no random octets for the boundary");
    mail.m_eContentType = CntsMLUTLMailType::eContentTypeMultipartMixed;
    mail.m_cBoundaryString.CopyString(boundary.c_str(), -1);
    return true;
}

std::string fax_text_header(const MailText& text, const std::string& boundary)
{
    return "\r\n--" + boundary + "\r\nContent-Type: text/plain; charset=\"" +
           CntsMLUTLMailType::GetCharSet(text.charset) +
           "\"\r\nContent-Disposition: inline\r\nContent-Transfer-Encoding: " +
           CntsMLUTLMailType::GetTransferEncoding(text.encoding) + "\r\nContent-X-CIAJWNETFAX: " +
           CntsMLUTLMailType::GetContetXCiajwnetfax(CntsMLUTLMailType::eContetXCiajwnetfaxIgnore) +
           "\r\n\r\n";
}

bool measure_mail(CntsSMTPSendMail& mail, const MailText& text, bool fax,
                  const std::vector<Attachment>& attachments, std::uint64_t& octets, Failure& failure)
{
    char* header = nullptr;
    long length = 0;
    if (mail.MakeHeader(header, length) == 0)
        return fail(failure, kExitData, kStep,
                    "the library composes no header from these fields, or memory ran out");
    CutlCPLBOSBoundary::MemFree(header);
    octets = static_cast<std::uint64_t>(length) + text_size(text);
    if (mail.m_eContentType == CntsMLUTLMailType::eContentTypeTextPlain) {
        // The mail service ends the last line.
        const bool base64 = text.encoding == CntsMLUTLMailType::eTransferEncodingBase64;
        if (base64 || !text.ends_in_line_end) octets += 2;
        return true;
    }
    const std::string boundary = mail.m_cBoundaryString.GetString();
    if (fax) octets += fax_text_header(text, boundary).size();
    for (const Attachment& attachment : attachments)
        octets += part_header(attachment, boundary).size() + base64_size(attachment.size);
    octets += boundary.size() + 8;  // CR LF, "--" on either side, CR LF
    return true;
}

}  // namespace velorin::cli
