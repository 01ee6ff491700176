// Octets that are no text of their set: refused wherever they stand, and never read or written past an end.
#include <gtest/gtest.h>

#include "charset_support.h"

namespace {

struct MalformedCase {
    const char* label;
    int type;
    const char* octets;
};

const MalformedCase kMalformed[] = {
    {"ASCII: high octet", 0, "\x80"},
    {"ASCII: last octet", 1, "\xFF"},
    {"ASCII: UTF-8 in it", 2, "\xC3\xA9"},
    {"UTF-8: continuation alone", 7, "\x80"},
    {"UTF-8: last continuation alone", 7, "\xBF"},
    {"UTF-8: overlong slash, 2 octets", 7, "\xC0\xAF"},
    {"UTF-8: overlong, last of 2 octets", 7, "\xC1\xBF"},
    {"UTF-8: overlong, 3 octets", 7, "\xE0\x80\xAF"},
    {"UTF-8: overlong, last of 3 octets", 7, "\xE0\x9F\xBF"},
    {"UTF-8: overlong, 4 octets", 7, "\xF0\x80\x80\xAF"},
    {"UTF-8: overlong, last of 4 octets", 7, "\xF0\x8F\xBF\xBF"},
    {"UTF-8: overlong NUL", 7, "\xC0\x80"},
    {"UTF-8: first surrogate", 7, "\xED\xA0\x80"},
    {"UTF-8: last surrogate", 7, "\xED\xBF\xBF"},
    {"UTF-8: surrogate pair", 7, "\xED\xA0\x81\xED\xB0\x80"},
    {"UTF-8: U+110000", 7, "\xF4\x90\x80\x80"},
    {"UTF-8: lead F5", 7, "\xF5\x80\x80\x80"},
    {"UTF-8: five octets", 7, "\xF8\x88\x80\x80\x80"},
    {"UTF-8: FE", 7, "\xFE"},
    {"UTF-8: FF", 7, "\xFF"},
    {"UTF-8: 2 octets cut", 7, "\xC3"},
    {"UTF-8: 3 octets cut to 1", 7, "\xE3"},
    {"UTF-8: 3 octets cut to 2", 7, "\xE3\x81"},
    {"UTF-8: 4 octets cut to 1", 7, "\xF0"},
    {"UTF-8: 4 octets cut to 2", 7, "\xF0\x9F"},
    {"UTF-8: 4 octets cut to 3", 7, "\xF0\x9F\x98"},
    {"UTF-8: ASCII as continuation", 7, "\xC3\x28"},
    {"UTF-8: ASCII as third octet", 7, "\xE3\x81\x28"},
    {"UTF-8: lead as continuation", 7, "\xE3\xE3\x81\x82"},
    {"UTF-8: ASCII as fourth octet", 7, "\xF0\x9F\x98\x28"},
    {"UTF-8: Shift_JIS in it", 7, "\x93\xFA"},
    {"Shift_JIS: 80", 5, "\x80"},
    {"Shift_JIS: A0", 5, "\xA0"},
    {"Shift_JIS: FD", 6, "\xFD"},
    {"Shift_JIS: FE", 6, "\xFE"},
    {"Shift_JIS: FF", 6, "\xFF"},
    {"Shift_JIS: lead at the end", 5, "\x82"},
    {"Shift_JIS: trail 3F", 5, "\x82\x3F"},
    {"Shift_JIS: trail 7F", 5, "\x82\x7F"},
    {"Shift_JIS: trail FD", 5, "\x82\xFD"},
    {"Shift_JIS: trail FF", 5, "\x82\xFF"},
    {"Shift_JIS: line end as trail", 5, "\x82\n"},
    {"Shift_JIS: free cell", 5, "\x81\xAD"},
    {"Shift_JIS: free row", 5, "\x85\x40"},
    {"Shift_JIS: behind the last extension", 5, "\xFC\x4C"},
    {"Shift_JIS: last code", 5, "\xFC\xFC"},
    {"JIS: ESC at the end", 3, "\x1B"},
    {"JIS: ESC ( at the end", 3, "\x1B("},
    {"JIS: ESC $ at the end", 3, "\x1B$"},
    {"JIS: ESC $ ( at the end", 3, "\x1B$("},
    {"JIS: ESC & at the end", 3, "\x1B&"},
    {"JIS: unknown single-octet set", 3, "\x1B(A"},
    {"JIS: unknown pair set", 3, "\x1B$A"},
    {"JIS: unknown pair set, 4 octets", 3, "\x1B$(C"},
    {"JIS: other announcement", 3, "\x1B&A"},
    {"JIS: upper half set", 3, "\x1B.A"},
    {"JIS: escape to nothing known", 4, "\x1BN!!"},
    {"JIS: lead at the end", 3, "\x1B$B\x24"},
    {"JIS: ESC as trail", 3, "\x1B$B\x24\x1B(B"},
    {"JIS: line end as trail", 3, "\x1B$B\x24\n"},
    {"JIS: blank as trail", 3, "\x1B$B\x24 "},
    {"JIS: DEL as trail", 3, "\x1B$B\x24\x7F"},
    {"JIS: high octet as trail", 3, "\x1B$B\x24\xA2"},
    {"JIS: high pair", 3, "\x1B$B\xA4\xA2"},
    {"JIS: free cell", 4, "\x1B$B\x22\x2F"},
    {"JIS: free row", 4, "\x1B$B\x2A\x21"},
    {"JIS: row 94", 4, "\x1B$B\x7E\x7E"},
    {"JIS: behind the last kana", 4, "\x1B(I\x60"},
    {"JIS: behind the last kana, shifted", 4, "\x0E\x60"},
    {"JIS: 80", 3, "\x80"},
    {"JIS: A0", 3, "\xA0"},
    {"JIS: E0", 3, "\xE0"},
    {"JIS: FF", 3, "\xFF"},
    {"JIS: high octet of no kana, shifted", 3, "\x0E\xE0"},
};

TEST(CharsetMalformed, IsRefusedForEveryTarget)
{
    for (const MalformedCase& row : kMalformed) {
        for (const int to : kAllTypes)
            EXPECT_EQ(convert(row.type, to, row.octets), failed(UTL_LIB_CHGC_MALFORMED))
                << row.label << " to " << to;
    }
}

TEST(CharsetMalformed, IsRefusedBehindAsciiOfEveryLength)
{
    for (const MalformedCase& row : kMalformed) {
        for (const std::size_t length :
             {1, 2, 3, 4, 5, 6, 7, 8, 9, 15, 16, 17, 31, 32, 33, 255, 256, 257, 511, 512, 513})
            EXPECT_EQ(convert(row.type, kUtf8Type, std::string(length, 'a') + row.octets),
                      failed(UTL_LIB_CHGC_MALFORMED))
                << row.label << " behind " << length;
    }
}

TEST(CharsetMalformed, IsRefusedBehindOtherCharactersOfEveryNumber)
{
    const struct {
        int type;
        const char* character;
    } fillers[] = {{5, "\x82\xA0"}, {6, "\xB1"}, {7, u8"\u3042"}, {7, u8"\u00E9"}};
    for (const auto& filler : fillers) {
        std::string text;
        for (std::size_t count = 0; count <= 520; ++count) {
            ASSERT_EQ(convert(filler.type, kUtf8Type, text + "\xFF"), failed(UTL_LIB_CHGC_MALFORMED))
                << count;
            ASSERT_EQ(convert(filler.type, kUtf8Type, text + "\xE3"), failed(UTL_LIB_CHGC_MALFORMED))
                << count;
            text += filler.character;
        }
    }
}

TEST(CharsetMalformed, TheFirstObstacleIsReported)
{
    EXPECT_EQ(convert(kUtf8Type, kJisType, u8"\u00E9\u3042\xFF"), failed(UTL_LIB_CHGC_NO_PLACE));
    EXPECT_EQ(convert(kUtf8Type, kJisType, u8"\u3042\xFF\u00E9"), failed(UTL_LIB_CHGC_MALFORMED));
    EXPECT_EQ(convert_into(kUtf8Type, kShiftJisType, u8"\u3042\u3042\xFF", 3), failed(UTL_LIB_CHGC_TOO_LONG));
    EXPECT_EQ(convert_into(kUtf8Type, kShiftJisType, u8"\u3042\u3042\xFF", 4),
              failed(UTL_LIB_CHGC_MALFORMED));
    EXPECT_EQ(convert_into(kUtf8Type, kShiftJisType, u8"\u3042\u3042\u00E9", 3),
              failed(UTL_LIB_CHGC_TOO_LONG));
    EXPECT_EQ(convert_into(kShiftJisType, kShiftJisType, "\x82\xA0\x82\xA0\xFF", 3),
              failed(UTL_LIB_CHGC_TOO_LONG));
    EXPECT_EQ(convert_into(kShiftJisType, kShiftJisType, "\x82\xA0\x82\xA0\xFF", 4),
              failed(UTL_LIB_CHGC_MALFORMED));
}

// Octets drawn so that the structures of all sets occur often. The generator is written out, for the same
// texts anywhere.
class Octets {
public:
    explicit Octets(std::uint32_t seed) : state_(seed) {}

