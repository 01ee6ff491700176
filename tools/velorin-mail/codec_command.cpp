#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include <unistd.h>

#include "charset_choice.h"
#include "commands.h"
#include "header_words.h"
#include "input_file.h"
#include "interrupt.h"
#include "piece_codecs.h"
#include "report.h"
#include "spool.h"
#include "utf8.h"
#include "word_decoder.h"

namespace velorin::cli {

namespace {

using Type = CntsMLUTLMailType;

constexpr std::size_t kMaxText = 16u << 20;  // octets of a text that is converted as a whole

bool write_octets(const char* octets, std::size_t length)
{
    return std::fwrite(octets, 1, length, stdout) == length;
}

// The library ends lines with CR LF, as they are in a mail; files and pipes have LF.
bool write_lines(const char* octets, std::size_t length)
{
    std::string lines(octets, length);
    lines.erase(std::remove(lines.begin(), lines.end(), '\r'), lines.end());
    return write_octets(lines.data(), lines.size());
}

class Codec {
public:
    Codec(const CodecOptions& options, bool decodes, OctetSource& source, Failure& failure)
        : options_(options), decodes_(decodes), step_(decodes ? "decode" : "encode"), source_(source),
          failure_(failure)
    {
    }

    bool run()
    {
        if (options_.kind == "base64")
            return finish(decodes_ ? decode_base64(source_, write_octets)
                                   : encode_base64(source_, write_lines));
        if (options_.kind == "quoted-printable")
            return finish(decodes_ ? decode_quoted_printable(source_, write_octets)
                                   : encode_quoted_printable(source_, write_lines));
        if (!read_text()) return false;
        if (options_.kind == "words") return decodes_ ? decode_words_of_text() : encode_lines();
        return convert();
    }

private:
    bool wrong(const std::string& sentence) { return fail(failure_, kExitData, step_, sentence); }

    bool writing_failed()
    {
        return fail(failure_, kExitIo, step_,
                    std::string("cannot write to standard output: ") + std::strerror(errno));
    }

    bool reading_failed()
    {
        if (interrupting_signal() != 0)
            return fail(failure_, kExitSignal + interrupting_signal(), step_, "interrupted");
        return fail(failure_, kExitIo, step_, std::string("cannot read: ") + std::strerror(errno));
    }

    bool finish(CodecResult result)
    {
        switch (result) {
        case CodecResult::kDone:
            return std::fflush(stdout) == 0 || writing_failed();
        case CodecResult::kReadFailed:
            return reading_failed();
        case CodecResult::kWriteFailed:
            return writing_failed();
        case CodecResult::kNoMemory:
            return fail(failure_, kExitSystem, step_, "memory ran out");
        case CodecResult::kCutShort:
            break;
        }
        if (std::fflush(stdout) != 0) return writing_failed();
        return wrong("the base64 text is cut short, its last character is left out");
    }

    bool put(const std::string& text)
    {
        return write_octets(text.data(), text.size()) && std::fflush(stdout) == 0 ? true : writing_failed();
    }

    bool read_text()
    {
        if (!read_all(source_, kMaxText, text_)) return errno == EFBIG ? too_large() : reading_failed();
        return text_.find('\0') == std::string::npos || wrong("the text holds a NUL");
    }

    bool too_large() { return wrong("the text is larger than 16 MiB"); }

    // Every line is a header text of its own.
    bool encode_lines()
    {
        std::string all;
        std::size_t number = 0;
        for (std::size_t begin = 0; begin < text_.size();) {
            const std::size_t end = std::min(text_.find('\n', begin), text_.size());
            std::string line = text_.substr(begin, end - begin);
            if (!line.empty() && line.back() == '\r') line.pop_back();
            begin = end + 1;
            ++number;
            const std::string where = "line " + std::to_string(number) + " ";
            const char* what = nullptr;
            if (!is_header_text(line, what)) return wrong(where + what);
            if (holds_cut_word(line)) return wrong(where + kCutWord);
            std::string words = line;
            std::string why;
            if (!is_plain(line) && !encode_words(line, options_.charset, WordPlace(), words, why))
                return wrong(where + why);
            all += words + "\n";
        }
        return write_lines(all.data(), all.size()) && std::fflush(stdout) == 0 ? true : writing_failed();
    }

    bool decode_words_of_text()
    {
        bool cut_short = false;
        if (!put(decode_words(text_, cut_short))) return false;
        return !cut_short || wrong("an encoded word is cut short, it stays as it is");
    }

    bool convert()
    {
        Type::eCharSet named = Type::eCharSetUtf8;
        find_charset(options_.charset, named);
        const Type::eCharSet from = decodes_ ? named : Type::eCharSetUtf8;
        const Type::eCharSet to = decodes_ ? Type::eCharSetUtf8 : named;
        if (from == Type::eCharSetUtf8 && !is_utf8(text_)) return wrong("the text is not UTF-8");
        std::string converted;
        if (convert_text(from, text_, to, converted)) return put(converted);
        if (decodes_) return wrong(std::string("the text is not ") + Type::GetCharSet(named));
        const std::size_t at = find_misfit(text_, to);
        if (at == std::string::npos) return fail(failure_, kExitSystem, step_, "memory ran out");
        const auto line =
            1 + std::count(text_.begin(), text_.begin() + static_cast<std::ptrdiff_t>(at), '\n');
        return wrong("line " + std::to_string(line) + ": " + misfit_clause(text_, at, to));
    }

    const CodecOptions& options_;
    const bool decodes_;
    const char* const step_;
    OctetSource& source_;
    Failure& failure_;
    std::string text_;
};

bool run_codec(const CodecOptions& options, bool decodes, Failure& failure)
{
    const char* const step = decodes ? "decode" : "encode";
    const bool takes_charset = options.kind == "charset" || (options.kind == "words" && !decodes);
    if (!check_charset(step, options.charset, failure)) return false;
    if (!options.charset.empty() && !takes_charset)
        return fail(failure, kExitUsage, step, "--charset says nothing about " + options.kind);
    if (options.charset.empty() && options.kind == "charset")
        return fail(failure, kExitUsage, step, "no character set, give --charset SET");
    if (options.file == "-") {
        DescriptorSource source(STDIN_FILENO);
        return Codec(options, decodes, source, failure).run();
    }
    Descriptor file;
    if (!open_input(options.file, step, 0, file, failure)) return false;
    DescriptorSource source(file.get());
    return Codec(options, decodes, source, failure).run();
}

}  // namespace

int run_encode(const Options& options)
{
    Failure failure;
    return report(Outcome(), run_codec(options.codec, false, failure) ? nullptr : &failure, false);
}

int run_decode(const Options& options)
{
    Failure failure;
    return report(Outcome(), run_codec(options.codec, true, failure) ? nullptr : &failure, false);
}

}  // namespace velorin::cli
