// Encoded words of headers, encoded.
#include "CntsMLUTLMimeUtility.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

#include "CutlCPLBOSBoundary.h"

#include "CntsMLUTLMailException.h"
#include "heap_block.h"
#include "trace.h"

namespace velorin {

const char ABNF_ENCODE_STRING_START[] = "=?";
const char ABNF_ENCODE_DELIMITER[] = "?";
const char ABNF_ENCODE_STRING_END[] = "?=";

namespace {

using CharSet = CntsMLUTLMailType::eCharSet;

// Numbers in the trace lines that support staff know the places by.
constexpr int kOpeningLine = 1439;
constexpr int kConvertLine = 1474;
constexpr int kFoldLine = 1509;
constexpr int kLastChunkLine = 1522;
constexpr int kClosingLine = 1539;
constexpr int kCopyBlockLine = 633;
constexpr int kPlainTextLine = 725;
constexpr int kEncodedWordsLine = 742;
constexpr int kUnchangedLine = 754;
constexpr int kRestLine = 765;

constexpr char kBase64Marker[] = "?B?";
constexpr char kFold[] = "\r\n\t";
constexpr long kLineEndLength = 2;
constexpr long kHeaderLineLength = 75;  // RFC 2047, section 2: no encoded word is longer

// How a text is cut into encoded words.
struct WordPlan {
    bool is_folded;
    long chunk;  // octets of text a word
    long work;   // octets of the longest piece that is appended; -1 when there is no such length
};

WordPlan plan_words(std::string_view name, long length, int line)
{
    const std::int64_t overhead = static_cast<std::int64_t>(name.size()) + 7;  // "=?", "?B?", "?="
    const std::int64_t quads = (line - overhead - kLineEndLength) / 4;         // of base64, on a line
    const bool is_folded = quads >= 1;
    if (length < 0 || (!is_folded && length > INT_MAX)) return {is_folded, 0, -1};
    const std::int64_t chunk = is_folded ? quads * 3 : length;
    const std::int64_t fold = is_folded ? kLineEndLength + 1 : 0;
    const std::int64_t work = overhead + fold + (chunk + 2) / 3 * 4;
    return {is_folded, static_cast<long>(chunk), work < LONG_MAX ? static_cast<long>(work) : -1};
}

char* put(char* to, std::string_view text)
{
    std::memcpy(to, text.data(), text.size());
    return to + text.size();
}

// Writes what a word carries of a chunk: its base64, or without memory for that the chunk up to a NUL.
char* put_chunk(char* to, const char* chunk, int length)
{
    HeapBlock text;
    if (CntsMLUTLMimeUtility::ToB64(chunk, length, text.data, text.length, 0) != 0) {
        return put(to, {text.data, static_cast<std::size_t>(text.length)});
    }
    return put(to, {chunk, strnlen(chunk, static_cast<std::size_t>(length))});
}

char* put_opening(char* to, std::string_view name)
{
    return put(put(put(to, ABNF_ENCODE_STRING_START), name), kBase64Marker);
}

bool append_word_text(HeapBlock& encoded, std::string_view text, int line)
{
    if (CntsMLUTLMimeUtility::ReallocationBuffer(encoded.data, encoded.length, text.data(),
                                                 static_cast<long>(text.size())) != 0) {
        return true;
    }
    NTC_TRACE("<Error> : CntsMLUTLMimeUtility::ToMimeEncode() ReallocationBuffer[NG]: Line%d\n", line);
    return false;
}

bool append_header_text(HeapBlock& encoded, const char* begin, const char* end, int line)
{
    if (CntsMLUTLMimeUtility::ReallocationBuffer(encoded.data, encoded.length, begin,
                                                 static_cast<long>(end - begin)) != 0) {
        return true;
    }
    NTC_TRACE("<Error> : CntsMLUTLMimeUtility::InlineEncode() ReallocationBuffer[NG]: Line%d\n", line);
    return false;
}

// Encodes a text word by word, behind the opening of the first.
//   in      work, chunk: blocks as planned
bool encode_words(CharSet cs, std::string_view text, const WordPlan& plan, char* work, char* chunk,
                  HeapBlock& encoded)
{
    const std::string_view name = CntsMLUTLMailType::GetCharSet(cs);
    if (!append_word_text(encoded, {work, static_cast<std::size_t>(put_opening(work, name) - work)},
                          kOpeningLine)) {
        return false;
    }
    int capacity = static_cast<int>(plan.chunk);
    for (;;) {
        std::memset(chunk, 0, static_cast<std::size_t>(plan.chunk));
        const int left = static_cast<int>(std::min<std::size_t>(text.size(), INT_MAX));
        const CntsMLUTLMailType::ENCODED_STRING source = {CntsMLUTLMailType::eCharSetUtf8,
                                                          const_cast<char*>(text.data()), left};
        CntsMLUTLMailType::ENCODED_STRING destination = {cs, chunk, capacity};
        int consumed = 0;
        const int converted = CntsMLUTLMailType::ConvertEncodedString(source, destination, consumed);
        if (converted != 0) {
            NTC_TRACE("<Error>: CntsMLUTLMimeUtility::%s() ConvertEncodedString return 0x%x [NG]: Line%d\n",
                      "ToMimeEncode", static_cast<unsigned>(converted), kConvertLine);
            return false;
        }
        capacity = destination.m_nLength;  // deliberately never back to the whole chunk
        text.remove_prefix(static_cast<std::size_t>(consumed));
        char* end = put_chunk(work, chunk, destination.m_nLength);
        if (!plan.is_folded || text.empty()) {
            return append_word_text(encoded, {work, static_cast<std::size_t>(end - work)}, kLastChunkLine) &&
                   append_word_text(encoded, ABNF_ENCODE_STRING_END, kClosingLine);
        }
        end = put_opening(put(put(end, ABNF_ENCODE_STRING_END), kFold), name);
        if (!append_word_text(encoded, {work, static_cast<std::size_t>(end - work)}, kFoldLine)) return false;
    }
}

// An octet that a header may not carry: 8-bit, or a control that is no white space.
bool is_foreign(char c)
{
    const unsigned char octet = static_cast<unsigned char>(c);
    return !((octet >= 0x20 && octet < 0x7F) || (octet >= '\t' && octet <= '\r'));
}

// What is encoded of a line.
struct Stretch {
    const char* begin;
    const char* end;
    long column;  // of its first octet
};

const char* find_last(const char* begin, const char* end, char c)
{
    const std::size_t at = std::string_view(begin, static_cast<std::size_t>(end - begin)).rfind(c);
    return at != std::string_view::npos ? begin + at : nullptr;
}

// The stretch around a foreign octet; traced when there is none.
//   in      from: end of the stretch before
bool find_stretch(const char* from, const char* foreign, const char* end, Stretch& stretch)
{
    const char* const line_feed = find_last(from, foreign, '\n');
    if (line_feed == nullptr) {
        NTC_TRACE("<Error> : CntsMLUTLMimeUtility::InlineEncode() '\n' not found\n");
        return false;
    }
    const char* const line = line_feed + 1;
    const char* const opening = std::find_if(line, foreign, [](char c) { return c == '"' || c == ' '; });
    if (opening == foreign) {
        NTC_TRACE("<Error> : CntsMLUTLMimeUtility::InlineEncode() '\"' and ' ' not found\n");
        return false;
    }
    stretch.begin = opening + 1;
    stretch.end = std::find(stretch.begin, end, '\r');
    stretch.column = static_cast<long>(stretch.begin - line);
    if (*opening == '"' && stretch.end != stretch.begin && stretch.end[-1] == '"') {
        --stretch.end;
        return true;
    }
    constexpr std::string_view kTo = "To: ";
    if (std::string_view(line, static_cast<std::size_t>(end - line)).substr(0, kTo.size()) != kTo)
        return true;
    stretch.end = find_last(stretch.begin, stretch.end, '<');
    if (stretch.end == nullptr) {
        NTC_TRACE("<Error> : CntsMLUTLMimeUtility::InlineEncode() '<' not found\n");
        return false;
    }
    return true;
}

bool append_stretch(HeapBlock& encoded, const Stretch& stretch, CharSet cs)
{
    const int line = static_cast<int>(std::max<long>(kHeaderLineLength - stretch.column, 0));
    HeapBlock words;
    if (CntsMLUTLMimeUtility::ToMimeEncode(cs, stretch.begin, static_cast<long>(stretch.end - stretch.begin),
                                           words.data, words.length, line) != 0) {
        return append_header_text(encoded, words.data, words.data + words.length, kEncodedWordsLine);
    }
    return append_header_text(encoded, stretch.begin, stretch.end, kUnchangedLine);
}

// Each stretch lies behind the one before, and a search that goes further than it ends the walk or becomes
// part of the next: the whole costs its length.
bool encode_block(const char* from, const char* end, CharSet cs, HeapBlock& encoded)
{
    for (;;) {
        const char* const foreign = std::find_if(from, end, is_foreign);
        if (foreign == end) return append_header_text(encoded, from, end, kRestLine);
        Stretch stretch{};
        if (!find_stretch(from, foreign, end, stretch)) return false;
        if (!append_header_text(encoded, from, stretch.begin, kPlainTextLine)) return false;
        if (!append_stretch(encoded, stretch, cs)) return false;
        from = stretch.end;
    }
}

}  // namespace

int CntsMLUTLMimeUtility::ToMimeEncode(CharSet cs, const void* in, long len, char*& out, long& outLen,
                                       int maxLine)
{
    out = nullptr;
    outLen = 0;
    const char* const name = CntsMLUTLMailType::GetCharSet(cs);
    if (name[0] == '\0') {
        NTC_TRACE("<Error> : CntsMLUTLMimeUtility::ToMimeEncode() GetCharSet returns empty-string.[%x]\n",
                  static_cast<unsigned>(cs));
        return 0;
    }
    const WordPlan plan = plan_words(name, len, maxLine);
    HeapBlock work;
    HeapBlock chunk;
    if (allocate_room(work, plan.work)) {
        chunk.data =
            static_cast<char*>(CutlCPLBOSBoundary::MemAllocate(static_cast<std::size_t>(plan.chunk)));
    }
    if (chunk.data == nullptr) {
        NTC_TRACE("<Error> : CntsMLUTLMimeUtility::ToMimeEncode() failed to allocate memory\n");
        return 0;
    }
    HeapBlock encoded;
    const std::string_view text(static_cast<const char*>(in), static_cast<std::size_t>(len));
    if (!encode_words(cs, text, plan, work.data, chunk.data, encoded)) return 0;
    encoded.take(out, outLen);
    return 1;
}

int CntsMLUTLMimeUtility::InlineEncode(const char* in, long len, char*& out, long& outLen, CharSet cs)
{
    out = nullptr;
    outLen = 0;
    HeapBlock encoded;
    try {
        HeapBlock block;
        if (!allocate_copy(block, in, len)) {
            NTC_TRACE("<Error> : CntsMLUTLMimeUtility::InlineEncode() failed to allocate memory: Line%d\n",
                      kCopyBlockLine);
            return 0;
        }
        if (!encode_block(block.data, block.data + len, cs, encoded)) return 0;
    } catch (CntsMLUTLMailException* thrown) {
        const std::unique_ptr<CntsMLUTLMailException> failure(thrown);
        NTC_TRACE("<Error> : CntsMLUTLMimeUtility::InlineEncode() %s\n", failure->m_pszText);
        return 0;
    }
    encoded.take(out, outLen);
    return 1;
}

}  // namespace velorin
