// Half-width kana: widened in ISO-2022-JP, joined with their marks; kept in x-jis.
#include <gtest/gtest.h>

#include "charset_support.h"
#include "icu_oracle.h"

namespace {

// The full-width form by Unicode's compatibility composition, as far as code page 932 has it.
std::u16string widened(const std::u16string& half, IcuOracle& shift_jis)
{
    const std::u16string normal = nfkc_of(half);
    if (normal.size() == 1 && half.size() == 2 && shift_jis.write(normal)) return normal;  // joined
    std::u16string wide;
    for (const char16_t kana : half)  // the marks alone are combining in NFKC
        wide += kana == 0xFF9E ? u"\u309B" : kana == 0xFF9F ? u"\u309C" : nfkc_of({kana});
    return wide;
}

TEST(CharsetKana, EveryPairIsWidenedAndJoinedAsUnicodeComposesIt)
{
    IcuOracle shift_jis("ibm-943_P15A-2003");
    unsigned joined = 0;
    for (char16_t first = 0xFF61; first <= 0xFF9F; ++first) {
        for (char16_t second = 0xFF61; second <= 0xFF9F; ++second) {
            const std::u16string half = {first, second};
            const std::u16string wide = widened(half, shift_jis);
            joined += wide.size() == 1;
            const std::string octets = {
                static_cast<char>(static_cast<unsigned char>(first - 0xFF61 + 0xA1)),
                static_cast<char>(static_cast<unsigned char>(second - 0xFF61 + 0xA1))};
            const Converted from_utf8 = convert(kUtf8Type, kJisType, utf8_of(half));
            ASSERT_EQ(from_utf8.result, UTL_LIB_CHGC_DONE);
            ASSERT_EQ(convert(kJisType, kUtf8Type, from_utf8.octets), done(utf8_of(wide))) << hex_of(octets);
            ASSERT_EQ(convert(kShiftJisType, kJisType, octets), from_utf8) << hex_of(octets);
            const Converted kept = convert(kShiftJisType, kXJisType, octets);
            ASSERT_EQ(convert(kXJisType, kShiftJisType, kept.octets), done(octets));
            ASSERT_EQ(convert(kXJisType, kJisType, kept.octets), from_utf8) << hex_of(octets);
        }
    }
    EXPECT_EQ(joined, 21U + 5);  // 15 from ka to to, 5 from ha to ho, u; with the other mark ha to ho
}

TEST(CharsetKana, AMarkIsJoinedAcrossEveryPlaceWhereABatchMayEnd)
{
    for (std::size_t before = 0; before <= 600; ++before) {
        std::string utf8;
        std::string pairs;
        for (std::size_t index = 0; index < before; ++index) {
            utf8 += u8"\u3042";
            pairs += "\x24\x22";
        }
        ASSERT_EQ(convert(kUtf8Type, kJisType, utf8 + u8"\uFF76\uFF9E"),
                  done("\x1B$B" + pairs + "\x25\x2C\x1B(B"));
        ASSERT_EQ(convert(kUtf8Type, kJisType, utf8 + u8"\uFF76"), done("\x1B$B" + pairs + "\x25\x2B\x1B(B"));
        ASSERT_EQ(convert(kUtf8Type, kJisType, utf8 + u8"\uFF76z"),
                  done("\x1B$B" + pairs + "\x25\x2B\x1B(Bz"));
    }
}

TEST(CharsetKana, CasesByHand)
{
    const struct {
        const char* label;
        const char* shift_jis;
        const char* iso_2022_jp;
        const char* x_jis;
    } cases[] = {
        {"one", "\xB1", "\x1B$B\x25\x22\x1B(B", "\x1B(I\x31\x1B(B"},
        {"joined with a voice mark", "\xB6\xDE", "\x1B$B\x25\x2C\x1B(B", "\x1B(I\x36\x5E\x1B(B"},
        {"joined with a half voice mark", "\xCA\xDF", "\x1B$B\x25\x51\x1B(B", "\x1B(I\x4A\x5F\x1B(B"},
        {"u becomes vu", "\xB3\xDE", "\x1B$B\x25\x74\x1B(B", "\x1B(I\x33\x5E\x1B(B"},
        {"wa has no voiced form", "\xDC\xDE", "\x1B$B\x25\x6F\x21\x2B\x1B(B", "\x1B(I\x5C\x5E\x1B(B"},
        {"ka has no half voiced form", "\xB6\xDF", "\x1B$B\x25\x2B\x21\x2C\x1B(B", "\x1B(I\x36\x5F\x1B(B"},
        {"two marks", "\xB6\xDE\xDE", "\x1B$B\x25\x2C\x21\x2B\x1B(B", "\x1B(I\x36\x5E\x5E\x1B(B"},
        {"a mark first", "\xDE\xB6", "\x1B$B\x21\x2B\x25\x2B\x1B(B", "\x1B(I\x5E\x36\x1B(B"},
        {"a line end between", "\xB6\r\n\xDE", "\x1B$B\x25\x2B\x1B(B\r\n\x1B$B\x21\x2B\x1B(B",
         "\x1B(I\x36\x1B(B\r\n\x1B(I\x5E\x1B(B"},
        {"ASCII before", "a\xB6", "a\x1B$B\x25\x2B\x1B(B", "a\x1B(I\x36\x1B(B"},
        {"ASCII behind",
         "\xB6"
         "a",
         "\x1B$B\x25\x2B\x1B(Ba", "\x1B(I\x36\x1B(Ba"},
        {"a pair behind", "\xB6\x82\xA0", "\x1B$B\x25\x2B\x24\x22\x1B(B", "\x1B(I\x36\x1B$B\x24\x22\x1B(B"},
        {"a pair before", "\x82\xA0\xB6\xDE", "\x1B$B\x24\x22\x25\x2C\x1B(B",
         "\x1B$B\x24\x22\x1B(I\x36\x5E\x1B(B"},
        {"punctuation", "\xA1\xA2\xA3\xA4\xA5\xB0",
         "\x1B$B\x21\x23\x21\x56\x21\x57\x21\x22\x21\x26\x21\x3C\x1B(B",
         "\x1B(I\x21\x22\x23\x24\x25\x30\x1B(B"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.label);
        EXPECT_EQ(convert(kShiftJisType, kJisType, row.shift_jis), done(row.iso_2022_jp));
        EXPECT_EQ(convert(kShiftJisType, kXJisType, row.shift_jis), done(row.x_jis));
        EXPECT_EQ(convert(kXJisType, kShiftJisType, row.x_jis), done(row.shift_jis));
        EXPECT_EQ(convert(kXJisType, kXJisType, row.x_jis), done(row.x_jis));
        EXPECT_EQ(convert(kXJisType, kJisType, row.x_jis), done(row.iso_2022_jp));
        EXPECT_EQ(convert(kJisType, kJisType, row.iso_2022_jp), done(row.iso_2022_jp));
    }
}

}  // namespace
