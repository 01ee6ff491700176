// What holds of encoded words whatever the text, the character set, the budget and the cut.
#include <algorithm>
#include <cctype>

#include "mlutl_support.h"
#include "property_support.h"

namespace velorin_test {
namespace {

using velorin::CntsMLUTLMailType;

constexpr char kFold[] = "\r\n\t";
constexpr int kHeaderLine = 75;

// The octets cut as the words of a text are.
Characters chunks_of(const std::string& octets, std::size_t chunk)
{
    Characters chunks;
    for (std::size_t at = 0; at < octets.size() || at == 0; at += chunk) {
        chunks.push_back(octets.substr(at, chunk));
        if (chunk == 0) break;
    }
    return chunks;
}

// Each word by itself, without what stands between them.
std::string decoded_word_by_word(const std::string& words)
{
    std::string octets;
    for (std::string word : lines_of(words)) {
        if (word[0] == '\t') word.erase(0, 1);
        octets += decoded_header(word).octets;
    }
    return octets;
}

void assert_lines_within(const std::string& text, int budget)
{
    for (const std::string& line : lines_of(text))
        RC_ASSERT(static_cast<int>(line.size()) <= budget);
}

RC_GTEST_PROP(EncodedWordProperty, DecodeOfEncodeIsTheIdentityForAnyOctetsOfUtf8, ())
{
    const std::string octets = *rc::gen::nonEmpty(any_octets());
    const int budget = *number(-20, 200);
    const std::optional<std::string> words = to_words(kUtf8, octets, budget);
    RC_ASSERT(words.has_value());
    RC_ASSERT(decoded_word_by_word(*words) == octets);

    const WordBudget word(kUtf8, octets.size(), budget);
    const Decoded whole = decoded_header(*words);
    RC_ASSERT(whole.octets == joined(chunks_of(octets, word.chunk), kFold));
    RC_ASSERT(whole.set == kUtf8);
    if (word.is_folded) assert_lines_within(*words, budget);
}

RC_GTEST_PROP(EncodedWordProperty, PiecesOfWholeWordsEncodeAsTheWhole, ())
{
    const int budget = *number(25, 80);
    const std::size_t chunk = WordBudget(kUtf8, 0, budget).chunk;
    const std::string first = *octets_of_length(static_cast<std::size_t>(*number(1, 5)) * chunk);
    const std::string second = *rc::gen::nonEmpty(any_octets());
    RC_ASSERT(*to_words(kUtf8, first, budget) + kFold + *to_words(kUtf8, second, budget) ==
              *to_words(kUtf8, first + second, budget));
}

// A text that fits one word is encoded in every set, a longer one is refused in all but UTF-8.
RC_GTEST_PROP(EncodedWordProperty, DecodeOfEncodeIsTheIdentityInEverySetForWhatFitsAWord, ())
{
    const CharSet set = *any_set();
    const std::string text = joined(*rc::gen::nonEmpty(any_characters(alphabet_of(set))));
    const int budget = *number(-20, 400);
    const std::string in_set = *converted(kUtf8, text, set);
    const WordBudget word(set, text.size(), budget);
    const std::optional<std::string> words = to_words(set, text, budget);
    RC_ASSERT(words.has_value() == (set == kUtf8 || in_set.size() <= word.chunk));
    if (!words || (set == kUtf8 && text.size() > word.chunk)) return;
    RC_ASSERT(lines_of(*words).size() == 1);
    if (word.is_folded) assert_lines_within(*words, budget);
    const Decoded decoded = decoded_header(*words);
    RC_ASSERT(decoded.octets == in_set);
    RC_ASSERT(decoded.set == set);
    RC_ASSERT(to_utf8(set, decoded.octets) == text);
}

// Pieces of up to `at_most` characters that each fit one word, as an application cuts a long subject.
Characters pieces_that_fit(CharSet set, const Characters& text, std::size_t chunk, int at_most)
{
    Characters pieces(1);
    int count = 0;
    for (const std::string& character : text) {
        const bool fits = converted(kUtf8, pieces.back() + character, set)->size() <= chunk;
        if (!fits || count == at_most) {
            pieces.emplace_back();
            count = 0;
        }
        pieces.back() += character;
        ++count;
    }
    return pieces;
}

RC_GTEST_PROP(EncodedWordProperty, AnyTextCutAtCharactersComesBackInEverySet, ())
{
    const CharSet set = *any_set();
    const Characters text = *rc::gen::nonEmpty(any_characters(alphabet_of(set)));
    const int budget = *number(36, 120);  // room for one character between two switches
    const std::size_t chunk = WordBudget(set, 0, budget).chunk;
    Characters words;
    Characters in_set;
    for (const std::string& piece : pieces_that_fit(set, text, chunk, *number(1, 40))) {
        words.push_back(to_words(set, piece, budget).value_or(""));
        in_set.push_back(*converted(kUtf8, piece, set));
    }
    const std::string header = joined(words, kFold);
    assert_lines_within(header, budget);
    const Decoded decoded = decoded_header(header);
    RC_ASSERT(decoded.octets == joined(in_set, kFold));
    RC_ASSERT(decoded.set == set);
    RC_ASSERT(to_utf8(set, decoded_word_by_word(header)) == joined(text));
}

// A line of a header block: what stands around its text, and what the encoder makes of it.
struct Field {
    std::string before;
    std::string text;
    std::string behind;
    CharSet set;

