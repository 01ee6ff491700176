#include "property_support.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <map>

#include "CntsMLUTLMimeUtility.h"
#include "charset_support.h"
#include "mlutl_support.h"

namespace velorin_test {
namespace {

using velorin::CntsMLUTLMailType;
using velorin::CntsMLUTLMimeUtility;

// The same thousand cases on every machine; RC_PARAMS in the environment asks for others. The seed is printed in
// front of a program's first property.
class Parameters : public testing::Environment {
public:
    void SetUp() override
    {
        setenv("RC_PARAMS", "seed=2107 max_success=1000 max_size=300", 0);
        setenv("VELORIN_TRACE", "none", 0);  // texts that do not fit are traced
    }
};

const testing::Environment* const kParameters = testing::AddGlobalTestEnvironment(new Parameters);

// Some of every script that one of the sets holds, and a few that none but UTF-8 does.
Characters candidates()
{
    const char32_t ranges[][3] = {
        // first, last, step
        {0x01, 0x09, 1},       {0x0B, 0x0C, 1},       {0x0E, 0x17F, 1},    {0x2C0, 0x2DF, 1},
        {0x391, 0x451, 1},     {0x2010, 0x203F, 1},   {0x2160, 0x2179, 1}, {0x2190, 0x2312, 1},
        {0x2460, 0x2473, 1},   {0x2500, 0x254B, 1},   {0x3000, 0x30FE, 1}, {0x3231, 0x33CD, 1},
        {0x4E00, 0x9FA0, 13},  {0xE000, 0xE757, 97},  {0xFA0E, 0xFA2D, 1}, {0xFF01, 0xFFE6, 1},
        {0xAC00, 0xD7A3, 997}, {0x1F600, 0x1F64F, 5},
    };
    Characters characters;
    for (const auto& range : ranges)
        for (char32_t character = range[0]; character <= range[1]; character += range[2])
            characters.push_back(utf8_of(character));
    return characters;
}

std::optional<std::string> result_of(int result, void* block, long length)
{
    const Taken taken(block);
    if (result == 0) {
        RC_ASSERT(taken.is_null());
        RC_ASSERT(length == 0);
        return std::nullopt;
    }
    RC_ASSERT(taken.text()[length] == '\0');
    return taken.octets(length);
}

rc::Gen<char> any_octet(int lowest)
{
    return rc::gen::map(number(lowest, 255),
                        [](int octet) { return static_cast<char>(static_cast<unsigned char>(octet)); });
}

}  // namespace

rc::Gen<int> number(int first, int last)
{
    return rc::gen::resize(rc::kNominalSize, rc::gen::inRange(first, last + 1));
}

rc::Gen<std::string> any_octets()
{
    return rc::gen::container<std::string>(any_octet(0));
}

rc::Gen<std::string> octets_of_length(std::size_t length)
{
    return rc::gen::container<std::string>(length, any_octet(0));
}

rc::Gen<std::string> any_text()
{
    // The characters that stand for something in an encoding come as often as all others together.
    static const std::string special = "..==\r\n\t ?_%A";
    return rc::gen::container<std::string>(rc::gen::oneOf(rc::gen::elementOf(special), any_octet(1)));
}

std::size_t any_cut(std::size_t length)
{
    return static_cast<std::size_t>(*number(0, static_cast<int>(length)));
}

rc::Gen<CharSet> any_set()
{
    return rc::gen::map(number(0, 10), [](int set) { return static_cast<CharSet>(set); });
}

rc::Gen<CharSet> any_japanese_set()
{
    return rc::gen::map(number(5, 9), [](int set) { return static_cast<CharSet>(set); });
}

const Characters& alphabet_of(CharSet set)
{
    static std::map<int, Characters> alphabets;
    Characters& alphabet = alphabets[set];
    if (!alphabet.empty()) return alphabet;
    for (const std::string& character : candidates()) {
        const std::optional<std::string> there = converted(kUtf8, character, set);
        if (there && converted(set, *there, kUtf8) == character) alphabet.push_back(character);
    }
    RC_ASSERT(alphabet.size() >= 120U);  // ASCII at the least
    std::sort(alphabet.begin(), alphabet.end());
    return alphabet;
}

rc::Gen<Characters> any_characters(const Characters& alphabet)
{
    return rc::gen::container<Characters>(
        rc::gen::map(number(0, static_cast<int>(alphabet.size()) - 1),
                     [&alphabet](int index) { return alphabet[static_cast<std::size_t>(index)]; }));
}

std::string joined(const Characters& characters, std::string_view separator)
{
    std::string text;
    for (const std::string& character : characters) {
        if (&character != &characters.front()) text += separator;
        text += character;
    }
    return text;
}

std::vector<std::string> lines_of(const std::string& text)
{
    std::vector<std::string> lines;
    std::size_t begin = 0;
    for (std::size_t end = text.find("\r\n"); end != std::string::npos; end = text.find("\r\n", begin)) {
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 2;
    }
    lines.push_back(text.substr(begin));
    return lines;
}

std::optional<std::string> converted(CharSet from, std::string_view text, CharSet to)
{
    const ExactCopy source(text);
    std::vector<char> octets(text.size() * 8 + 8);  // each octet a pair in a mode of its own
    const CntsMLUTLMailType::ENCODED_STRING in = {from, source.data(), static_cast<int>(text.size())};
    CntsMLUTLMailType::ENCODED_STRING out = {to, octets.data(), static_cast<int>(octets.size())};
    int consumed = -1;
    if (CntsMLUTLMailType::ConvertEncodedString(in, out, consumed) != 0) return std::nullopt;
    RC_ASSERT(consumed == static_cast<int>(text.size()));
    return std::string(octets.data(), static_cast<std::size_t>(out.m_nLength));
}

std::string to_utf8(CharSet from, std::string_view text)
{
    const std::optional<std::string> utf8 = converted(from, text, kUtf8);
    RC_ASSERT(utf8.has_value());
    return *utf8;
}

std::optional<std::string> to_base64(std::string_view octets, int line)
{
    const ExactCopy in(octets);
    char* out = nullptr;
    long length = 0;
    const int result = CntsMLUTLMimeUtility::ToB64(in.data(), in.length(), out, length, line);
    return result_of(result, out, length);
}

std::optional<std::string> from_base64(std::string_view text)
{
    const ExactCopy in(text);
    void* out = nullptr;
    long length = 0;
    const int result = CntsMLUTLMimeUtility::FromB64(in.data(), in.length(), out, length);
    return result_of(result, out, length);
}

std::string to_quoted_printable(std::string_view text, int line)
{
    const ExactText in(text);
    char* out = nullptr;
    long columns = 0;
    RC_ASSERT(CntsMLUTLMimeUtility::ToQB(in.data(), in.length(), out, columns, line) == 1);
    return Taken(out).text();
}

std::string from_quoted_printable(std::string_view text)
{
    const ExactCopy in(text);
    void* out = nullptr;
    long length = 0;
    const int result = CntsMLUTLMimeUtility::FromQP(in.data(), in.length(), out, length);
    const std::optional<std::string> octets = result_of(result, out, length);
    RC_ASSERT(octets.has_value());
    return *octets;
}

std::optional<std::string> to_words(CharSet set, std::string_view utf8, int line)
{
    const ExactCopy in(utf8);
    char* out = nullptr;
    long length = 0;
    const int result = CntsMLUTLMimeUtility::ToMimeEncode(set, in.data(), in.length(), out, length, line);
    return result_of(result, out, length);
}

std::string encoded_header(std::string_view block, CharSet set)
{
    const ExactCopy in(block);
    char* out = nullptr;
    long length = 0;
    const int result = CntsMLUTLMimeUtility::InlineEncode(in.data(), in.length(), out, length, set);
    const std::optional<std::string> text = result_of(result, out, length);
    RC_ASSERT(text.has_value());
    return *text;
}

Decoded decoded_header(std::string_view text, int set_before)
{
    const ExactCopy in(text);
    char* out = nullptr;
    long length = 0;
    CharSet set = static_cast<CharSet>(set_before);
    const int result = CntsMLUTLMimeUtility::InlineDecode(in.data(), in.length(), out, length, set, 0);
    const std::optional<std::string> octets = result_of(result, out, length);
    RC_ASSERT(octets.has_value());
    return {*octets, set};
}

WordBudget::WordBudget(CharSet set, std::size_t length, int line)
{
    // "=?", "?B?", "?=" and the line end stand beside the name and the base64.
    const int room = line - static_cast<int>(std::string(CntsMLUTLMailType::GetCharSet(set)).size()) - 9;
    is_folded = room >= 4;
    chunk = is_folded ? static_cast<std::size_t>(room) / 4 * 3 : length;
}

}  // namespace velorin_test
