#include "header_words.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "base64_pieces.h"
#include "charset_choice.h"
#include "utf8.h"

namespace velorin::cli {

namespace {

using Type = CntsMLUTLMailType;

constexpr std::size_t kMaxWord = 75;        // characters of an encoded word (RFC 2047, section 2)
constexpr std::size_t kMaxLine = 76;        // of a line that holds one
constexpr std::size_t kOctetsOfAGroup = 3;  // that base64 makes four characters of
constexpr std::size_t kLineEnd = 2;         // CR LF, which the encoder counts to the line
constexpr const char* kFold = "\r\n\t";
constexpr const char* kNoMemory = "cannot be encoded, memory may have run out";

bool is_blank(char c)
{
    return c == ' ' || c == '\t';
}

// The end of the encoded word that stands at `at`, between blanks or the ends of the text; 0: there is none.
std::size_t end_of_word(const std::string& text, std::size_t at)
{
    if (at > 0 && !is_blank(text[at - 1])) return 0;
    if (text.compare(at, 2, "=?") != 0) return 0;
    const std::size_t mark = text.find('?', at + 2);
    if (mark == std::string::npos || mark == at + 2 || mark + 2 >= text.size() || text[mark + 2] != '?')
        return 0;
    if (std::string("BbQq").find(text[mark + 1]) == std::string::npos) return 0;
    const std::size_t end = text.find('?', mark + 3);
    if (end == std::string::npos || text.compare(end, 2, "?=") != 0) return 0;
    if (text.find_first_of(" \t", at) < end) return 0;
    return end + 2 == text.size() || is_blank(text[end + 2]) ? end + 2 : 0;
}

// What a text consists of: words that are encoded already, and what stands around them.
struct Stretch {
    std::string text;
    bool is_word;
};

std::vector<Stretch> stretches_of(const std::string& text)
{
    std::vector<Stretch> stretches;
    std::size_t begin = 0;
    const auto add_until = [&](std::size_t end) {
        const std::string between = text.substr(begin, end - begin);
        if (between.find_first_not_of(" \t") != std::string::npos) stretches.push_back({between, false});
    };
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = end_of_word(text, at);
        if (end == 0) {
            ++at;
            continue;
        }
        add_until(at);
        stretches.push_back({text.substr(at, end - at), true});
        begin = at = end;
    }
    add_until(text.size());
    return stretches;
}

// Encodes texts of one character set, word by word.
class WordWriter {
public:
    WordWriter(Type::eCharSet charset, const WordPlace& place, std::string& words)
        : charset_(charset), column_(place.column), behind_(place.behind), words_(words)
    {
    }

    void add_word(const std::string& word)
    {
        if (!words_.empty()) words_ += kFold;
        words_ += word;
        column_ = 1;  // the tab
    }

    //   result  false when memory runs out
    bool add_text(const std::string& text)
    {
        for (std::size_t begin = 0; begin < text.size();) {
            const std::size_t length = piece_at(text, begin);
            if (!add_piece(text.substr(begin, length))) return false;
            begin += length;
        }
        return true;
    }

private:
    // Characters that the next word may have.
    std::size_t room() const
    {
        const std::size_t taken = column_ + behind_;
        return std::min(kMaxWord, taken < kMaxLine ? kMaxLine - taken : 0);
    }

    // Octets that fit into one word in base64.
    std::size_t octets_of_a_word() const
    {
        const std::size_t frame = std::string(Type::GetCharSet(charset_)).size() + 7;  // "=?", "?B?", "?="
        return room() > frame ? (room() - frame) / 4 * 3 : 0;
    }

    // The piece of a text that fits into the next word; one character at least. Where more words follow it is one
    // that needs no padding, if there is any: some programs join the base64 of neighbouring words before they
    // decode it, and take padding for its end.
    std::size_t piece_at(const std::string& text, std::size_t begin) const
    {
        const std::size_t capacity = octets_of_a_word();
        std::size_t longest = utf8_unit(text.data() + begin, text.size() - begin);
        std::size_t unpadded = 0;
        for (std::size_t length = longest;;) {
            std::string converted;
            if (!convert_text(Type::eCharSetUtf8, text.substr(begin, length), charset_, converted)) break;
            if (converted.size() > capacity) break;
            longest = length;
            if (converted.size() % kOctetsOfAGroup == 0) unpadded = length;
            if (begin + length == text.size()) return length;
            length += utf8_unit(text.data() + begin + length, text.size() - begin - length);
        }
        return unpadded > 0 ? unpadded : longest;
    }