    bool is_encoded() const
    {
        const bool is_foreign = std::any_of(text.begin(), text.end(), [](char c) {
            const unsigned char octet = static_cast<unsigned char>(c);
            return octet >= 0x80 || !(std::isprint(octet) || std::isspace(octet));
        });
        const WordBudget word(set, text.size(), kHeaderLine - static_cast<int>(before.size()));
        const std::optional<std::string> in_set = converted(kUtf8, text, set);
        return is_foreign && in_set && (set == kUtf8 || in_set->size() <= word.chunk);
    }
    std::string line() const { return before + text + behind + "\r\n"; }
    std::string decoded() const
    {
        return before + (is_encoded() ? *converted(kUtf8, text, set) : text) + behind + "\r\n";
    }
};

Field any_field(CharSet set)
{
    static const std::string letters = "ABCDEFGHIJKLMabcdefghijklm-";
    const std::string name =
        *rc::gen::nonEmpty(rc::gen::resize(20, rc::gen::container<std::string>(rc::gen::elementOf(letters))));
    const Characters& alphabet =
        *number(0, 3) == 0 ? alphabet_of(CntsMLUTLMailType::eCharSetUsAscii) : alphabet_of(set);
    const std::string text = joined(*any_characters(alphabet));
    switch (*number(0, 2)) {
    case 0:
        return {name + ": ", text, "", set};
    case 1:
        return {"To: ", text, "<a@b.example>", set};
    default:
        return {"\t" + name + "=\"", text, "\"", set};
    }
}

std::vector<Field> any_fields(CharSet set)
{
    std::vector<Field> fields;
    for (int count = *number(0, 4); count > 0; --count) {
        fields.push_back(any_field(set));
        RC_PRE(fields.back().line().find("=?") == std::string::npos);  // would be read as a word
    }
    return fields;
}

const char kFirstLine[] = "Date: today\r\n";  // must be ASCII

std::string block_of(const std::vector<Field>& fields)
{
    std::string block = kFirstLine;
    for (const Field& field : fields)
        block += field.line();
    return block;
}

// The words of a field as one: all but the last hold whole groups of base64.
std::string unfolded(std::string text, CharSet set)
{
    const std::string opening = std::string("=?") + CntsMLUTLMailType::GetCharSet(set) + "?B?";
    const std::string fold = "?=" + std::string(kFold) + opening;
    for (std::size_t at = text.find(fold); at != std::string::npos; at = text.find(fold, at))
        text.erase(at, fold.size());
    return text;
}

RC_GTEST_PROP(EncodedHeaderProperty, DecodeOfEncodeIsTheIdentityInEverySet, ())
{
    const CharSet set = *any_set();
    const std::vector<Field> fields = any_fields(set);
    std::string expected = kFirstLine;
    for (const Field& field : fields)
        expected += field.decoded();
    const std::string encoded = encoded_header(block_of(fields), set);
    RC_ASSERT(decoded_header(unfolded(encoded, set)).octets == expected);
}

RC_GTEST_PROP(EncodedHeaderProperty, NoLineIsOverItsBudgetAndNoEncodedOneHoldsAForeignOctet, ())
{
    const CharSet set = *any_set();
    for (const Field& field : any_fields(set)) {
        const std::string encoded = encoded_header(kFirstLine + field.line(), set);
        if (!field.is_encoded()) {
            RC_ASSERT(encoded == kFirstLine + field.line());
            continue;
        }
        RC_ASSERT(encoded.compare(encoded.size() - 2 - field.behind.size(), field.behind.size(),
                                  field.behind) == 0);
        // What stands plain behind the words is not the encoder's to fold.
        assert_lines_within(encoded.substr(0, encoded.size() - 2 - field.behind.size()), kHeaderLine);
        for (const char c : encoded)
            RC_ASSERT((c >= ' ' && c < 0x7F) || c == '\r' || c == '\n' || c == '\t');
    }
}

RC_GTEST_PROP(EncodedHeaderProperty, AnyCutBetweenLinesEncodesAsTheWhole, ())
{
    const CharSet set = *any_set();
    const std::string first = block_of(any_fields(set));
    const std::string second = block_of(any_fields(set));
    RC_ASSERT(encoded_header(first, set) + encoded_header(second, set) ==
              encoded_header(first + second, set));
}

// A piece of a header as others write them, and what is to be read.
struct Item {
    std::string text;
    std::string octets;
    int set;  // -1: no word
};

Item any_item()
{
    static const std::string plain = "abc XYZ=.\r\n\t\"<>@\xC3\xA9";
    const int set = *number(0, 11);  // one more than there are: a name of no set
    std::string name = set <= 10 ? CntsMLUTLMailType::GetCharSet(static_cast<CharSet>(set)) : "x-none";
    if (*rc::gen::arbitrary<bool>())
        for (char& c : name)
            c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    const std::string octets = *rc::gen::resize(40, any_octets());
    switch (*number(0, 2)) {
    case 0: {
        const std::string text =
            *rc::gen::resize(40, rc::gen::container<std::string>(rc::gen::elementOf(plain)));
        return {text, text, -1};
    }
    case 1:
        return {"=?" + name + *rc::gen::elementOf(Characters{"?B?", "?b?"}) + base64_of(octets) + "?=",
                octets, set};
    default: {
        std::string text;
        for (const char c : octets) {
            const char* const digits = *number(0, 1) == 0 ? "0123456789ABCDEF" : "0123456789abcdef";
            const unsigned char octet = static_cast<unsigned char>(c);
            if (octet < 0x80 && std::isalnum(octet))
                text += c;
            else
                text += {'=', digits[octet >> 4], digits[octet & 15]};
        }
        return {"=?" + name + *rc::gen::elementOf(Characters{"?Q?", "?q?"}) + text + "?=", octets, set};
    }
    }
}

RC_GTEST_PROP(EncodedHeaderProperty, WordsOfOthersAreReadWhereverTheyStandAndWhereverTheTextIsCut, ())
{
    std::vector<Item> items;
    for (int count = *number(0, 6); count > 0; --count)
        items.push_back(any_item());
    std::string text;
    std::string octets;
    int set = -1;
    for (const Item& item : items) {
        text += item.text;
        octets += item.octets;
        if (item.set != -1) set = item.set;
    }
    const Decoded decoded = decoded_header(text);
    RC_ASSERT(decoded.octets == octets);
    RC_ASSERT(decoded.set == set);

    const std::size_t cut = any_cut(items.size());
    std::string first;
    for (std::size_t i = 0; i < cut; ++i)
        first += items[i].text;
    const Decoded before = decoded_header(first);
    const Decoded behind = decoded_header(text.substr(first.size()), before.set);
    RC_ASSERT(before.octets + behind.octets == octets);
    RC_ASSERT(behind.set == set);
}

}  // namespace
}  // namespace velorin_test
