#include "text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "charset_choice.h"
#include "interrupt.h"
#include "utf8.h"

namespace velorin::cli {

namespace {

constexpr const char* kStep = "text";
constexpr std::size_t kPiece = 32u << 10;  // octets read at once
constexpr std::size_t kMaxLine = 998;      // octets without CR LF (RFC 5322, section 2.1.1)

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

bool reading_failed(const std::string& name, Failure& failure)
{
    if (interrupting_signal() != 0)
        return fail(failure, kExitSignal + interrupting_signal(), kStep,
                    interrupted_sentence(Stage::kNothingSent));
    return fail(failure, kExitIo, kStep, "cannot read " + name + ": " + std::strerror(errno));
}

bool keeping_failed(Failure& failure)
{
    return fail(failure, kExitIo, kStep,
                std::string("cannot keep the text in a temporary file: ") + std::strerror(errno));
}

// The octets of a byte order mark, which is no part of the text.
std::size_t mark_at(const char* octets, std::size_t length)
{
    return length >= 3 && std::memcmp(octets, "\xEF\xBB\xBF", 3) == 0 ? 3 : 0;
}

// Reads the whole text to find out its character set.
//   out     copy: the text, at its front
bool survey(OctetSource& source, const std::string& name, Spool& copy, CntsMLUTLMailType::eCharSet& charset,
            Failure& failure)
{
    CharsetSurvey facts;
    std::vector<char> piece(kPiece);
    for (std::size_t count = kPiece; count == kPiece;) {
        if (!source.read(piece.data(), piece.size(), count)) return reading_failed(name, failure);
        const std::size_t skip = copy.size() == 0 ? mark_at(piece.data(), count) : 0;
        facts.add(piece.data() + skip, count - skip);
        if (!copy.write(piece.data(), count)) return keeping_failed(failure);
    }
    charset = facts.charset();
    return copy.rewind() || keeping_failed(failure);
}

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
            if (!source.read(piece.data(), piece.size(), count)) return reading_failed(name_, failure_);
            is_end = count < piece.size();
            const std::size_t skip = first_ ? mark_at(piece.data(), count) : 0;
            first_ = false;
            pending.append(piece.data() + skip, count - skip);
            const std::size_t cut = text_cut(pending.data(), pending.size(), is_end);
            if (cut > 0 && !take(pending.data(), cut)) return false;
            pending.erase(0, cut);
        }
        return finish();
    }

private:
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

    bool convert(const std::string& lines)
    {
        if (!convert_text(CntsMLUTLMailType::eCharSetUtf8, lines, text_.charset, converted_))
            return blame_character(lines);
        facts_.add(converted_.data(), converted_.size());
        return text_.octets.write(converted_.data(), converted_.size()) || keeping_failed(failure_);
    }

    // Finds the character that made a conversion fail and says where it stands.
    bool blame_character(const std::string& lines)
    {
        const std::size_t at = find_misfit(lines, text_.charset);
        if (at == std::string::npos)
            return fail(failure_, kExitSystem, kStep,
                        "the text cannot be converted, memory may have run out");
        line_ += static_cast<std::size_t>(
            std::count(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(at), '\n'));
        return wrong(misfit_clause(lines, at, text_.charset));
    }

    bool finish()
    {
        const bool seven_bit = !facts_.eight_bit && facts_.longest_line <= kMaxLine;
        text_.ends_in_line_end = facts_.line == 0;
        text_.encoding =
            seven_bit ? CntsMLUTLMailType::eTransferEncoding7bit : CntsMLUTLMailType::eTransferEncodingBase64;
        if (text_.octets.rewind()) return true;
        return keeping_failed(failure_);
    }

    const std::string& name_;
    MailText& text_;
    Failure& failure_;
    std::string converted_;
    WireFacts facts_;
    std::size_t line_ = 1;
    bool first_ = true;
};

}  // namespace

bool prepare_text(OctetSource& source, const std::string& name, const std::string& charset, MailText& text,
                  Failure& failure)
{
    if (!check_charset(kStep, charset, failure)) return false;
    if (find_charset(charset, text.charset)) return TextPreparation(name, text, failure).run(source);
    Spool copy;
    if (!survey(source, name, copy, text.charset, failure)) return false;
    return TextPreparation(name, text, failure).run(copy);
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
        if (width == 0 || !utf8_is_sound_mark(octets + i, width)) cut = i;
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
