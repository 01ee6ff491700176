#include "text.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "interrupt.h"
#include "utf8.h"

namespace velorin::cli {

namespace {

constexpr const char* kStep = "text";
constexpr std::size_t kPiece = 32 * 1024;   // octets read at once
constexpr std::size_t kMaxLine = 998;       // octets without CR LF (RFC 5322, section 2.1.1)
constexpr std::size_t kOctetsPerOctet = 4;  // "a" and a kanji by turns: 4 octets of UTF-8, 9 of ISO-2022-JP
constexpr std::size_t kEscapes = 16;        // the escapes around a single character

constexpr struct {
    const char* name;
    CntsMLUTLMailType::eCharSet charset;
} kCharsets[] = {
    {"us-ascii", CntsMLUTLMailType::eCharSetUsAscii},
    {"iso-8859-1", CntsMLUTLMailType::eCharSetIso8859_1},
    {"iso-8859-2", CntsMLUTLMailType::eCharSetIso8859_2},
    {"iso-2022-jp", CntsMLUTLMailType::eCharSetIso2022Jp},
    {"shift_jis", CntsMLUTLMailType::eCharSetShiftJis},
    {"utf-8", CntsMLUTLMailType::eCharSetUtf8},
};

bool is_sound_mark(const char* octets, std::size_t width)
{
    const std::uint32_t character = utf8_character(octets, width);
    return character == 0xFF9E || character == 0xFF9F;
}

// What is known of the octets that went out: whether 7bit can carry them.
struct WireFacts {
    bool eight_bit = false;
    std::size_t line = 0;
    std::size_t longest_line = 0;

    void add(const char* octets, std::size_t length)
    {
        for (std::size_t i = 0; i < length; ++i) {
            if (static_cast<unsigned char>(octets[i]) >= 0x80) eight_bit = true;
            if (octets[i] == '\n') {
                line = 0;
            } else if (octets[i] != '\r' && ++line > longest_line) {
                longest_line = line;
            }
        }
    }
};

class TextPreparation {
public:
    TextPreparation(const std::string& name, MailText& text, Failure& failure)
        : name_(name), text_(text), failure_(failure)
    {
    }

    bool run(OctetSource& source)
    {
        std::string pending;
        std::vector<char> piece(kPiece);
        for (bool is_end = false; !is_end;) {
            std::size_t count = 0;
            if (!source.read(piece.data(), piece.size(), count)) return reading_failed();
            is_end = count < piece.size();
            const std::size_t skip = first_ && is_marked(piece.data(), count) ? 3 : 0;
            first_ = false;
            pending.append(piece.data() + skip, count - skip);
            const std::size_t cut = text_cut(pending.data(), pending.size(), is_end);
            if (cut > 0 && !take(pending.data(), cut)) return false;
            pending.erase(0, cut);
        }
        return finish();
    }

private:
    static bool is_marked(const char* octets, std::size_t length)
    {
        return length >= 3 && std::memcmp(octets, "\xEF\xBB\xBF", 3) == 0;
    }

    bool reading_failed()
    {
        if (interrupting_signal() != 0)
            return fail(failure_, kExitSignal + interrupting_signal(), kStep,
                        interrupted_sentence(Stage::kNothingSent));
        return fail(failure_, kExitIo, kStep, "cannot read " + name_ + ": " + std::strerror(errno));
    }

    bool wrong(const std::string& what)
    {
        return fail(failure_, kExitData, kStep, name_ + ", line " + std::to_string(line_) + ": " + what);
    }

    // Checks the characters, brings the line ends into form, converts line by line group.
    bool take(const char* octets, std::size_t length)
    {
        std::string lines;
        lines.reserve(length + length / 8);
        const std::size_t first_line = line_;
        for (std::size_t i = 0; i < length;) {
            const std::size_t width = utf8_width(octets + i, length - i);
            if (width == 0) return wrong("the text is not UTF-8");
            if (octets[i] == '\0') return wrong("the text holds a NUL, attach the file instead");
            if (octets[i] == '\r' || octets[i] == '\n') {
                lines += "\r\n";
                ++line_;
                if (octets[i] == '\r' && i + 1 < length && octets[i + 1] == '\n') ++i;
                ++i;
                continue;
            }
            lines.append(octets + i, width);
            i += width;
        }
        const std::size_t last_line = line_;
        line_ = first_line;
        if (!convert(lines)) return false;
        line_ = last_line;
        return true;
    }

