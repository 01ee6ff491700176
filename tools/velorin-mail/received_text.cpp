#include "received_text.h"

#include <string>

#include "text.h"
#include "utf8.h"

namespace velorin::cli {

namespace {

using Type = CntsMLUTLMailType;

constexpr std::size_t kPiece = 256u << 10;  // octets read at once
constexpr std::size_t kUtf8PerOctet = 4;    // octets that one octet of any set becomes at most

enum class Coding { kUtf8, kSingleOctets, kMultibyte, kUnknown };

Coding coding_of(Type::eCharSet charset)
{
    switch (charset) {
    case Type::eCharSetUsAscii:
    case Type::eCharSetUs:
    case Type::eCharSetAscii:
    case Type::eCharSetEnd:  // the mail does not say; many that mean UTF-8 do not say so
    case Type::eCharSetUtf8:
        return Coding::kUtf8;
    case Type::eCharSetIso8859_1:
    case Type::eCharSetIso8859_2:
        return Coding::kSingleOctets;
    case Type::eCharSetIso2022Jp:
    case Type::eCharSetXJis:
    case Type::eCharSetShiftJis:
    case Type::eCharSetXSjis:
    case Type::eCharSetMsKanji:
        return Coding::kMultibyte;
    case Type::eCharSetUnknown:
        break;
    }
    return Coding::kUnknown;
}

class TextConverter {
public:
    TextConverter(Type::eCharSet charset, NewFile& file)
        : charset_(charset), coding_(coding_of(charset)), file_(file)
    {
        cutter_.m_eContentType = Type::eContentTypeTextPlain;
        cutter_.m_eCharSet = charset;
    }

    enum class Result { kDone, kNotThatText, kFileFailed };

    Result run(Spool& octets)
    {
        if (coding_ == Coding::kUnknown) return Result::kNotThatText;
        std::string window;  // octets not converted yet
        for (bool is_end = false; !is_end;) {
            const std::size_t kept = window.size();
            std::size_t count = 0;
            window.resize(kept + kPiece);
            if (!octets.read(&window[kept], kPiece, count)) return Result::kFileFailed;
            window.resize(kept + count);
            is_end = count < kPiece;
            // The converter takes a NUL for the end, and no text has one.
            if (window.find('\0', kept) != std::string::npos) return Result::kNotThatText;
            std::string rest;
            const std::string front = is_end ? window : cut(window, rest);
            std::string utf8;
            if (!convert(front, utf8)) return Result::kNotThatText;
            if (!write(utf8)) return Result::kFileFailed;
            window = rest;
        }
        return !held_cr_ || file_.write("\r", 1) ? Result::kDone : Result::kFileFailed;
    }

private:
    // The part of a text that can be converted before the rest of it has come. A line end is best: Japanese
    // text is in US-ASCII there.
    //   out     rest: what is left, after the escape sequence that it needs
    std::string cut(const std::string& window, std::string& rest)
    {
        const std::size_t line_end = window.rfind('\n');
        std::size_t at = line_end == std::string::npos ? window.size() : line_end + 1;
        int mode = 0;
        if (line_end == std::string::npos && coding_ == Coding::kUtf8) at = whole_utf8(window);
        if (line_end == std::string::npos && coding_ == Coding::kMultibyte) {
            auto wanted = static_cast<long>(window.size());
            mode = cutter_.AdjustMultiByteCode(window.c_str(), wanted, 1);
            at = static_cast<std::size_t>(wanted);
        }
        rest = escape_of_mode(mode) + window.substr(at);
        return window.substr(0, at);
    }

    bool convert(const std::string& text, std::string& utf8)
    {
        if (coding_ == Coding::kUtf8) {
            utf8 = text;
            return is_utf8(text);
        }
        source_ = text;
        utf8.resize(text.size() * kUtf8PerOctet);
        Type::ENCODED_STRING from = {charset_, &source_[0], static_cast<int>(source_.size())};
        Type::ENCODED_STRING to = {Type::eCharSetUtf8, &utf8[0], static_cast<int>(utf8.size())};
        int consumed = 0;
        if (Type::ConvertEncodedString(from, to, consumed) != 0) return false;
        utf8.resize(static_cast<std::size_t>(to.m_nLength));
        return true;
    }

    // With LF for CR LF, also where a cut lies between the two.
    bool write(const std::string& utf8)
    {
        std::string lines;
        lines.reserve(utf8.size() + 1);
        for (const char c : utf8) {
            if (held_cr_ && c != '\n') lines += '\r';
            held_cr_ = c == '\r';
            if (!held_cr_) lines += c;
        }
        return file_.write(lines.data(), lines.size());
    }

    Type::eCharSet charset_;
    Coding coding_;
    NewFile& file_;
    CntsMLUTLMailPart cutter_;
    std::string source_;
    bool held_cr_ = false;
};

bool copy(Spool& octets, NewFile& file)
{
    std::string piece(kPiece, '\0');
    for (std::size_t count = piece.size(); count == piece.size();)
        if (!octets.read(&piece[0], piece.size(), count) || !file.write(piece.data(), count)) return false;
    return true;
}

}  // namespace

bool write_received_text(Spool& octets, Type::eCharSet charset, NewFile& file, bool& converted)
{
    if (!octets.rewind()) return false;
    const auto result = TextConverter(charset, file).run(octets);
    converted = result == TextConverter::Result::kDone;
    if (result != TextConverter::Result::kNotThatText) return converted;
    return file.restart() && octets.rewind() && copy(octets, file);
}

}  // namespace velorin::cli