    bool add_piece(const std::string& piece)
    {
        char* word = nullptr;
        long length = 0;
        if (CntsMLUTLMimeUtility::ToMimeEncode(charset_, piece.data(), static_cast<long>(piece.size()), word,
                                               length, static_cast<int>(room() + kLineEnd)) == 0)
            return false;
        const Block block(word);
        add_word(std::string(word, static_cast<std::size_t>(length)));
        return true;
    }

    Type::eCharSet charset_;
    std::size_t column_;
    std::size_t behind_;
    std::string& words_;
};

// A display name without its quotes (RFC 5322, section 3.2.4).
std::string unquoted(const std::string& phrase)
{
    std::string name;
    bool is_quoted = false;
    for (std::size_t i = 0; i < phrase.size(); ++i) {
        if (phrase[i] == '"') {
            is_quoted = !is_quoted;
            continue;
        }
        if (is_quoted && phrase[i] == '\\' && i + 1 < phrase.size()) ++i;
        name += phrase[i];
    }
    const std::size_t first = name.find_first_not_of(" \t");
    if (first == std::string::npos) return std::string();
    return name.substr(first, name.find_last_not_of(" \t") + 1 - first);
}

}  // namespace

bool is_plain(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool is_header_text(const std::string& text, const char*& what)
{
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t width = utf8_width(text.data() + i, text.size() - i);
        const std::uint32_t character = width > 0 ? utf8_character(text.data() + i, width) : 0;
        if (width == 0)
            what = "is not UTF-8";
        else if (character == '\r' || character == '\n')
            what = "holds a line break";
        else if (character < 0x20 || (character >= 0x7F && character < 0xA0))
            what = "holds a control character";
        else {
            i += width;
            continue;
        }
        return false;
    }
    return true;
}

bool encode_words(const std::string& text, const std::string& charset, WordPlace place, std::string& words,
                  std::string& wrong)
{
    words.clear();
    const std::vector<Stretch> stretches =
        place.words_pass ? stretches_of(text) : std::vector<Stretch>{{text, false}};
    std::string typed;
    for (const Stretch& stretch : stretches)
        if (!stretch.is_word) typed += stretch.text;
    const Type::eCharSet set = charset_for(charset, typed);
    const std::size_t misfit = find_misfit(typed, set);
    if (misfit != std::string::npos) {
        wrong = "cannot be encoded, " + misfit_clause(typed, misfit, set);
        return false;
    }
    WordWriter writer(set, place, words);
    for (const Stretch& stretch : stretches) {
        if (stretch.is_word) {
            writer.add_word(stretch.text);
        } else if (!writer.add_text(stretch.text)) {
            wrong = kNoMemory;
            return false;
        }
    }
    return true;
}

bool encode_entry(const std::string& entry, const std::string& charset, std::size_t column,
                  std::string& encoded, std::string& wrong)
{
    encoded = entry;
    if (is_plain(entry)) return true;
    int position = 0;
    if (CntsMLUTLMailAddress::SkipUserName(entry.c_str(), position) == 0) position = 0;
    const std::size_t angle = entry.find('<', static_cast<std::size_t>(position));
    if (angle == std::string::npos || !is_plain(entry.substr(angle))) {
        wrong = "is not US-ASCII outside of its display name";
        return false;
    }
    const std::string address = entry.substr(angle);
    const std::string name = unquoted(entry.substr(0, angle));
    if (!encode_words(name, charset, {column, 0, true}, encoded, wrong)) return false;
    const std::size_t line_end = encoded.rfind('\n');
    const std::size_t line =
        line_end == std::string::npos ? column + encoded.size() : encoded.size() - line_end - 1;
    const bool fits = line + 1 + address.size() + 1 <= kMaxLine;  // a blank before it, a comma behind it
    encoded += (fits ? " " : kFold) + address;
    return true;
}

}  // namespace velorin::cli
