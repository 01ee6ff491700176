// Identifiers that answers carry: kept, cut to the last twenty, and written into a header.
//   input   which of them, the text
#include <string>

#include "CntsSMTPSendMail.h"
#include "fuzz_input.h"
#include "fuzz_result.h"

namespace {

using velorin::CntsSMTPSendMail;
using namespace velorin_fuzz;

constexpr std::size_t kNone = std::string::npos;

std::string trimmed(const std::string& text)
{
    const char* const blanks = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(blanks);
    return begin == kNone ? "" : text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

std::string text_of(const CutlCPLBMString& text)
{
    return text.GetString() != nullptr ? text.GetString() : "(null)";
}

// From the last "<" before the twentieth ">" from the end, or the first there is.
std::string last_twenty(const std::string& text)
{
    std::size_t close = kNone;
    int count = 0;
    for (std::size_t at = text.size(); at > 0 && count < CntsSMTPSendMail::REFERENCES_MAX; --at) {
        if (text[at - 1] != '>') continue;
        close = at - 1;
        ++count;
    }
    const std::size_t open = close == kNone || close == 0 ? kNone : text.rfind('<', close - 1);
    return open == kNone ? "" : trimmed(text.substr(open));
}

std::string bracketed(const std::string& text)
{
    std::string id = trimmed(text);
    if (id.empty()) return id;
    if (id.front() != '<') id.insert(id.begin(), '<');
    if (id.back() != '>') id += '>';
    return id;
}

using Set = void (CntsSMTPSendMail::*)(const char*);
using Get = int (CntsSMTPSendMail::*)(CutlCPLBMString&) const;

struct Kind {
    Set set;
    Get get;
    std::string (*expected)(const std::string&);
};

const Kind kKinds[] = {
    {&CntsSMTPSendMail::SetReferences, &CntsSMTPSendMail::GetReferences, last_twenty},
    {&CntsSMTPSendMail::SetMessageID, &CntsSMTPSendMail::GetMessageID, bracketed},
    {&CntsSMTPSendMail::SetInReplyTo, &CntsSMTPSendMail::GetInReplyTo, trimmed},
};

std::string kept(CntsSMTPSendMail& mail, const Kind& kind, const std::string& text)
{
    const ExactText exact(text);
    (mail.*kind.set)(exact.data());
    CutlCPLBMString out("before");
    const int result = (mail.*kind.get)(out);
    require(result == 1 || text_of(out) == "before", "nothing kept is nothing handed over");
    return result == 1 ? text_of(out) : "";
}

// The lines of a header for the identifiers of a text; nothing when there is none, or one does not fit its line.
std::optional<std::string> expected_lines(const std::string& text)
{
    constexpr std::size_t kLongest = 1023;
    std::string lines;
    for (std::size_t open = text.find('<'); open != kNone;) {
        const std::size_t close = text.find('>', open);
        if (close == kNone) break;
        const std::string line =
            (lines.empty() ? "Name: " : "\t") + text.substr(open, close + 1 - open) + "\r\n";
        if (line.size() > kLongest) return std::nullopt;
        lines += line;
        open = text.find('<', close);
    }
    return text.empty() || !lines.empty() ? std::optional<std::string>(lines) : std::nullopt;
}

void check_lines(CntsSMTPSendMail& mail, const std::string& text)
{
    char* block = nullptr;
    long length = 0;
    const int result = mail.MakeHeaderBracket(CutlCPLBMString(text.c_str()), "Name:", block, length);
    const std::string lines = length > 0 ? std::string(block, static_cast<std::size_t>(length)) : "";
    const Block freed(block, length);
    const std::optional<std::string> expected = expected_lines(text);
    require((result == 1) == expected.has_value(), "identifiers make a header, and nothing else does");
    require(lines == expected.value_or(""), "every identifier has a line");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const Kind& kind = kKinds[input.below(std::size(kKinds))];
    const std::string rest = input.rest();
    const std::string text = rest.substr(0, rest.find('\0'));

    const Platform platform;
    CntsSMTPSendMail mail;
    const std::string first = kept(mail, kind, text);
    require(first == kind.expected(text), "what is kept is what the rules tell");
    require(kept(mail, kind, first) == first, "what is kept stays what it is");
    check_lines(mail, text);
    check_lines(mail, first);
    return 0;
}
