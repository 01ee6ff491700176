// The header of an outgoing mail, made of whatever values and texts.
//   input   the allocation that fails (0: none), type, encoding, character set, marker; then lines: date, from, subject, to,
//           cc, bcc, reply-to, sender, notification, message id, in-reply-to, references, boundary. "-" is none, and in a
//           line "|" stands for a line end
#include <algorithm>
#include <string>

#include "CntsSMTPSendMail.h"
#include "fuzz_input.h"
#include "fuzz_result.h"

namespace {

using velorin::CntsMLUTLMailAddress;
using velorin::CntsSMTPSendMail;
using Type = velorin::CntsMLUTLMailType;
using namespace velorin_fuzz;

constexpr std::size_t kLongestLine = 1023;
constexpr std::size_t kLongestEntry = 128;

// Thrown by what cannot be written.
struct Refused {};

std::string text_of(const CutlCPLBMString& text)
{
    return text.GetString() != nullptr ? text.GetString() : "";
}

const std::string& fitting(const std::string& line)
{
    if (line.size() > kLongestLine) throw Refused();
    return line;
}

// A field with its value: whole, or when it is too long line by line.
std::string field(const std::string& name, const CutlCPLBMString& value)
{
    if (value.GetString() == nullptr) throw Refused();
    const std::string whole = name + " " + text_of(value) + "\r\n";
    std::size_t begin = 0;
    for (std::size_t at = whole.find("\r\n"); whole.size() > kLongestLine && at != std::string::npos;
         at = whole.find("\r\n", at + 2)) {
        const char next = at + 2 < whole.size() ? whole[at + 2] : ' ';
        if (next != ' ' && next != '\t') continue;
        if (at + 2 - begin > kLongestLine) throw Refused();
        begin = at + 2;
    }
    return whole;
}

std::string addresses(const std::string& name, const CntsMLUTLMailAddress& list, int& count)
{
    std::string lines;
    CutlCPLBMString entry;
    int position = 0;
    count = 0;
    while (list.GetAddress(entry, position, ";,") != 0) {
        if (text_of(entry).size() > kLongestEntry) throw Refused();
        lines += (count == 0 ? name + " " : ",\r\n\t") + text_of(entry);
        ++count;
    }
    return count == 0 ? "" : lines + "\r\n";
}

std::string identifiers(const std::string& name, const CutlCPLBMString& value)
{
    const std::string text = text_of(value);
    std::string lines;
    for (std::size_t open = text.find('<'); open != std::string::npos;) {
        const std::size_t close = text.find('>', open);
        if (close == std::string::npos) break;
        lines += fitting((lines.empty() ? name + " " : "\t") + text.substr(open, close + 1 - open) + "\r\n");
        open = text.find('<', close);
    }
    if (!text.empty() && lines.empty()) throw Refused();
    return lines;
}

std::string encoding(const CntsSMTPSendMail& mail, Type::eTransferEncoding written)
{
    if (mail.m_eTransferEncoding == 4 || mail.m_eTransferEncoding == 5) return "";
    return std::string("Content-Transfer-Encoding: ") + Type::GetTransferEncoding(written) + "\r\n";
}

std::string content(CntsSMTPSendMail& mail)
{
    const std::string type = Type::GetContentType(mail.m_eContentType);
    const std::string set = std::string("; charset=\"") + Type::GetCharSet(mail.m_eCharSet) + "\"\r\n";
    const std::string boundary = text_of(mail.m_cBoundaryString);
    std::string lines = "Mime-Version: 1.0\r\n";
    if (type.compare(0, 4, "text") == 0)
        return lines + "Content-Type: " + type + set + encoding(mail, mail.m_eTransferEncoding) + "\r\n";
    if (type.compare(0, 4, "mult") != 0) throw Refused();
    lines += fitting("Content-Type: " + type + ";\r\n\tboundary=\"" + boundary + "\"\r\n");
    lines += encoding(mail, Type::eTransferEncoding8bit) + "\r\n" + fitting("--" + boundary + "\r\n");
    lines += "Content-Type: text/plain" + set + encoding(mail, mail.m_eTransferEncoding);
    if (mail.IsIgnoreContentCIAJWNETFAX() != 0) lines += "Content-X-CIAJWNETFAX: IGNORE\r\n";
    return lines + "\r\n";
}

// The lines as the rules tell, up to and behind the identifier that the mail may be given.
struct Expected {
    std::string before;
    std::string behind;
};

std::optional<Expected> expected_header(CntsSMTPSendMail& mail)
{
    if (mail.m_eCharSet == 11 || mail.m_eCharSet == 12) return std::nullopt;
    try {
        Expected header;
        int to = 0;
        int cc = 0;
        int bcc = 0;
        int other = 0;
        header.before = field("Date:", mail.m_cDate) + field("From:", mail.m_cFrom.m_cAddress);
        header.before += field("Subject:", mail.m_cSubject);
        header.before += addresses("To:", mail.m_cTo, to) + addresses("Cc:", mail.m_cCc, cc);
        CutlCPLBMString entry;
        for (int position = 0; mail.m_cBcc.GetAddress(entry, position, ";,") != 0;)
            ++bcc;
        if (to + cc + bcc == 0) throw Refused();
        header.before += addresses("Reply-To:", mail.m_cReplyTo, other);
        header.before += addresses("Sender:", mail.m_cSender, other);
        if (other > 1) throw Refused();
        header.before += addresses("Disposition-Notification-To:", mail.m_cMdnAddress, other);
        header.before += identifiers("Message-Id:", mail.m_cMessageID);
        header.behind = identifiers("In-Reply-To:", mail.m_cInReplyTo);
        header.behind += identifiers("References:", mail.m_cReferences) + content(mail);
        return header;
    } catch (const Refused&) {
        return std::nullopt;
    }
}

// Between both: nothing, or the line of an identifier made of the clock and the From address.
void check_made_identifier(const CntsSMTPSendMail& mail, const std::string& line)
{
    if (line.empty()) return;
    require(text_of(mail.m_cMessageID).empty(), "an identifier that is there is kept");
    require(line.compare(0, 13, "Message-Id: <") == 0 && line.find('>') != std::string::npos,
            "an identifier is made with its brackets");
}

void check_header(CntsSMTPSendMail& mail, unsigned failing)
{
    const std::optional<Expected> expected = expected_header(mail);
    const Platform platform(failing);
    const std::optional<std::string> header =
        result_of([&](char*& out, long& length) { return mail.MakeHeader(out, length); });
    require(header || platform.lines() > 0, "a failure is traced");
    require(!header || expected, "what cannot be written is refused");
    if (!header) {
        // An identifier that is made may be too long for its line, or hold no bracket that closes.
        const bool is_made = text_of(mail.m_cMessageID).empty();
        require(!expected || platform.has_failed() || is_made, "what can be written is");
        return;
    }
    require(header->size() >= expected->before.size() + expected->behind.size() &&
                header->compare(0, expected->before.size(), expected->before) == 0 &&
                header->compare(header->size() - expected->behind.size(), std::string::npos,
                                expected->behind) == 0,
            "the lines are those that the rules tell");
    check_made_identifier(mail,
                          header->substr(expected->before.size(),
                                         header->size() - expected->before.size() - expected->behind.size()));
}

// A line of the input for a text; "-" leaves it null.
void read(CutlCPLBMString& text, Input& input)
{
    std::string line = input.line();
    line.erase(std::min(line.find('\0'), line.size()));
    if (line == "-") return;
    for (std::size_t at = line.find('|'); at != std::string::npos; at = line.find('|', at))
        line.replace(at, 1, "\r\n");
    text.CopyString(line.c_str(), -1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const unsigned failing = input.below(32);
    CntsSMTPSendMail mail;
    mail.m_eContentType = static_cast<Type::eContentType>(input.below(15));
    mail.m_eTransferEncoding = static_cast<Type::eTransferEncoding>(input.below(7));
    mail.m_eCharSet = static_cast<Type::eCharSet>(input.below(14));
    mail.SetContentCIAJWNETFAX(static_cast<int>(input.below(2)));
    for (CutlCPLBMString* const text :
         {&mail.m_cDate, &mail.m_cFrom.m_cAddress, &mail.m_cSubject, &mail.m_cTo.m_cAddress,
          &mail.m_cCc.m_cAddress, &mail.m_cBcc.m_cAddress, &mail.m_cReplyTo.m_cAddress,
          &mail.m_cSender.m_cAddress, &mail.m_cMdnAddress.m_cAddress, &mail.m_cMessageID, &mail.m_cInReplyTo,
          &mail.m_cReferences, &mail.m_cBoundaryString})
        read(*text, input);

    check_header(mail, failing);
    return 0;
}
