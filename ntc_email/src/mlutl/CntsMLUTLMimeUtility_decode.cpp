// Encoded words of headers, decoded.
#include "CntsMLUTLMimeUtility.h"

#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>

#include "CntsMLUTLMailException.h"
#include "heap_block.h"
#include "trace.h"

namespace velorin {

namespace {

using CharSet = CntsMLUTLMailType::eCharSet;

// Numbers in the trace lines that support staff know the places by.
constexpr int kNoMarkerLine = 507;
constexpr int kTextBeforeLine = 524;
constexpr int kDecodedLine = 550;
constexpr int kUndecodableLine = 561;
constexpr int kRestLine = 572;

constexpr std::size_t kNone = std::string_view::npos;

struct Marker {
    const char* text;
    bool is_base64;
};

// In the order in which they are looked for: one further on in a word wins over one that comes later here.
constexpr Marker kMarkers[] = {{"?B?", true}, {"?Q?", false}, {"?b?", true}, {"?q?", false}};
constexpr std::size_t kMarkerLength = 3;

// Where the parts of an encoded word stand in a text.
struct EncodedWord {
    std::size_t begin;  // of "=?"
    std::size_t end;    // behind "?="
    std::size_t charset;
    const Marker* marker;  // null: none in the word
    std::string_view encoded;
};

// Where a character stands at or after a position that it is likely to be near: a call costs more than a few steps.
std::size_t find_near(std::string_view text, std::size_t from, char c)
{
    constexpr std::size_t kSteps = 8;
    const std::size_t near_end = text.size() - from > kSteps ? from + kSteps : text.size();
    for (; from < near_end; ++from) {
        if (text[from] == c) return from;
    }
    return text.find(c, from);
}

// Where two characters stand next to each other.
//   in      at: where the first of them stands for the first time, kNone when it does not
std::size_t find_pair(std::string_view text, std::size_t at, const char* pair)
{
    while (at != kNone && at + 1 < text.size()) {
        if (text[at + 1] == pair[1]) return at;
        at = text.find(pair[0], at + 1);
    }
    return kNone;
}

// The marker that counts in a word, and where it stands.
//   in      inside: of the word; delimiter: its first "?"
const Marker* find_marker(std::string_view inside, std::size_t delimiter, std::size_t& at)
{
    at = delimiter;
    const bool is_base64 =
        delimiter + 2 < inside.size() && inside[delimiter + 1] == 'B' && inside[delimiter + 2] == '?';
    if (is_base64) return kMarkers;  // the first looked for, at the first place there is
    for (const Marker& marker : kMarkers) {
        at = inside.find(marker.text);
        if (at != kNone) return &marker;
    }
    return nullptr;
}

// The next encoded word at or after a position. Looks no further than the word's end, so that a walk over a
// text costs its length.
bool find_word(std::string_view text, std::size_t from, EncodedWord& word)
{
    word.begin =
        find_pair(text, find_near(text, from, ABNF_ENCODE_STRING_START[0]), ABNF_ENCODE_STRING_START);
    if (word.begin == kNone) return false;
    word.charset = word.begin + 2;
    const std::size_t charset_end = find_near(text, word.charset, ABNF_ENCODE_DELIMITER[0]);
    if (charset_end == kNone) return false;
    std::size_t encoding_end = charset_end + 2;  // most often
    const bool is_short =
        encoding_end < text.size() && text[encoding_end] == '?' && text[charset_end + 1] != '?';
    if (!is_short) encoding_end = text.find(ABNF_ENCODE_DELIMITER[0], charset_end + 1);
    if (encoding_end == kNone) return false;
    const std::size_t close =
        find_pair(text, text.find(ABNF_ENCODE_STRING_END[0], encoding_end + 1), ABNF_ENCODE_STRING_END);
    if (close == kNone) return false;
    word.end = close + 2;

    const std::string_view inside = text.substr(word.charset, close - word.charset);
    std::size_t at = 0;
    word.marker = find_marker(inside, charset_end - word.charset, at);
    if (word.marker != nullptr) word.encoded = inside.substr(at + kMarkerLength);
    return true;
}

// False when memory runs out, which the decoder has traced.
bool decode_word(const EncodedWord& word, HeapBlock& decoded)
{
    const long length = static_cast<long>(word.encoded.size());
    void* octets = nullptr;
    const int result =
        word.marker->is_base64
            ? CntsMLUTLMimeUtility::FromB64(word.encoded.data(), length, octets, decoded.length)
            : CntsMLUTLMimeUtility::FromQP(word.encoded.data(), length, octets, decoded.length);
    decoded.data = static_cast<char*>(octets);
    return result != 0;
}

bool append(HeapBlock& block, std::string_view octets, int line)
{
    if (CntsMLUTLMimeUtility::ReallocationBuffer(block.data, block.length, octets.data(),
                                                 static_cast<long>(octets.size())) != 0) {
        return true;
    }
    NTC_TRACE("<Error> : CntsMLUTLMimeUtility::InlineDecode() ReallocationBuffer[NG]: Line%d\n", line);
    return false;
}

// Decodes word by word.
//   out     charset: where the name of the last decoded word's set begins, also on failure; unchanged when
//           there was none
bool decode_words(std::string_view text, HeapBlock& result, const char*& charset)
{
    std::size_t at = 0;
    EncodedWord word{};
    while (find_word(text, at, word)) {
        const std::string_view whole = text.substr(at, word.end - at);
        HeapBlock decoded;
        if (word.marker == nullptr) {
            if (!append(result, whole, kNoMarkerLine)) return false;
        } else if (!decode_word(word, decoded)) {
            if (!append(result, whole, kUndecodableLine)) return false;
        } else {
            if (!append(result, text.substr(at, word.begin - at), kTextBeforeLine)) return false;
            charset = text.data() + word.charset;  // counts from here on, whatever fails behind it
            const std::string_view octets(decoded.data, static_cast<std::size_t>(decoded.length));
            if (!append(result, octets, kDecodedLine)) return false;
        }
        at = word.end;
    }
    return append(result, text.substr(at), kRestLine);
}

// Copies a text and decodes the copy, in which `charset` points. A failure has been traced.
bool decode_copy(const char* in, long length, HeapBlock& text, HeapBlock& decoded, const char*& charset)
{
    try {
        if (allocate_copy(text, in, length)) {
            return decode_words({text.data, static_cast<std::size_t>(length)}, decoded, charset);
        }
        NTC_TRACE("<Error> : CntsMLUTLMimeUtility::InlineDecode() failed to allocate memory\n");
    } catch (CntsMLUTLMailException* thrown) {
        const std::unique_ptr<CntsMLUTLMailException> failure(thrown);
        NTC_TRACE("<Error> : CntsMLUTLMimeUtility::InlineDecode() %s\n", failure->m_pszText);
    }
    return false;
}

}  // namespace

int CntsMLUTLMimeUtility::InlineDecode(const char* in, long len, char*& out, long& outLen, CharSet& cs, int)
{
    out = nullptr;
    outLen = 0;
    HeapBlock text;
    HeapBlock decoded;
    const char* charset = nullptr;
    const bool is_decoded = decode_copy(in, len, text, decoded, charset);
    if (charset != nullptr) cs = CntsMLUTLMailType::TestCharSet(charset);  // no name holds a "?"
    if (!is_decoded) return 0;
    decoded.take(out, outLen);
    return 1;
}

}  // namespace velorin
