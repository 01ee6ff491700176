// Modes of JIS: what is accepted, where they end, and every cut of a text.
#include <gtest/gtest.h>

#include "charset_support.h"

namespace {

TEST(CharsetJis, ReadsEveryWayOfSwitching)
{
    const struct {
        const char* label;
        const char* jis;
        const char* utf8;
    } cases[] = {
        {"no switch at all", "plain \\~", "plain \\~"},
        {"1983 set", "\x1B$B\x46\x7C\x1B(B", u8"\u65E5"},
        {"1978 set", "\x1B$@\x46\x7C\x1B(B", u8"\u65E5"},
        {"four octets, 1983", "\x1B$(B\x46\x7C\x1B(B", u8"\u65E5"},
        {"four octets, 1978", "\x1B$(@\x46\x7C\x1B(B", u8"\u65E5"},
        {"1990 set with its announcement", "\x1B&@\x1B$B\x46\x7C\x1B(B", u8"\u65E5"},
        {"announcement in pairs changes nothing", "\x1B$B\x46\x7C\x1B&@\x46\x7C\x1B(B", u8"\u65E5\u65E5"},
        {"announcement in ASCII changes nothing", "a\x1B&@b", "ab"},
        {"back by the Roman set", "\x1B$B\x46\x7C\x1B(J a\\~", u8"\u65E5 a\\~"},
        {"back by the Swedish set", "\x1B$B\x46\x7C\x1B(Ha", u8"\u65E5a"},
        {"set to set", "\x1B$@\x46\x7C\x1B$B\x4B\x5C\x1B(B", u8"\u65E5\u672C"},
        {"the same set twice", "\x1B$B\x46\x7C\x1B$B\x4B\x5C\x1B(B", u8"\u65E5\u672C"},
        {"kana set", "\x1B(I\x31\x5F\x1B(B1", u8"\uFF71\uFF9F1"},
        {"pairs to kana and back", "\x1B$B\x46\x7C\x1B(I\x31\x1B$B\x4B\x5C\x1B(B", u8"\u65E5\uFF71\u672C"},
        {"kana by shift-out",
         "a\x0E\x31\x0F"
         "b",
         u8"a\uFF71b"},
        {"kana by shift-out within the Roman set",
         "\x1B(J\x0E\x31\x0F"
         "b",
         u8"\uFF71b"},
        {"pairs go on after shift-in", "\x1B$B\x46\x7C\x0E\x31\x0F\x4B\x5C\x1B(B", u8"\u65E5\uFF71\u672C"},
        {"shift-in without shift-out",
         "a\x0F"
         "b",
         "ab"},
        {"8-bit kana in ASCII",
         "a\xB1\xDF"
         "b",
         u8"a\uFF71\uFF9Fb"},
        {"8-bit kana in the Roman set", "\x1B(J\xB1", u8"\uFF71"},
        {"8-bit kana in the kana set", "\x1B(I\x31\xB2\x1B(B", u8"\uFF71\uFF72"},
        {"empty switches", "\x1B$B\x1B(B\x1B(I\x1B(B\x1B$(D\x1B(B", ""},
        {"text ends in pairs", "\x1B$B\x46\x7C", u8"\u65E5"},
        {"text ends in kana", "\x1B(I\x31", u8"\uFF71"},
        {"text ends with a switch", "a\x1B$B", "a"},
        {"a line end ends pairs", "\x1B$B\x46\x7C\r\nF|", u8"\u65E5\r\nF|"},
        {"a lone LF ends pairs", "\x1B$B\x46\x7C\nF|", u8"\u65E5\nF|"},
        {"a lone CR ends kana", "\x1B(I\x31\r1", u8"\uFF71\r1"},
        {"a line end ends shift-out", "\x0E\x31\n1", u8"\uFF71\n1"},
        {"blank and tab between pairs", "\x1B$B\x46\x7C \t\x4B\x5C\x1B(B", u8"\u65E5 \t\u672C"},
        {"controls stay", "\x01\x1F\x7F", "\x01\x1F\x7F"},
        {"NEC row 13", "\x1B$B\x2D\x21\x2D\x6A\x1B(B", u8"\u2460\u3231"},
        {"NEC selection", "\x1B$B\x79\x21\x7C\x71\x7C\x7E\x1B(B", u8"\u7E8A\u2170\uFF02"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.label);
        EXPECT_EQ(convert(kJisType, kUtf8Type, row.jis), done(row.utf8));
        EXPECT_EQ(convert(kXJisType, kUtf8Type, row.jis), done(row.utf8));
    }
}

TEST(CharsetJis, WritesTheFewestSwitchesAndEndsInAscii)
{
    const struct {
        const char* label;
        const char* utf8;
        const char* jis;
    } cases[] = {
        {"nothing", "", ""},
        {"ASCII", "plain \\~\r\n", "plain \\~\r\n"},
        {"pairs", u8"\u65E5\u672C", "\x1B$B\x46\x7C\x4B\x5C\x1B(B"},
        {"blank between pairs", u8"\u65E5 \u672C", "\x1B$B\x46\x7C\x1B(B \x1B$B\x4B\x5C\x1B(B"},
        {"line ends in ASCII", u8"\u65E5\r\n\u672C\n", "\x1B$B\x46\x7C\x1B(B\r\n\x1B$B\x4B\x5C\x1B(B\n"},
        {"circled digit", u8"\u2460", "\x1B$B\x2D\x21\x1B(B"},
        {"full-width tilde", u8"\uFF5E", "\x1B$B\x21\x41\x1B(B"},
        {"wave dash", u8"\u301C", "\x1B$B\x21\x41\x1B(B"},
        {"parallel to", u8"\u2225", "\x1B$B\x21\x42\x1B(B"},
        {"double line", u8"\u2016", "\x1B$B\x21\x42\x1B(B"},
        {"full-width hyphen", u8"\uFF0D", "\x1B$B\x21\x5D\x1B(B"},
        {"minus", u8"\u2212", "\x1B$B\x21\x5D\x1B(B"},
        {"cents", u8"\u00A2\uFFE0", "\x1B$B\x21\x71\x21\x71\x1B(B"},
        {"pounds", u8"\u00A3\uFFE1", "\x1B$B\x21\x72\x21\x72\x1B(B"},
        {"nots", u8"\u00AC\uFFE2", "\x1B$B\x22\x4C\x22\x4C\x1B(B"},
        {"yens", u8"\u00A5\uFFE5\\", "\x1B$B\x21\x6F\x21\x6F\x1B(B\\"},
        {"overlines", u8"\u203E\uFFE3~", "\x1B$B\x21\x31\x21\x31\x1B(B~"},
        {"dashes", u8"\u2014\u2015", "\x1B$B\x21\x3D\x21\x3D\x1B(B"},
        {"broken bars", u8"\u00A6\uFFE4", "\x1B$B\x7C\x7C\x7C\x7C\x1B(B"},
        {"IBM kanji, first and last", u8"\u7E8A\u9ED1", "\x1B$B\x79\x21\x7C\x6E\x1B(B"},
        {"IBM kanji of a surname", u8"\u9AD9", "\x1B$B\x7C\x62\x1B(B"},
        {"small Roman numerals", u8"\u2170\u2179", "\x1B$B\x7C\x71\x7C\x7A\x1B(B"},
        {"Roman numerals", u8"\u2160\u2169", "\x1B$B\x2D\x35\x2D\x3E\x1B(B"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.label);
        EXPECT_EQ(convert(kUtf8Type, kJisType, row.utf8), done(row.jis));
        EXPECT_EQ(convert(kUtf8Type, kXJisType, row.utf8), done(row.jis));
        const Converted back = convert(kJisType, kShiftJisType, row.jis);
        EXPECT_EQ(convert(kUtf8Type, kShiftJisType, row.utf8), back);
        EXPECT_EQ(convert(kShiftJisType, kJisType, back.octets), done(row.jis));
    }
}

TEST(CharsetJis, JisToItselfIsWrittenInItsPlainestForm)
{
    const std::string ornate = "\x1B(Ja\x1B&@\x1B$@\x46\x7C\x1B$B\x4B\x5C\x1B(J\r\n\x1B$B\x46\x7C";
    const std::string plain = "a\x1B$B\x46\x7C\x4B\x5C\x1B(B\r\n\x1B$B\x46\x7C\x1B(B";
    for (const int from : {kJisType, kXJisType})
        for (const int to : {kJisType, kXJisType})
            EXPECT_EQ(convert(from, to, ornate), done(plain));
}

TEST(CharsetJis, WhatWouldChangeTheModeHasNoPlace)
{
    for (const int to : {kJisType, kXJisType}) {
        for (const int from : {0, 1, 2, kShiftJisType, kMicrosoftType, kUtf8Type, kLatin1Type, kLatin2Type}) {
            for (const char* const text : {"\x1B", "a\x1B$B", "\x0E", "12345678\x0F",
                                           "1234567\x1B"
                                           "12345678",
                                           "\x0E\x31"})
                EXPECT_EQ(convert(from, to, text), failed(UTL_LIB_CHGC_NO_PLACE)) << from << hex_of(text);
            // Their neighbours are ordinary controls.
            EXPECT_EQ(convert(from, to, "\x0D\x10\x1A\x1C"), done("\x0D\x10\x1A\x1C"));
            EXPECT_EQ(convert(from, to,
                              "12345678\x0D\x10\x1A\x1C"
                              "12345678"),
                      done("12345678\x0D\x10\x1A\x1C"
                           "12345678"));
        }
    }
}

TEST(CharsetJis, TheSupplementaryKanjiHaveNoPlace)
{
    for (const int from : {kJisType, kXJisType}) {
        for (const int to : kAllTypes) {
            EXPECT_EQ(convert(from, to, "\x1B$(D\x30\x21\x1B(B"), failed(UTL_LIB_CHGC_NO_PLACE));
            EXPECT_EQ(convert(from, to, "a\x1B$(D\x1B(Bb"), done("ab"));
        }
        EXPECT_EQ(convert(from, kUtf8Type, "\x1B$(D\x30\x1B(B"), failed(UTL_LIB_CHGC_MALFORMED));
        EXPECT_EQ(convert(from, kUtf8Type, "\x1B$(D\xB0"), failed(UTL_LIB_CHGC_MALFORMED));
        EXPECT_EQ(convert(from, kUtf8Type, "\x1B$(D\n0!"), done("\n0!"));
    }
}

TEST(CharsetJis, EveryCutGivesTheWholeCharactersBeforeItOrIsMalformed)
{
    // A text as its indivisible elements: octets, and the characters that they are.
    const struct {
        const char* octets;
        const char* utf8;
    } elements[] = {
        {"A", "A"},
        {"\x1B$B", ""},
        {"\x46\x7C", u8"\u65E5"},
        {"\x4B\x5C", u8"\u672C"},
        {"\x1B(I", ""},
        {"\x31", u8"\uFF71"},
        {"\x5E", u8"\uFF9E"},
        {"\x1B(J", ""},
        {"\\", "\\"},
        {"\x0E", ""},
        {"\x36", u8"\uFF76"},
        {"\x0F", ""},
        {"~", "~"},
        {"\x1B&@", ""},
        {"\x1B$@", ""},
        {"\x30\x21", u8"\u4E9C"},
        {" ", " "},
        {"\r", "\r"},
        {"\n", "\n"},
        {"\x1B$(B", ""},
        {"\x2D\x21", u8"\u2460"},
        {"\x1B(B", ""},
        {"ordinary text", "ordinary text"},
        {"\xB1", u8"\uFF71"},
        {"\x1B$(@", ""},
        {"\x24\x22", u8"\u3042"},
        {"\x1B(H", ""},
        {"z", "z"},
    };
    std::string before;
    std::string utf8;
    for (const auto& element : elements) {
        const std::string octets = element.octets;
        const bool divisible = octets == element.utf8;  // ASCII
        for (std::size_t cut = 1; cut < octets.size(); ++cut) {
            const Converted expected =
                divisible ? done(utf8 + octets.substr(0, cut)) : failed(UTL_LIB_CHGC_MALFORMED);
            EXPECT_EQ(convert(kJisType, kUtf8Type, before + octets.substr(0, cut)), expected)
                << hex_of(before + octets);
        }
        before += octets;
        utf8 += element.utf8;
        EXPECT_EQ(convert(kJisType, kUtf8Type, before), done(utf8)) << hex_of(before);
        EXPECT_EQ(convert(kXJisType, kUtf8Type, before), done(utf8)) << hex_of(before);
        EXPECT_EQ(convert(kJisType, kShiftJisType, before), convert(kUtf8Type, kShiftJisType, utf8))
            << hex_of(before);
    }
}

TEST(CharsetJis, ModesHoldAcrossEveryPlaceWhereABatchMayEnd)
{
    for (std::size_t before = 0; before <= 560; ++before) {
        std::string jis = "x\x1B$B";
        std::string utf8 = "x";
        for (std::size_t index = 0; index < before; ++index) {
            jis += "\x24\x22";
            utf8 += u8"\u3042";
        }
        jis += "\x1B(Bab\x1B$B\x24\x24\x1B(B";
        utf8 += u8"ab\u3044";
        if (before == 0) jis = "xab\x1B$B\x24\x24\x1B(B";
        ASSERT_EQ(convert(kJisType, kUtf8Type, jis), done(utf8)) << before;
        ASSERT_EQ(convert(kUtf8Type, kJisType, utf8), done(jis)) << before;
    }
}

}  // namespace
