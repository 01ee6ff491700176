// Header texts typed in UTF-8 and what they are sent as.
#include "header_words.h"

#include <sstream>

#include <gtest/gtest.h>

#include "CntsMLUTLMimeUtility.h"
#include "CutlCPLBOSBoundary.h"
#include "charset_choice.h"

using namespace velorin;
using namespace velorin::cli;

namespace {

constexpr const char* kKanji = "\xE6\xBC\xA2";      // U+6F22
constexpr const char* kHalfKa = "\xEF\xBD\xB6";     // U+FF76
constexpr const char* kSoundMark = "\xEF\xBE\x9E";  // U+FF9E

std::string repeated(const std::string& text, int times)
{
    std::string all;
    while (times-- > 0)
        all += text;
    return all;
}

std::string encoded(const std::string& text, const std::string& charset, WordPlace place = {})
{
    std::string words;
    std::string wrong;
    EXPECT_TRUE(encode_words(text, charset, place, words, wrong)) << wrong;
    return words;
}

// Decodes every word for itself: whoever joins their octets only after converting them reads the same.
std::string decoded(const std::string& words)
{
    std::string text;
    std::istringstream lines(words);
    for (std::string word; lines >> word;) {
        char* octets = nullptr;
        long length = 0;
        CntsMLUTLMailType::eCharSet charset = CntsMLUTLMailType::eCharSetUnknown;
        EXPECT_EQ(1, CntsMLUTLMimeUtility::InlineDecode(word.data(), static_cast<long>(word.size()), octets,
                                                        length, charset, 0));
        std::string piece;
        EXPECT_TRUE(convert_text(charset, std::string(octets, static_cast<std::size_t>(length)),
                                 CntsMLUTLMailType::eCharSetUtf8, piece));
        CutlCPLBOSBoundary::MemFree(octets);
        text += piece;
    }
    return text;
}

void expect_within_lines(const std::string& words, WordPlace place)
{
    std::size_t column = place.column;
    for (std::size_t begin = 0; begin <= words.size();) {
        std::size_t end = words.find("\r\n\t", begin);
        const bool is_last = end == std::string::npos;
        if (is_last) end = words.size();
        EXPECT_LE(end - begin, 75u) << words;
        EXPECT_LE(column + (end - begin) + (is_last ? place.behind : 0), 76u) << words;
        column = 1;
        begin = end + 3;
    }
}

}  // namespace

TEST(CliHeaderWords, AreCutAtCharactersAndKeepTheirLines)
{
    const std::string characters[] = {kKanji,     "a" + std::string(kKanji),         "\xF0\x9F\x98\x80",
                                      "\xC3\xA9", std::string(kHalfKa) + kSoundMark, "a"};
    for (const std::string& character : characters) {
        for (const char* const charset : {"", "utf-8", "iso-2022-jp", "shift_jis", "iso-8859-1"}) {
            std::string probe;
            CntsMLUTLMailType::eCharSet set = charset_for(charset, character);
            if (!convert_text(CntsMLUTLMailType::eCharSetUtf8, character, set, probe)) continue;
            for (int times = 1; times <= 300; times = times < 60 ? times + 1 : times + 24) {
                for (const WordPlace place :
                     {WordPlace{0, 0, true}, {9, 0, true}, {29, 0, true}, {11, 1, false}}) {
                    const std::string text = repeated(character, times);
                    const std::string words = encoded(text, charset, place);
                    expect_within_lines(words, place);
                    std::string there;
                    std::string back;  // what the set makes of the text: half-width kana do not stay
                    ASSERT_TRUE(convert_text(CntsMLUTLMailType::eCharSetUtf8, text, set, there));
                    ASSERT_TRUE(convert_text(set, there, CntsMLUTLMailType::eCharSetUtf8, back));
                    ASSERT_EQ(back, decoded(words)) << charset << " " << times;
                }
            }
        }
    }
}

