#include "header_text.h"

#include <algorithm>
#include <vector>

#include "CntsMLUTLMimeUtility.h"
#include "CutlCPLBOSBoundary.h"
#include "utl_lib_convert.h"

#include "character_walk.h"
#include "header_block.h"
#include "piece_cutter.h"

namespace velorin::service {
namespace {

using Type = CntsMLUTLMailType;

constexpr char kEscape = '\x1B';
constexpr Type::eCharSet kNoCharSet = static_cast<Type::eCharSet>(11);
constexpr Type::eCharSet kUtf8 = static_cast<Type::eCharSet>(10);
constexpr Type::eCharSet kShiftJis = static_cast<Type::eCharSet>(7);
constexpr Type::eCharSet kIso2022Jp = static_cast<Type::eCharSet>(5);
constexpr Type::eCharSet kLatin1 = static_cast<Type::eCharSet>(3);

// Names that mean a character set of the vocabulary without being spelt like it.
constexpr struct {
    const char* name;
    Type::eCharSet value;
} kAliases[] = {
    {"utf8", kUtf8},
    {"sjis", kShiftJis},
    {"cp932", kShiftJis},
    {"windows-31j", kShiftJis},
    {"ms932", kShiftJis},
    {"latin1", kLatin1},
    {"iso-2022-jp-1", kIso2022Jp},
    {"iso-2022-jp-2", kIso2022Jp},
    {"iso-2022-jp-3", kIso2022Jp},
    {"iso-2022-jp-ms", kIso2022Jp},
    {"cp50220", kIso2022Jp},
    {"cp50221", kIso2022Jp},
};

bool is_one_line(char octet)
{
    return octet != '\r' && octet != '\n' && octet != '\0';
}

void make_one_line(std::string& text)
{
    std::replace_if(
        text.begin(), text.end(), [](char octet) { return !is_one_line(octet); }, ' ');
}

bool is_plain(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char octet) {
        return static_cast<unsigned char>(octet) < 0x80 && octet != kEscape;
    });
}

Type::eCharSet charset_of(std::string_view name)
{
    for (const auto& alias : kAliases) {
        if (equal_ignoring_case(name, alias.name)) return alias.value;
    }
    // The vocabulary looks at the beginning only; a name that goes on is another character set.
    const std::string text(name);
    const Type::eCharSet value = Type::TestCharSet(text.c_str());
    return equal_ignoring_case(name, Type::GetCharSet(value)) ? value : kNoCharSet;
}

bool convert(std::string_view octets, Type::eCharSet charset, std::string& out)
{
    UTL_LIB_CHGC_ENCODE_TYPE from = 0;
    UTL_LIB_CHGC_ENCODE_TYPE to = 0;
    if (Type::ConvertUtilLibEncodeType(charset, from) != 0 || Type::ConvertUtilLibEncodeType(kUtf8, to) != 0)
        return false;
    std::string input(octets);
    make_one_line(input);
    std::string output(input.size() * 4 + 16, '\0');  // one octet becomes four at most
    UTL_LIB_CHGC_REQUEST request = {input.c_str(), output.data(), static_cast<std::uint32_t>(output.size()),
                                    0};
    if (utl_lib_convert_encode(from, to, &request) != 0) return false;
    output.resize(request.output_length);
    make_one_line(output);
    out = std::move(output);
    return true;
}

// The octets of an encoded word in base64, as the library decodes it.
std::string decoded_base64(std::string_view word)
{
    char* octets = nullptr;
    long length = 0;
    Type::eCharSet unused = kNoCharSet;
    if (CntsMLUTLMimeUtility::InlineDecode(word.data(), static_cast<long>(word.size()), octets, length,
                                           unused, 0) == 0)
        return {};
    std::string out(octets, static_cast<std::size_t>(length));
    CutlCPLBOSBoundary::MemFree(octets);
    return out;
}

int hex_value(char digit)
{
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    return -1;
}

// The "Q" encoding (RFC 2047, 4.2). Not by the library, which leaves "_" as it is, takes one of two dots at the
// beginning away and drops an "=" without two digits.
std::string decoded_q(std::string_view text)
{
    std::string out;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '_') {
            out += ' ';
        } else if (text[at] == '=' && at + 2 < text.size() && hex_value(text[at + 1]) >= 0 &&
                   hex_value(text[at + 2]) >= 0) {
            out += static_cast<char>(hex_value(text[at + 1]) * 16 + hex_value(text[at + 2]));
            at += 2;
        } else {
            out += text[at];
        }
    }
    return out;
}

