#include "piece_codecs.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>

#include "base64_pieces.h"

namespace velorin::cli {

namespace {

using Utility = CntsMLUTLMimeUtility;

constexpr std::size_t kPiece = 64u << 10;  // octets read at once
constexpr int kBase64Line = 76;            // characters (RFC 2045, section 6.8)
constexpr std::size_t kBase64Octets = 57;  // octets of a line
constexpr int kLastColumn = 73;            // of a quoted-printable line: an escape and "=" still fit into 76
constexpr std::size_t kLongestEscape = 3;  // octets of "=XX", and of "=" with CR LF
constexpr unsigned char kNotBase64 = 255;

// Feeds a source to a step in pieces of one size, the last one shorter.
//   in      step: takes the piece and whether it is the last
template <typename Step>
CodecResult for_each_piece(OctetSource& source, std::size_t size, Step step)
{
    std::string piece(size, '\0');
    for (bool is_end = false; !is_end;) {
        std::size_t count = 0;
        if (!source.read(&piece[0], size, count)) return CodecResult::kReadFailed;
        is_end = count < size;
        const CodecResult result = step(piece.data(), count, is_end);
        if (result != CodecResult::kDone) return result;
    }
    return CodecResult::kDone;
}

CodecResult put(const OctetSink& sink, const char* octets, std::size_t length)
{
    return length == 0 || sink(octets, length) ? CodecResult::kDone : CodecResult::kWriteFailed;
}

// A text without a NUL.
CodecResult put_quoted(const std::string& text, const OctetSink& sink)
{
    char* encoded = nullptr;
    long columns = 0;
    if (Utility::ToQB(text.c_str(), static_cast<long>(text.size()), encoded, columns, kLastColumn) == 0)
        return CodecResult::kNoMemory;
    const Block block(encoded);
    return put(sink, encoded, std::strlen(encoded));
}

CodecResult put_nuls(std::size_t count, const OctetSink& sink)
{
    constexpr std::size_t kInLine = (kBase64Line - 1) / kLongestEscape;
    while (count > 0) {
        std::string line;
        for (std::size_t i = std::min(count, kInLine); i > 0; --i, --count)
            line += "=00";
        line += "=\r\n";
        const CodecResult result = put(sink, line.data(), line.size());
        if (result != CodecResult::kDone) return result;
    }
    return CodecResult::kDone;
}

// Cuts quoted-printable text where the decoder can go on as if there had been no cut.
class QuotedPrintableCutter {
public:
    // Decodes what is whole, and all of it at the end.
    CodecResult add(const char* octets, std::size_t length, bool is_end, const OctetSink& sink)
    {
        window_.append(octets, length);
        const bool begins_line = at_line_start_;
        const std::size_t cut = is_end ? window_.size() : step_over(window_.size());
        // The decoder takes the beginning for that of a line. A character in front says that it is none.
        const std::string text = (begins_line ? "" : "x") + window_.substr(0, cut);
        const std::size_t skip = begins_line ? 0 : 1;
        void* decoded = nullptr;
        long size = 0;
        if (Utility::FromQP(text.data(), static_cast<long>(text.size()), decoded, size) == 0)
            return CodecResult::kNoMemory;
        const Block block(decoded);
        window_.erase(0, cut);
        return put(sink, static_cast<const char*>(decoded) + skip, static_cast<std::size_t>(size) - skip);
    }

private:
    // Steps over what the decoder takes as one, as long as all that it looks at is there.
    std::size_t step_over(std::size_t size)
    {
        std::size_t i = 0;
        while (i + kLongestEscape <= size) {
            const char c = window_[i];
            if (c == '=' && is_line_end(window_[i + 1])) {
                i += is_line_end(window_[i + 2]) ? 3 : 2;
            } else if (c == '=') {
                i += kLongestEscape;
            } else if (c == '.' && at_line_start_ && window_[i + 1] == '.') {
                at_line_start_ = false;
                i += 2;  // one is dropped, and the other is not looked at as a first one
            } else {
                at_line_start_ = c == '\n';
                ++i;
            }
        }
        return i;
    }

    static bool is_line_end(char c) { return c == '\r' || c == '\n'; }

    std::string window_;
    bool at_line_start_ = true;  // as the decoder sees it
};

}  // namespace

CodecResult encode_base64(OctetSource& source, const OctetSink& sink)
{
    return for_each_piece(source, kBase64Octets * 1024, [&](const char* octets, std::size_t count, bool) {
        if (count == 0) return CodecResult::kDone;
        char* encoded = nullptr;
        long length = 0;
        if (Utility::ToB64(octets, static_cast<long>(count), encoded, length, kBase64Line) == 0)
            return CodecResult::kNoMemory;
        const Block block(encoded);
        const CodecResult result = put(sink, encoded, static_cast<std::size_t>(length));
        return result == CodecResult::kDone ? put(sink, "\r\n", 2) : result;
    });
}

CodecResult decode_base64(OctetSource& source, const OctetSink& sink)
{
    std::string pending;  // characters that count, less than four once a piece is done
    const CodecResult result =
        for_each_piece(source, kPiece, [&](const char* text, std::size_t count, bool is_end) {
            std::copy_if(text, text + count, std::back_inserter(pending),
                         [](char c) { return Utility::Base64Seed2Index(c) != kNotBase64; });
            const std::size_t whole = is_end ? pending.size() : pending.size() / 4 * 4;
            void* decoded = nullptr;
            long length = 0;
            if (Utility::FromB64(pending.data(), static_cast<long>(whole), decoded, length) == 0)
                return CodecResult::kNoMemory;
            const Block block(decoded);
            if (!is_end) pending.erase(0, whole);
            return put(sink, static_cast<const char*>(decoded), static_cast<std::size_t>(length));
        });
    return result == CodecResult::kDone && pending.size() % 4 == 1 ? CodecResult::kCutShort : result;
}

CodecResult encode_quoted_printable(OctetSource& source, const OctetSink& sink)
{
    return for_each_piece(source, kPiece, [&](const char* octets, std::size_t count, bool) {
        const char* const end = octets + count;
        CodecResult result = CodecResult::kDone;
        for (const char* at = octets; at < end && result == CodecResult::kDone;) {
            const char* const nul = std::find(at, end, '\0');
            const char* const behind = std::find_if(nul, end, [](char c) { return c != '\0'; });
            if (nul > at) result = put_quoted(std::string(at, nul), sink);
            if (result == CodecResult::kDone) result = put_nuls(static_cast<std::size_t>(behind - nul), sink);
            at = behind;
        }
        return result;
    });
}

CodecResult decode_quoted_printable(OctetSource& source, const OctetSink& sink)
{
    QuotedPrintableCutter cutter;
    return for_each_piece(source, kPiece, [&](const char* text, std::size_t count, bool is_end) {
        return cutter.add(text, count, is_end, sink);
    });
}

}  // namespace velorin::cli