    bool convert(std::string& lines)
    {
        converted_.resize(std::max(converted_.size(), lines.size() * kOctetsPerOctet + kEscapes));
        int written = 0;
        if (!convert_piece(&lines[0], lines.size(), written)) return blame_character(lines);
        facts_.add(converted_.data(), static_cast<std::size_t>(written));
        if (text_.octets.write(converted_.data(), static_cast<std::size_t>(written))) return true;
        return fail(failure_, kExitIo, kStep,
                    std::string("cannot keep the text in a temporary file: ") + std::strerror(errno));
    }

    bool convert_piece(char* octets, std::size_t length, int& written)
    {
        const CntsMLUTLMailType::ENCODED_STRING source = {CntsMLUTLMailType::eCharSetUtf8, octets,
                                                          static_cast<int>(length)};
        CntsMLUTLMailType::ENCODED_STRING target = {text_.charset, converted_.data(),
                                                    static_cast<int>(converted_.size())};
        int consumed = 0;
        if (CntsMLUTLMailType::ConvertEncodedString(source, target, consumed) != 0) return false;
        written = target.m_nLength;
        return true;
    }

    // Finds the character that made a conversion fail and says where it stands.
    bool blame_character(std::string& lines)
    {
        for (std::size_t i = 0; i < lines.size();) {
            const std::size_t width = utf8_width(lines.data() + i, lines.size() - i);
            int written = 0;
            if (!convert_piece(&lines[i], width, written)) {
                char code[16];
                std::snprintf(code, sizeof code, "U+%04lX",
                              static_cast<unsigned long>(utf8_character(lines.data() + i, width)));
                return wrong(std::string("the character ") + code + " has no place in " +
                             CntsMLUTLMailType::GetCharSet(text_.charset));
            }
            if (lines[i] == '\n') ++line_;
            i += width;
        }
        return fail(failure_, kExitSystem, kStep, "the text cannot be converted, memory may have run out");
    }

    bool finish()
    {
        const bool seven_bit = !facts_.eight_bit && facts_.longest_line <= kMaxLine;
        text_.ends_in_line_end = facts_.line == 0;
        text_.encoding =
            seven_bit ? CntsMLUTLMailType::eTransferEncoding7bit : CntsMLUTLMailType::eTransferEncodingBase64;
        if (text_.octets.rewind()) return true;
        return fail(failure_, kExitIo, kStep,
                    std::string("cannot keep the text in a temporary file: ") + std::strerror(errno));
    }

    const std::string& name_;
    MailText& text_;
    Failure& failure_;
    std::vector<char> converted_;
    WireFacts facts_;
    std::size_t line_ = 1;
    bool first_ = true;
};

}  // namespace

bool find_charset(const std::string& name, CntsMLUTLMailType::eCharSet& charset)
{
    std::string lower = name;
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    for (const auto& row : kCharsets) {
        if (lower != row.name) continue;
        charset = row.charset;
        return true;
    }
    return false;
}

bool prepare_text(OctetSource& source, const std::string& name, const std::string& charset, MailText& text,
                  Failure& failure)
{
    if (!find_charset(charset, text.charset))
        return fail(failure, kExitUsage, kStep,
                    "charset must be us-ascii, iso-8859-1, iso-8859-2, iso-2022-jp, shift_jis or utf-8");
    return TextPreparation(name, text, failure).run(source);
}

std::size_t text_cut(const char* octets, std::size_t length, bool is_end)
{
    if (is_end) return length;
    for (std::size_t i = length; i > 0; --i)
        if (octets[i - 1] == '\n') return i;
    // A line longer than the piece: whole characters, the last of them left behind, for a sound mark may
    // follow it.
    std::size_t cut = 0;
    std::size_t last = 0;
    for (std::size_t i = 0; i < length;) {
        const std::size_t width = utf8_width(octets + i, length - i);
        if (width == 0 && utf8_is_begun(octets + i, length - i)) break;
        last = i;
        if (width == 0 || !is_sound_mark(octets + i, width)) cut = i;
        i += width == 0 ? 1 : width;  // octets that are no UTF-8 are reported when they are taken
    }
    return cut > 0 ? cut : last;
}

const char* escape_of_mode(int mode)
{
    switch (mode) {
    case 1:
        return "\x1B(J";
    case 2:
        return "\x1B(I";
    case 3:
        return "\x1B$@";
    case 4:
        return "\x1B$B";
    case 6:
        return "\x1B$(D";
    default:
        return "";
    }
}

}  // namespace velorin::cli
