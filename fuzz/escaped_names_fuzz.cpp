// Escaped file names, as others wrote them: charset'language'text.
//   input   the allocation that fails (0: none), octets of the text that are decoded, the value
#include <algorithm>
#include <cctype>
#include <string>

#include "CntsMLUTLMailPart.h"
#include "CntsMLUTLMimeUtility.h"
#include "fuzz_input.h"
#include "fuzz_platform.h"
#include "fuzz_property.h"

namespace {

using velorin::CntsMLUTLMailPart;
using velorin::CntsMLUTLMimeUtility;
using namespace velorin_fuzz;

unsigned value_of(char digit)
{
    static const std::string digits = "0123456789ABCDEFabcdef";
    const std::size_t at = digit != '\0' ? digits.find(digit) : std::string::npos;
    if (at == std::string::npos) return 0;
    return static_cast<unsigned>(at < 16 ? at : at - 6);
}

// The octets of the first `length` of a text; what an escape wants behind them is the text's, then zero.
std::string unescaped(const std::string& text, std::size_t length)
{
    const auto at = [&](std::size_t i) { return i < text.size() ? text[i] : '\0'; };
    std::string octets;
    for (std::size_t i = 0; i < length;) {
        if (text[i] != '%') {
            octets += text[i++];
            continue;
        }
        octets += static_cast<char>(value_of(at(i + 1)) * 16 + value_of(at(i + 2)));
        i += 3;
    }
    return octets;
}

std::string trimmed(const std::string& text)
{
    const char* const blanks = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(blanks);
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

std::string text_of(const CutlCPLBMString& text)
{
    return text.GetString() != nullptr ? text.GetString() : "(null)";
}

void check_digits(char c)
{
    const bool is_lower = std::islower(static_cast<unsigned char>(c)) != 0;
    require(CntsMLUTLMimeUtility::EscapeDecode(c) == (is_lower ? 0 : value_of(c)),
            "only upper case is a digit");
}

void check_text(const ExactText& text, std::size_t length)
{
    const std::string expected = unescaped(std::string(text.view()), length);
    const Exact out(std::string(expected.size(), '\x55'));
    CntsMLUTLMimeUtility::EscapeStringDecode(text.data(), static_cast<int>(length), out.data());
    require(std::equal(expected.begin(), expected.end(), out.data()), "every escape is its octet");
}

// The file name and extension that a value gives a part.
struct Name {
    std::string file = "before";
    std::string extension = "before";
};

Name name_of(const std::string& value)
{
    Name name;
    const std::size_t charset_end = value.find('\'');
    const std::size_t language_end =
        charset_end == std::string::npos ? charset_end : value.find('\'', charset_end + 1);
    if (language_end == std::string::npos) return name;
    const std::string text = value.substr(language_end + 1);
    std::string octets = unescaped(text, std::min(text.find(';'), text.size()));
    octets = octets.substr(0, octets.find('\0'));
    name.file = trimmed(octets);
    const std::size_t dot = octets.rfind('.');
    if (dot != std::string::npos && dot > 0 && dot + 1 < octets.size())
        name.extension = octets.substr(dot + 1);
    return name;
}

void check_value(const ExactText& value, unsigned failing)
{
    const std::string before(value.view());
    const Platform platform(failing);
    CntsMLUTLMailPart part;
    part.m_cFIleName.CopyString("before", -1);
    part.m_cExtension.CopyString("before", -1);
    CntsMLUTLMimeUtility::DecodeAndSetEscapeString(part, value.data());
    const Name expected = platform.has_failed() ? Name() : name_of(before);
    require(text_of(part.m_cFIleName) == expected.file, "the file name is the text, unescaped and trimmed");
    require(text_of(part.m_cExtension) == expected.extension, "the extension is what follows the last dot");
    require(value.view() == before, "the value stays as it is");
    require(platform.lines() == (platform.has_failed() ? 1u : 0u), "a failure is traced once");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const unsigned failing = input.below(2);
    const unsigned wanted = input.octet();
    const ExactText value(input.rest());

    check_digits(static_cast<char>(wanted));
    check_text(value, std::min<std::size_t>(wanted, value.view().size()));
    check_value(value, failing);
    return 0;
}
