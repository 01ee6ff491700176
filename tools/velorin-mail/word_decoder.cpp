#include "word_decoder.h"

#include <algorithm>

#include "base64_pieces.h"
#include "charset_choice.h"
#include "utf8.h"

namespace velorin::cli {

namespace {

using Type = CntsMLUTLMailType;

constexpr const char* kBlanks = " \t\r\n";

struct Word {
    std::size_t begin = 0;
    std::size_t end = 0;
    Type::eCharSet charset = Type::eCharSetUnknown;
    std::string octets;
};

// Where the text of the encoded word begins whose "=?" stands at `at`; npos: it is none.
std::size_t text_of_word(const std::string& line, std::size_t at)
{
    const std::size_t mark = line.find('?', at + 2);
    if (mark == std::string::npos || mark == at + 2 || mark + 2 >= line.size() || line[mark + 2] != '?' ||
        line.find_first_of(kBlanks, at) < mark)
        return std::string::npos;
    return std::string("BbQq").find(line[mark + 1]) != std::string::npos ? mark + 3 : std::string::npos;
}

// The library's decoder leaves "_" as it is, which stands for a blank (RFC 2047, section 4.2), and takes one of two
// dots at the beginning away.
std::string in_plain_escapes(const std::string& word, std::size_t text_at)
{
    if (word[text_at - 2] != 'Q' && word[text_at - 2] != 'q') return word;
    std::string plain = word.substr(0, text_at);
    for (std::size_t i = text_at; i < word.size(); ++i) {
        if (word[i] == '_')
            plain += "=20";
        else if (word[i] == '.')
            plain += "=2E";
        else
            plain += word[i];
    }
    return plain;
}

bool decode_word(const std::string& word, std::size_t text_at, Word& decoded)
{
    const std::string typed = in_plain_escapes(word, text_at);
    char* octets = nullptr;
    long length = 0;
    decoded.charset = Type::eCharSetUnknown;
    if (CntsMLUTLMimeUtility::InlineDecode(typed.data(), static_cast<long>(typed.size()), octets, length,
                                           decoded.charset, 0) == 0)
        return false;
    const Block block(octets);
    decoded.octets.assign(octets, static_cast<std::size_t>(length));
    return decoded.charset != Type::eCharSetUnknown;
}

// Walks through a text from word to word.
class WordWalk {
public:
    explicit WordWalk(const std::string& text) : text_(text) {}

    // The next word that decodes.
    bool next(Word& word)
    {
        for (;;) {
            at_ = text_.find("=?", at_);
            if (at_ == std::string::npos) return false;
            if (at_ >= line_end_) line_end_ = std::min(text_.find_first_of("\r\n", at_), text_.size());
            if (take(word)) return true;
            at_ += 2;
        }
    }
    bool cut_short() const { return cut_short_; }

private:
    static constexpr std::size_t kMaxWord = 1000;  // octets; a header line has no more

    bool take(Word& word)
    {
        const std::string line = text_.substr(at_, std::min(line_end_ - at_, kMaxWord));
        const std::size_t text_at = text_of_word(line, 0);
        if (text_at == std::string::npos) return false;
        const std::size_t end = line.find("?=", text_at);
        if (end == std::string::npos) {
            cut_short_ = true;
            return false;
        }
        if (!decode_word(line.substr(0, end + 2), text_at, word)) return false;
        word.begin = at_;
        word.end = at_ = at_ + end + 2;
        return true;
    }

    const std::string& text_;
    std::size_t at_ = 0;
    std::size_t line_end_ = 0;
    bool cut_short_ = false;
};

bool convert_octets(const Word& word, std::string& utf8)
{
    std::string octets = word.octets;
    const auto is_line_end = [](char c) { return c == '\r' || c == '\n' || c == '\0'; };
    std::replace_if(octets.begin(), octets.end(), is_line_end, ' ');
    if (word.charset == Type::eCharSetUtf8 && !is_utf8(octets)) return false;
    return convert_text(word.charset, octets, Type::eCharSetUtf8, utf8);
}

}  // namespace

std::string decode_words(const std::string& text, bool& cut_short)
{
    std::string out;
    std::string utf8;
    WordWalk walk(text);
    Word run;              // words of one character set, joined
    std::size_t done = 0;  // what of the text is in `out`
    bool ends_decoded = false;
    const auto finish_run = [&] {
        if (run.end == 0) return;
        const std::string between = text.substr(done, run.begin - done);
        const bool converts = convert_octets(run, utf8);
        const bool joins =
            ends_decoded && converts && between.find_first_not_of(kBlanks) == std::string::npos;
        out += (joins ? "" : between) + (converts ? utf8 : text.substr(run.begin, run.end - run.begin));
        done = run.end;
        ends_decoded = converts;
        run = Word();
    };
    for (Word word; walk.next(word);) {
        const bool is_neighbour = run.end != 0 && text.find_first_not_of(kBlanks, run.end) == word.begin &&
                                  word.charset == run.charset;
        if (is_neighbour) {
            run.octets += word.octets;
            run.end = word.end;
        } else {
            finish_run();
            run = word;
        }
    }
    finish_run();
    cut_short = walk.cut_short();
    return out + text.substr(done);
}

bool holds_cut_word(const std::string& text)
{
    for (std::size_t at = text.find("=?"); at != std::string::npos; at = text.find("=?", at + 2)) {
        const std::size_t begin = text_of_word(text, at);
        if (begin == std::string::npos) continue;
        const std::size_t end = text.find("?=", begin);
        if (end == std::string::npos || text.find_first_of(kBlanks, begin) < end) return true;
    }
    return false;
}

}  // namespace velorin::cli