    std::string text(std::size_t most)
    {
        static const char* const kPieces[] = {
            "\x1B$B",   "\x1B(B",   "\x1B(I",   "\x1B(J",       "\x1B$(D",  "\x1B&@",
            "\x0E",     "\x0F",     "\r\n",     "\x1B",         "12345678", "abcdefghijklmnop",
            "\x82\xA0", "\xB6\xDE", "\xFA\x40", "\xED\x40",     u8"\u65E5", u8"\uFF76\uFF9E",
            u8"\u00E9", "\x46\x7C", "\x24\x22", u8"\U0001F600",
        };
        std::string octets;
        const std::size_t count = next() % (most + 1);
        for (std::size_t index = 0; index < count; ++index) {
            const std::uint32_t draw = next();
            if (draw % 3 == 0)
                octets += static_cast<char>(static_cast<unsigned char>(1 + draw / 3 % 255));
            else
                octets += kPieces[draw / 3 % (sizeof kPieces / sizeof kPieces[0])];
        }
        return octets;
    }

    std::uint32_t next()
    {
        state_ = (state_ * 1664525U + 1013904223U) & 0xFFFFFFFFU;
        return state_ >> 8;
    }

private:
    std::uint32_t state_;
};

TEST(CharsetMalformed, WhateverIsReadWhatIsWrittenIsAValidTextOfItsSet)
{
    Octets octets(20240229);
    unsigned converted = 0;
    for (int round = 0; round < 20000; ++round) {
        const std::string text = octets.text(12);
        for (const int from : {0, 3, 4, 5, 7, 12, 13}) {
            for (const int to : {0, 3, 4, 5, 7, 12, 13}) {
                const std::size_t capacity = octets.next() % (text.size() * 4 + 8);
                const Converted result = convert_into(from, to, text, capacity);
                if (result.result != UTL_LIB_CHGC_DONE) {
                    ASSERT_GE(result.result, std::uint32_t{UTL_LIB_CHGC_MALFORMED});
                    ASSERT_LE(result.result, std::uint32_t{UTL_LIB_CHGC_TOO_LONG});
                    continue;
                }
                ++converted;
                ASSERT_EQ(convert(to, to, result.octets), result) << from << " to " << to << hex_of(text);
                // The way over UTF-8 leads to the same place.
                const Converted utf8 = convert(from, kUtf8Type, text);
                if (from != to) {
                    ASSERT_EQ(convert(kUtf8Type, to, utf8.octets), result)
                        << from << " to " << to << hex_of(text);
                }
            }
        }
    }
    EXPECT_GT(converted, 10000U);
}

}  // namespace
