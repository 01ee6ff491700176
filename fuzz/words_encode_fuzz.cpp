// Encoded words of headers, written: of one text, and of all lines of a header block.
//   input   the allocation that fails (0: none), the character set, the line budget and 20, the octets
#include <algorithm>
#include <string>

#include "CntsMLUTLMimeUtility.h"
#include "fuzz_input.h"
#include "fuzz_result.h"

namespace {

using velorin::CntsMLUTLMailType;
using velorin::CntsMLUTLMimeUtility;
using namespace velorin_fuzz;
using CharSet = CntsMLUTLMailType::eCharSet;
using Text = std::optional<std::string>;

constexpr CharSet kUtf8 = CntsMLUTLMailType::eCharSetUtf8;

Text words_of(CharSet set, const std::string& text, int line)
{
    const Exact in(text);
    return result_of([&](char*& out, long& length) {
        return CntsMLUTLMimeUtility::ToMimeEncode(set, in.data(), in.length(), out, length, line);
    });
}

Text encoded_block(CharSet set, const std::string& block)
{
    const Exact in(block);
    return result_of([&](char*& out, long& length) {
        return CntsMLUTLMimeUtility::InlineEncode(in.data(), in.length(), out, length, set);
    });
}

std::string decoded_header(const std::string& text)
{
    const Exact in(text);
    CharSet set = CntsMLUTLMailType::eCharSetUnknown;
    return *result_of([&](char*& out, long& length) {
        return CntsMLUTLMimeUtility::InlineDecode(in.data(), in.length(), out, length, set, 0);
    });
}

// The words of a text as one: all but the last hold whole groups of base64.
std::string unfolded(std::string text, CharSet set)
{
    const std::string fold = std::string("?=\r\n\t=?") + CntsMLUTLMailType::GetCharSet(set) + "?B?";
    for (std::size_t at = text.find(fold); at != std::string::npos; at = text.find(fold, at))
        text.erase(at, fold.size());
    return text;
}

// The whole text in another set, when that has room for it.
Text converted(const std::string& text, CharSet set, std::size_t room)
{
    const Exact in(text);
    std::string out(room, '\0');
    const CntsMLUTLMailType::ENCODED_STRING source = {kUtf8, in.data(), static_cast<int>(in.length())};
    CntsMLUTLMailType::ENCODED_STRING target = {set, &out[0], static_cast<int>(room)};
    int consumed = -1;
    if (CntsMLUTLMailType::ConvertEncodedString(source, target, consumed) != 0) return std::nullopt;
    require(target.m_nLength >= 0 && static_cast<std::size_t>(target.m_nLength) <= room,
            "what is converted has room");
    out.resize(static_cast<std::size_t>(target.m_nLength));
    return out;
}

// Octets that a word takes at most; all of them when there is no room to fold.
std::size_t chunk_of(CharSet set, std::size_t length, int line)
{
    const int room = line - static_cast<int>(std::string(CntsMLUTLMailType::GetCharSet(set)).size()) - 9;
    return room / 4 >= 1 ? static_cast<std::size_t>(room / 4 * 3) : length;
}

void check_words(CharSet set, const std::string& text, int line)
{
    const Platform platform;
    const Text words = words_of(set, text, line);
    const bool is_named = CntsMLUTLMailType::GetCharSet(set)[0] != '\0';
    if (!is_named) {
        require(!words, "a set without a name has no words");
        return;
    }
    const std::size_t chunk = chunk_of(set, text.size(), line);
    const Text in_set = set == kUtf8 ? text : converted(text, set, chunk);
    require(words.has_value() == in_set.has_value(), "what converts and fits is encoded, and nothing else");
    if (!words) return;
    const std::string whole = unfolded(*words, set);
    require(whole.find_first_of(std::string("\r\n\t\0 ", 5)) == std::string::npos,
            "a word has no white space in it");
    require(decoded_header(whole) == *in_set, "decode of encode is the identity");
    if (chunk_of(set, 0, line) == 0) {
        require(whole == *words, "without room nothing is folded");
        return;
    }
    for (std::size_t at = 0; at < words->size();) {
        const std::size_t end = std::min(words->find("\r\n", at), words->size());
        require(end - at <= static_cast<std::size_t>(line), "no line is over its budget");
        at = end + 2;
    }
}

bool is_foreign(char c)
{
    const unsigned char octet = static_cast<unsigned char>(c);
    return octet >= 0x7F || octet < 9 || (octet > 13 && octet < 32);
}

// The part of a line that is to be encoded; `end` is npos when there is none.
struct Stretch {
    std::size_t line = 0;
    std::size_t begin = 0;
    std::size_t end = std::string::npos;
};

Stretch find_stretch(const std::string& block, std::size_t from, std::size_t foreign)
{
    Stretch stretch;
    const std::size_t feed = foreign == from ? std::string::npos : block.rfind('\n', foreign - 1);
    if (feed == std::string::npos || feed < from) return stretch;
    stretch.line = feed + 1;
    const std::size_t opening = block.find_first_of("\" ", stretch.line);
    if (opening >= foreign) return stretch;
    stretch.begin = opening + 1;
    const std::size_t end = std::min(block.find('\r', stretch.begin), block.size());
    if (block[opening] == '"' && end > stretch.begin && block[end - 1] == '"') {
        stretch.end = end - 1;
    } else if (block.compare(stretch.line, 4, "To: ") != 0) {
        stretch.end = end;
    } else {
        const std::size_t bracket = end > stretch.begin ? block.rfind('<', end - 1) : std::string::npos;
        if (bracket != std::string::npos && bracket >= stretch.begin) stretch.end = bracket;
    }
    return stretch;
}

// Step by step, as the rules are told; words are the encoder's.
Text expected_block(CharSet set, const std::string& block)
{
    std::string encoded;
    for (std::size_t from = 0;;) {
        const auto found = std::find_if(block.begin() + static_cast<long>(from), block.end(), is_foreign);
        if (found == block.end()) return encoded + block.substr(from);
        const Stretch stretch = find_stretch(block, from, static_cast<std::size_t>(found - block.begin()));
        if (stretch.end == std::string::npos) return std::nullopt;
        const std::string text = block.substr(stretch.begin, stretch.end - stretch.begin);
        encoded += block.substr(from, stretch.begin - from);
        const int line = 75 - static_cast<int>(std::min<std::size_t>(stretch.begin - stretch.line, 75));
        encoded += words_of(set, text, line).value_or(text);
        from = stretch.end;
    }
}

void check_block(CharSet set, const std::string& block)
{
    const Platform platform;
    const Text encoded = encoded_block(set, block);
    require(encoded == expected_block(set, block), "a block is encoded as the rules tell");
    require(encoded || platform.lines() > 0, "a failure is traced");
    if (!encoded || set != kUtf8 || block.find("=?") != std::string::npos) return;
    require(std::none_of(encoded->begin(), encoded->end(), is_foreign), "no foreign octet is left");
    require(decoded_header(unfolded(*encoded, set)) == block, "decode of encode is the identity");
}

// Without memory there may be a result, since a chunk that cannot be encoded goes as it is, but nothing else.
void check_memory(CharSet set, const std::string& text, int line, unsigned failing)
{
    {
        const Platform platform(failing);
        const Text words = words_of(set, text, line);
        require(words || platform.lines() > 0, "a failure is traced");
    }
    const Platform platform(failing);
    const Text encoded = encoded_block(set, text);
    require(encoded || platform.lines() > 0, "a failure is traced");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const unsigned failing = input.below(24);
    const CharSet set = static_cast<CharSet>(static_cast<int>(input.below(14)) - 1);
    const int line = static_cast<int>(input.octet()) - 20;
    const std::string text = input.rest();

    check_words(set, text, line);
    check_block(set, text);
    check_memory(set, text, line, failing);
    return 0;
}