struct EncodedWord {
    std::string_view whole;    // from "=?" to "?="
    std::string_view charset;  // without a language
    char encoding = 'Q';
    std::string_view text;
};

// The encoded word that `text` begins with.
bool read_word(std::string_view text, EncodedWord& word)
{
    if (text.substr(0, 2) != "=?") return false;
    const std::size_t mark = text.find('?', 2);
    if (mark == std::string_view::npos || mark == 2 || mark + 2 >= text.size() || text[mark + 2] != '?')
        return false;
    const char encoding = text[mark + 1];
    if (encoding != 'B' && encoding != 'b' && encoding != 'Q' && encoding != 'q') return false;
    const std::size_t from = mark + 3;
    const std::size_t end = text.find("?=", from);
    if (end == std::string_view::npos) return false;
    word.whole = text.substr(0, end + 2);
    word.charset = text.substr(2, mark - 2);
    word.charset = word.charset.substr(0, word.charset.find('*'));  // RFC 2231, 5
    word.encoding = encoding == 'b' ? 'B' : encoding == 'q' ? 'Q' : encoding;
    word.text = text.substr(from, end - from);
    return true;
}

std::string octets_of(const EncodedWord& word)
{
    return word.encoding == 'B' ? decoded_base64(word.whole) : decoded_q(word.text);
}

// What neighbouring words say. One that stays as it came keeps a blank to its neighbours.
struct WordRun {
    std::string text;
    bool begun = false;
    bool ends_encoded = false;

    void add(const std::string& more, bool encoded)
    {
        if (begun && (encoded || ends_encoded)) text += ' ';
        text += more;
        begun = true;
        ends_encoded = encoded;
    }
};

// Adds words of one character set.
void add_words(const std::vector<EncodedWord>& words, WordRun& run)
{
    std::string octets;
    for (const EncodedWord& word : words)
        octets += octets_of(word);
    std::string out;
    if (to_utf8(octets, words.front().charset, out)) return run.add(out, false);
    for (const EncodedWord& word : words) {
        const bool known = to_utf8(octets_of(word), word.charset, out);
        run.add(known ? out : raw_text(word.whole), !known);
    }
}

// The next encoded word at or behind `at`.
std::size_t find_word(std::string_view text, std::size_t at, EncodedWord& word)
{
    // A text of many "=?" that are no words must not take quadratic time: each end is looked for once.
    std::size_t end_known_until = at;
    for (;;) {
        at = text.find("=?", at);
        if (at == std::string_view::npos) return at;
        if (at >= end_known_until) {
            end_known_until = text.find("?=", at + 2);
            if (end_known_until == std::string_view::npos) return end_known_until;
        }
        if (read_word(text.substr(at), word)) return at;
        at += 2;
    }
}

}  // namespace

std::string raw_text(std::string_view text)
{
    std::string out(text);
    make_one_line(out);
    return out;
}

bool to_utf8(std::string_view octets, std::string_view charset_name, std::string& out)
{
    const Type::eCharSet charset = charset_of(charset_name);
    return charset != kNoCharSet && convert(octets, charset, out);
}

std::string guessed_utf8(std::string_view octets, Type::eCharSet own)
{
    if (is_plain(octets)) return raw_text(octets);
    const bool escapes = octets.find(kEscape) != std::string_view::npos;
    std::string out;
    for (const Type::eCharSet charset : {escapes ? kIso2022Jp : kUtf8, kUtf8, own, kShiftJis, kLatin1}) {
        if (convert(octets, charset, out)) return out;
    }
    return raw_text(octets);
}

std::string decoded_text(std::string_view text, Type::eCharSet own)
{
    std::string out;
    std::size_t at = 0;
    while (at < text.size()) {
        EncodedWord word;
        const std::size_t from = find_word(text, at, word);
        if (from == std::string_view::npos) break;
        out += guessed_utf8(text.substr(at, from - at), own);
        std::vector<EncodedWord> words = {word};
        WordRun run;
        at = from + word.whole.size();
        for (;;) {
            // Blanks between encoded words are not part of the text (RFC 2047, 6.2).
            std::size_t next = at;
            while (next < text.size() && (text[next] == ' ' || text[next] == '\t'))
                ++next;
            if (!read_word(text.substr(next), word)) break;
            at = next + word.whole.size();
            if (!equal_ignoring_case(word.charset, words.front().charset)) {
                add_words(words, run);
                words.clear();
            }
            words.push_back(word);
        }
        add_words(words, run);
        out += run.text;
    }
    return out + guessed_utf8(text.substr(at), own);
}

