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

// The next encoded word at or after a position. Looks no further than the word's end, so that a walk over a
// text costs its length.
bool find_word(std::string_view text, std::size_t from, EncodedWord& word)
{
    word.begin = text.find(ABNF_ENCODE_STRING_START, from);
    if (word.begin == kNone) return false;
    word.charset = word.begin + 2;
    const std::size_t charset_end = text.find(ABNF_ENCODE_DELIMITER, word.charset);
    if (charset_end == kNone) return false;
    const std::size_t encoding_end = text.find(ABNF_ENCODE_DELIMITER, charset_end + 1);
    if (encoding_end == kNone) return false;
    const std::size_t close = text.find(ABNF_ENCODE_STRING_END, encoding_end + 1);
    if (close == kNone) return false;
    word.end = close + 2;

    const std::string_view inside = text.substr(word.charset, close - word.charset);
    word.marker = nullptr;
    for (const Marker& marker : kMarkers) {
        const std::size_t at = inside.find(marker.text);
        if (at == kNone) continue;
        word.marker = &marker;
        word.encoded = inside.substr(at + kMarkerLength);
        break;
    }
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

// Decodes word by word; `text` has a NUL behind it.
bool decode_words(std::string_view text, HeapBlock& result, CharSet& charset)
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
            charset = CntsMLUTLMailType::TestCharSet(text.data() + word.charset);  // no name holds a "?"
            const std::string_view octets(decoded.data, static_cast<std::size_t>(decoded.length));
            if (!append(result, octets, kDecodedLine)) return false;
        }
        at = word.end;
    }
    return append(result, text.substr(at), kRestLine);
}

}  // namespace

int CntsMLUTLMimeUtility::InlineDecode(const char* in, long len, char*& out, long& outLen, CharSet& cs, int)
{
    out = nullptr;
    outLen = 0;
    CharSet found = cs;
    HeapBlock decoded;
    try {
        HeapBlock text;
        if (!allocate_zeroed(text, len)) {
            NTC_TRACE("<Error> : CntsMLUTLMimeUtility::InlineDecode() failed to allocate memory\n");
            return 0;
        }
        if (len > 0) std::memcpy(text.data, in, static_cast<std::size_t>(len));
        if (!decode_words({text.data, static_cast<std::size_t>(len)}, decoded, found)) return 0;
    } catch (CntsMLUTLMailException* thrown) {
        const std::unique_ptr<CntsMLUTLMailException> failure(thrown);
        NTC_TRACE("<Error> : CntsMLUTLMimeUtility::InlineDecode() %s\n", failure->m_pszText);
        return 0;
    }
    cs = found;
    decoded.take(out, outLen);
    return 1;
}

}  // namespace velorin