TEST(CliHeaderWords, TakeTheSetThatSuitsTheText)
{
    static const struct {
        const char* label;
        const char* text;
        const char* charset;
    } cases[] = {
        {"ASCII", "abc", "utf-8"},
        {"kanji", "\xE6\xBC\xA2", "iso-2022-jp"},
        {"kana and ASCII", "a\xE3\x81\x82", "iso-2022-jp"},
        {"Greek in a Japanese text", "\xCE\xB1\xE3\x81\x82", "iso-2022-jp"},
        {"Greek", "\xCE\xB1", "utf-8"},
        {"an accent", "\xC3\xA9\xE3\x81\x82", "utf-8"},
        {"half-width kana", "\xEF\xBD\xB6\xE3\x81\x82", "utf-8"},
        {"circled digit, of no standard row", "\xE2\x91\xA0\xE3\x81\x82", "utf-8"},
        {"an IBM kanji", "\xE9\xAB\x99", "utf-8"},
        {"wave dash, which converters read in two ways", "\xE3\x80\x9C", "utf-8"},
        {"full-width tilde", "\xEF\xBD\x9E", "utf-8"},
        {"full-width minus", "\xEF\xBC\x8D\xE3\x81\x82", "utf-8"},
        {"hangul", "\xED\x95\x9C", "utf-8"},
        {"escape", "\x1B\xE3\x81\x82", "utf-8"},
        {"escape aside from the Japanese", "\xE3\x81\x82\n\x1B(J", "utf-8"},
        {"no UTF-8", "\xE3\x81\x82\xE3", "utf-8"},
    };
    for (const auto& c : cases) {
        const std::string text = c.text;
        EXPECT_STREQ(c.charset, CntsMLUTLMailType::GetCharSet(charset_for("", text))) << c.label;
        for (std::size_t cut = 0; cut <= text.size(); ++cut) {
            CharsetSurvey survey;
            survey.add(text.data(), cut);
            survey.add(text.data() + cut, text.size() - cut);
            EXPECT_STREQ(c.charset, CntsMLUTLMailType::GetCharSet(survey.charset())) << c.label << cut;
        }
    }
    EXPECT_EQ(CntsMLUTLMailType::eCharSetShiftJis, charset_for("Shift_JIS", "x"));
}

TEST(CliHeaderWords, WhatIsEncodedAlreadyPasses)
{
    const std::string word = "=?iso-8859-1?Q?caf=E9?=";
    const std::string fold = "\r\n\t";
    const std::string kanji = "=?utf-8?B?5ryi?=";
    EXPECT_EQ(word + fold + "=?utf-8?B?IOa8og==?=", encoded(word + " " + kKanji, "utf-8"));
    EXPECT_EQ("=?utf-8?B?5ryiIA==?=" + fold + word, encoded(kKanji + (" " + word), "utf-8"));
    EXPECT_EQ(word + fold + word + fold + "=?utf-8?B?IOa8og==?=",
              encoded(word + "  " + word + " " + kKanji, "utf-8"));
    // No words: without a blank between, cut short, or of another encoding.
    for (const std::string& typed :
         {kKanji + word, word + kKanji, "=?utf-8?B?YQ=" + (" " + std::string(kKanji)),
          "=?utf-8?X?YQ==?= " + std::string(kKanji), "=??B?YQ==?= " + std::string(kKanji)})
        EXPECT_EQ(typed, decoded(encoded(typed, "utf-8"))) << typed;
    EXPECT_EQ(word, decoded(encoded(word, "utf-8", {0, 0, false})));
}

TEST(CliHeaderWords, NamesOfEntriesAreEncodedAndAddressesStay)
{
    static const struct {
        const char* label;
        const char* entry;
        const char* encoded;
    } cases[] = {
        {"plain", "\"Doe, J\" <j@x>", "\"Doe, J\" <j@x>"},
        {"bare name", "\xE6\xBC\xA2 <j@x>", "=?utf-8?B?5ryi?= <j@x>"},
        {"quotes go", "\"\xE6\xBC\xA2\" <j@x>", "=?utf-8?B?5ryi?= <j@x>"},
        {"no blank", "\"\xE6\xBC\xA2\"<j@x>", "=?utf-8?B?5ryi?= <j@x>"},
        {"escaped quotes and brackets", "\"\xE6\xBC\xA2 \\\"<(,;\\\\\" <j@x>",
         "=?utf-8?B?5ryiICI8KCw7XA==?= <j@x>"},
        {"parentheses", "\xE6\xBC\xA2 (x) <j@x>", "=?utf-8?B?5ryiICh4KQ==?= <j@x>"},
        {"encoded word", "=?utf-8?B?5ryi?= <j@x>", "=?utf-8?B?5ryi?= <j@x>"},
    };
    for (const auto& c : cases) {
        std::string encoded_entry;
        std::string wrong;
        EXPECT_TRUE(encode_entry(c.entry, "utf-8", 4, encoded_entry, wrong)) << c.label << wrong;
        EXPECT_EQ(c.encoded, encoded_entry) << c.label;
    }
}

TEST(CliHeaderWords, AnAddressThatDoesNotFitGoesOnALineOfItsOwn)
{
    const std::string name = repeated(kKanji, 15);
    for (std::size_t length = 1; length <= 60; ++length) {
        const std::string address = "<" + std::string(length, 'a') + "@b>";
        std::string entry;
        std::string wrong;
        ASSERT_TRUE(encode_entry(name + " " + address, "", 4, entry, wrong)) << wrong;
        expect_within_lines(entry, {4, 1, true});
        EXPECT_EQ(address, entry.substr(entry.find('<')));
        CutlCPLBMString bare;
        EXPECT_EQ(1, CntsMLUTLMailAddress::GetRealAddress(bare, entry.c_str()));
        EXPECT_EQ(address, "<" + std::string(bare.GetString()) + ">");
    }
}