namespace {

// Where the entry that begins at `at` ends: at a separator outside quotes, comments and angle brackets, or at
// the end of the text.
std::size_t end_of_entry(std::string_view text, std::size_t at)
{
    std::size_t comments = 0;
    bool quoted = false;
    bool angle = false;
    CharacterWalk walk(text, at);
    for (; !walk.over(); walk.step()) {
        const char octet = walk.octet();
        if (octet == '\\' && (quoted || comments > 0)) {
            walk.step();
        } else if (octet == '"' && comments == 0) {
            quoted = !quoted;
        } else if (octet == '(' && !quoted) {
            ++comments;
        } else if (octet == ')' && comments > 0) {
            --comments;
        } else if (quoted || comments > 0) {
            continue;
        } else if (octet == '<') {
            angle = true;
        } else if (octet == '>') {
            angle = false;
        } else if (!angle && (octet == ',' || octet == ';')) {
            return walk.at();
        }
    }
    return text.size();
}

// The "<" of an address behind a name; the end of the entry when there is none.
std::size_t angle_of(std::string_view entry)
{
    bool quoted = false;
    for (CharacterWalk walk(entry); !walk.over(); walk.step()) {
        if (quoted && walk.octet() == '\\')
            walk.step();
        else if (walk.octet() == '"')
            quoted = !quoted;
        else if (!quoted && walk.octet() == '<')
            return walk.at();
    }
    return entry.size();
}

std::string without_quotes(std::string_view phrase, bool& had_quotes)
{
    std::string out;
    bool quoted = false;
    for (CharacterWalk walk(phrase); !walk.over(); walk.step()) {
        if (walk.octet() == '"') {
            quoted = !quoted;
            had_quotes = true;
            continue;
        }
        if (quoted && walk.octet() == '\\' && walk.at() + 1 < phrase.size()) walk.step();
        out += walk.character();
    }
    return out;
}

std::string with_quotes(std::string_view text)
{
    std::string out = "\"";
    for (const char octet : text) {
        if (octet == '"' || octet == '\\') out += '\\';
        out += octet;
    }
    return out + '"';
}

bool needs_decoding(std::string_view text)
{
    return !is_plain(text) || text.find("=?") != std::string_view::npos;
}

std::string decoded_entry(std::string_view entry, Type::eCharSet own)
{
    if (!needs_decoding(entry)) return raw_text(entry);
    const std::size_t angle = angle_of(entry);
    if (angle == entry.size()) return decoded_text(entry, own);
    bool quotes = false;
    const std::string name = decoded_text(trimmed(without_quotes(entry.substr(0, angle), quotes)), own);
    std::string address = guessed_utf8(entry.substr(angle), own);
    if (name.empty()) return address;
    if (name.find_first_of("()<>@,;:\\\"") != std::string::npos) quotes = true;
    return (quotes ? with_quotes(name) : name) + " " + address;
}

}  // namespace

std::string decoded_addresses(std::string_view text, Type::eCharSet own)
{
    if (!needs_decoding(text)) return raw_text(text);
    std::string out;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = end_of_entry(text, at);
        const std::string_view entry = trimmed(text.substr(at, end - at));
        if (!out.empty() && out.back() != ' ') out += ' ';
        out += decoded_entry(entry, own);
        if (end < text.size()) out += text[end];
        at = end + 1;
    }
    return out;
}

std::string_view cut_text(std::string_view text, std::size_t limit)
{
    if (text.size() <= limit) return text;
    std::size_t cut = limit;
    // An encoded word that the cut would go through goes whole.
    const std::size_t begin = text.substr(0, cut).rfind("=?");
    if (begin != std::string_view::npos) {
        EncodedWord word;
        if (read_word(text.substr(begin), word) && begin + word.whole.size() > cut) cut = begin;
    }
    return text.substr(0, character_cut(text, cut));
}

std::string_view cut_addresses(std::string_view text, std::size_t limit)
{
    if (text.size() <= limit) return text;
    std::size_t cut = 0;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = end_of_entry(text, at);
        if (end > limit) break;
        cut = end;
        at = end + 1;
    }
    return trimmed(text.substr(0, cut));
}

}  // namespace velorin::service
